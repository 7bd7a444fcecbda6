#pragma once

#include <cstdint>
#include <string_view>

#include "framework/FileReader.h"
#include "readers/es/SrtEncoding.h"

namespace qmf {

/// Reads a subtitle file line by line as UTF-8. A line ends with "\n", which stays; "\r\n" becomes "\n". It
/// has at most kMaxLine bytes or UTF-16 units: of a longer one the rest is the next line.
class SrtLines {
 public:
  static constexpr std::size_t kMaxLine = 999;

  SrtLines(FileReader& file, SrtEncoding encoding, std::uint64_t offset)
      : m_file(&file), m_encoding(encoding), m_offset(offset) {}

  /// The next line, valid until the next call; false at the end of the file, or past what Limit allows.
  bool Next(std::string_view& line);

  /// From here on at most so many lines, none of which begins at or after `end`.
  void Limit(std::uint64_t end, std::uint32_t lines) {
    m_end = end;
    m_left = lines;
  }

  std::uint64_t Position() const { return m_offset; }
  void SetPosition(std::uint64_t offset) { m_offset = offset; }

 private:
  std::size_t FillFromBytes();
  std::size_t FillFromUnits();

  FileReader* m_file;
  SrtEncoding m_encoding;
  std::uint64_t m_offset;
  std::uint64_t m_end = UINT64_MAX;
  std::uint32_t m_left = UINT32_MAX;
  char m_text[3 * kMaxLine];  // A unit becomes at most three bytes.
};

/// Whether a line has nothing to show: its characters, up to the first byte that begins none, are white space
/// or control characters.
bool IsBlankSrtLine(std::string_view line);

}  // namespace qmf
