#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "readers/es/SrtLines.h"

namespace qmf {

/// One subtitle.
struct SrtCue {
  static constexpr std::size_t kMaxText = 999;

  char text[kMaxText + 1];  ///< UTF-8, zero-terminated; lines joined by "\n".
  std::uint64_t start;      ///< 100-ns units.
  std::uint64_t end;        ///< 100-ns units, never less than the start.
};

/// Reads the cues of a SubRip file, in file order.
class CSRTReader {
 public:
  /// Lines of text that a cue keeps; further ones are dropped.
  static constexpr int kMaxLines = 9;
  /// Bytes and lines in which a cue is looked for; without one the file counts as ended.
  static constexpr std::uint64_t kMaxSearched = 2U << 20;
  static constexpr std::uint32_t kMaxLinesSearched = 100'000;

  CSRTReader(FileReader& file, SrtEncoding encoding, std::uint64_t offset)
      : m_lines(file, encoding, offset) {}

  /// The next cue; false at the end of the file. What is not a cue is passed over in silence: a line that
  /// should hold times but does not goes together with the number in front of it. Texts end at kMaxText
  /// bytes, at a character's border.
  bool ReadCue(SrtCue& cue);

  /// Between cues, where reading goes on.
  std::uint64_t Position() const { return m_lines.Position(); }
  void SetPosition(std::uint64_t offset) { m_lines.SetPosition(offset); }

 private:
  bool ReadNumber();
  bool ReadText(SrtCue& cue);

  SrtLines m_lines;
};

/// Reads "h:m:s,ms --> h:m:s,ms" as scanf would with %d for each number: blanks and signs in front of
/// numbers, anything behind the last. Times beyond what 64 bits hold, and below 0, stay at the limit.
bool ParseSrtTimes(std::string_view line, std::uint64_t& start, std::uint64_t& end);

}  // namespace qmf
