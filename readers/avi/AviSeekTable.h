#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>

#include "framework/Allocator.h"
#include "readers/avi/AviTitle.h"

namespace qmf {

/// A place in the file between two blocks.
struct AviPosition {
  std::uint64_t offset = 0;  ///< From which the next block is looked for.
  /// What came before it of each stream, in the unit of AviStream::CountOf.
  std::array<std::uint64_t, kMaxAviStreams> counts{};
};

/// The seek table of a title: where its frames stand and which are key frames. Frames are the blocks of one
/// stream, the leading one, noted in file order; an entry covers a run of them and knows every stream's
/// position at its first frame, so that any frame is found by going on from there. When all entries are
/// used, each takes twice as many frames.
///
/// Its memory is reserved when the title is selected and counts as zero-filled, but is written only as frames
/// are noted: a title that is never read from costs address space, not memory.
class AviSeekTable {
 public:
  explicit AviSeekTable(QMFAllocator* memory) : m_memory(memory) {}
  AviSeekTable(const AviSeekTable&) = delete;
  AviSeekTable& operator=(const AviSeekTable&) = delete;
  ~AviSeekTable() { Release(); }

  /// Entries for a video stream of `length` frames: a tenth, at least 1,000 and at most 21,600; 21,600 when
  /// the length is not known.
  static std::uint32_t CapacityFor(std::uint32_t length);

  /// Reserves the entries and a second area of 4 bytes for each, unless entries are in use. Throws
  /// std::bad_alloc when there is no memory for the entries; the table can do without the second area.
  void Reserve(std::uint32_t videoLength);
  void Release();
  /// Forgets all frames.
  void Clear();

  /// Notes the next frame, which starts at `position`. Once the entries take no more, frames are left out.
  void Note(const AviPosition& position, bool isKey);

  std::uint64_t FrameCount() const { return m_frames; }
  bool IsFull() const { return m_full; }
  bool IsKey(std::uint64_t frame) const;
  std::optional<std::uint64_t> KeyAtOrBefore(std::uint64_t frame) const;
  std::optional<std::uint64_t> KeyFrom(std::uint64_t frame) const;

  /// The closest noted position at or before `frame`; null without one.
  const AviPosition* Before(std::uint64_t frame) const;
  /// The closest noted position at which no more than `count` of the stream in `place` came before.
  const AviPosition* BeforeCount(std::size_t place, std::uint64_t count) const;

 private:
  std::uint32_t PlaceInEntry(std::uint64_t frame) const {
    return static_cast<std::uint32_t>(frame % m_framesPerEntry);
  }
  using Keys = std::bitset<448>;
  struct Entry {
    AviPosition first;
    Keys keys;  ///< By frame, from the first on.
  };
  static_assert(sizeof(Entry) == 200);

  std::uint32_t EntryCount() const {
    return static_cast<std::uint32_t>((m_frames + m_framesPerEntry - 1) / m_framesPerEntry);
  }
  void StartEntry(const AviPosition& position);
  void HalveEntries();
  std::optional<std::uint64_t> LastKeyBeforeEntry(std::uint32_t entry) const;

  QMFAllocator* const m_memory;
  Entry* m_entries = nullptr;
  /// By entry: 1 + the number of the last key frame before it, 0 without one. Null without memory for it.
  std::uint32_t* m_lastKeys = nullptr;
  std::uint32_t m_capacity = 0;
  std::uint32_t m_framesPerEntry = kFirstFramesPerEntry;
  std::uint64_t m_frames = 0;
  bool m_full = false;

  static constexpr std::uint32_t kFirstFramesPerEntry = 10;
};

}  // namespace qmf
