#pragma once

#include <cstdint>
#include <memory_resource>
#include <optional>
#include <string>
#include <vector>

#include "readers/mkv/MkvInfo.h"

namespace qmf {

struct MkvSegment;

/// One chapter. Times are nanoseconds.
struct MkvChapter {
  explicit MkvChapter(QMFAllocator* memory) : name(memory), language(memory), country(memory) {}

  std::uint64_t uid = 0;
  std::uint64_t start = 0;
  std::optional<std::uint64_t> end;
  bool hidden = false;
  bool enabled = true;
  std::optional<MkvSegmentUid> segmentUid;  ///< When it plays another segment.
  std::uint64_t segmentEdition = 0;
  std::uint32_t level = 0;
  std::pmr::u16string name;  ///< Of its first display, as are the next two.
  std::pmr::u16string language;
  std::pmr::u16string country;
};

/// One edition: a playlist over chapters.
struct MkvEdition {
  static constexpr std::uint8_t kHidden = 0x01;
  static constexpr std::uint8_t kDefault = 0x02;
  static constexpr std::uint8_t kOrdered = 0x08;

  explicit MkvEdition(QMFAllocator* memory) : chapters(memory) {}

  std::uint64_t uid = 0;
  std::uint8_t flags = 0;
  bool IsOrdered() const { return (flags & kOrdered) != 0; }

  std::pmr::vector<MkvChapter> chapters;  ///< In file order, each before the ones inside it.

  /// What playing the enabled chapters of the first level takes, in nanoseconds.
  std::uint64_t OrderedDuration() const;
};

/// Reads the segment's editions at the first call and selects the default one, else the first. What is broken
/// gives QMF_ERR_QF3_PARSE_CHAPTERS, at every call, and no editions.
QMFResult ReadMkvChapters(MkvSegment& segment);

}  // namespace qmf
