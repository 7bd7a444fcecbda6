#pragma once

#include <cstdint>

#include "framework/Allocator.h"

namespace qmf {

/// The seek table of a title. Its memory is reserved when the title is selected, counts as zero-filled and
/// stays untouched until entries are taken into use, so that an object that is never read from costs address
/// space only.
class AviSeekTable {
 public:
  static constexpr std::size_t kEntrySize = 200;

  explicit AviSeekTable(QMFAllocator* memory) : m_memory(memory) {}
  AviSeekTable(const AviSeekTable&) = delete;
  AviSeekTable& operator=(const AviSeekTable&) = delete;
  ~AviSeekTable() { Release(); }

  /// Entries for a video stream of `length` frames: a tenth, at least 1,000 and at most 21,600; 21,600 when
  /// the length is not known.
  static std::uint32_t CapacityFor(std::uint32_t length);

  /// Reserves the two areas unless entries are in use. Throws std::bad_alloc when there is no memory for the
  /// entries; without memory for the second area the table does without it.
  void Reserve(std::uint32_t videoLength);

  /// Gives the memory back.
  void Release();

  std::uint32_t Capacity() const { return m_capacity; }
  std::uint32_t EntryCount() const { return m_entryCount; }

 private:
  QMFAllocator* const m_memory;
  void* m_entries = nullptr;
  std::uint32_t* m_lastKeys = nullptr;
  std::uint32_t m_capacity = 0;
  std::uint32_t m_entryCount = 0;
};

}  // namespace qmf
