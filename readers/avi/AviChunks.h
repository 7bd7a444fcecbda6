#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "framework/FileReader.h"
#include "framework/FourCC.h"
#include "framework/ResultCodes.h"
#include "framework/ReturnIf.h"
#include "readers/avi/AviFourCCs.h"

namespace qmf {

/// The form of the RIFF that holds a menu.
inline constexpr FourCC kFormMenu = MakeFourCC("MENU");

/// A RIFF chunk (Microsoft Multimedia Programming Interface, 1991): id, 32-bit size, payload, and a pad byte
/// when the size is odd. A list's payload begins with its form. Offsets are absolute, in bytes.
struct AviChunk {
  std::uint64_t offset = 0;
  FourCC id = 0;
  std::uint32_t size = 0;
  /// The first four payload bytes; they mean something for RIFF and LIST only.
  FourCC form = 0;

  static constexpr std::uint32_t kHeaderSize = 8;
  static constexpr std::uint32_t kListHeaderSize = 12;

  std::uint64_t Payload() const { return offset + kHeaderSize; }
  std::uint64_t Children() const { return offset + kListHeaderSize; }
  std::uint64_t End() const { return Payload() + size; }
  /// Where the next sibling starts; always beyond `offset`.
  std::uint64_t Next() const { return End() + (size & 1); }
  bool IsRiff(FourCC wanted) const { return id == kFccRIFF && form == wanted; }
};

/// Whether `riff` continues the title before it (AVI 2.0).
inline bool IsAviExtension(const AviChunk& riff) {
  return (riff.id == kFccRIFF || riff.id == kFccMRIF) && riff.form == kFccAVIX;
}

/// What to do with one kind of child: `form` 0 takes plain chunks of that id, anything else lists of that
/// form.
template <class Handler>
struct AviChunkRow {
  FourCC id;
  FourCC form;
  QMFResult (Handler::*handle)(const AviChunk&);
};

/// Reads chunk headers, within a budget that no real file meets: past it, every further header counts as
/// unreadable.
class AviChunkReader {
 public:
  static constexpr std::uint64_t kMaxBytes = 11U << 20;  ///< The largest picture is read on top of it.

  /// `maxBytes` counts everything that is read from the file from now on.
  explicit AviChunkReader(FileReader& file, std::uint64_t maxBytes = kMaxBytes)
      : m_file(file), m_bytesBefore(file.BytesRead()), m_maxBytes(maxBytes) {}

  /// Always reads three words, as for a list: a chunk of fewer than four payload bytes at the very end of a
  /// file cannot be read. False when the bytes are not there.
  bool Read(std::uint64_t offset, AviChunk& chunk);

  /// Hands the children between `begin` and `end` to the rows that take them and skips the others. A child
  /// that cannot be read ends the walk with `unreadable`, a handler's result other than 0 with that result.
  template <class Handler>
  QMFResult Walk(std::uint64_t begin, std::uint64_t end, std::span<const AviChunkRow<Handler>> rows,
                 Handler& handler, QMFResult unreadable);

 private:
  FileReader& m_file;
  const std::uint64_t m_bytesBefore;
  const std::uint64_t m_maxBytes;
  std::uint32_t m_chunks = 0;
};

template <class Handler>
QMFResult AviChunkReader::Walk(std::uint64_t begin, std::uint64_t end,
                               std::span<const AviChunkRow<Handler>> rows, Handler& handler,
                               QMFResult unreadable) {
  AviChunk child;
  for (std::uint64_t at = begin; at < end; at = child.Next()) {
    if (!Read(at, child)) return unreadable;
    const auto takes = [&](const AviChunkRow<Handler>& row) {
      return row.id == child.id && (row.form == 0 || row.form == child.form);
    };
    const auto row = std::ranges::find_if(rows, takes);
    if (row != rows.end()) QMF_RETURN_IF_NONZERO((handler.*row->handle)(child));
  }
  return QMF_OK;
}

}  // namespace qmf
