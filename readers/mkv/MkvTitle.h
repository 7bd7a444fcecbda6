#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "readers/mkv/MkvBlocks.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {

/// The title of a file: its segment and, for linked segments, those of the other files.
struct MkvTitle {
  static constexpr std::size_t kMaxSegments = 100;

  explicit MkvTitle(QMFAllocator* memory) : segments(memory) {}

  std::shared_ptr<MkvSegment> singleSegment;  ///< The opened file's own; null before a title is selected.
  std::pmr::vector<std::shared_ptr<MkvSegment>> segments;  ///< A plain file has its own here as well.
  std::uint32_t currentSegment = 0;
  bool delace = true;                 ///< Whether laced frames are delivered one by one.
  std::shared_ptr<MkvBlocks> blocks;  ///< Of one segment; made when first needed.

  std::uint32_t SegmentCount() const { return static_cast<std::uint32_t>(segments.size()); }
  /// The segment being read, or null.
  MkvSegment* Current() const {
    return segments.empty() ? singleSegment.get() : segments[currentSegment].get();
  }
  /// The blocks of the current segment, which must exist.
  MkvBlocks& Blocks();
};

/// The title's duration in 100-ns units: the segments' ticks, summed and cut to whole ticks, times the tick
/// of the file's own segment. Cutting first is what callers of this value expect.
std::uint64_t MkvTitleDuration(const MkvTitle& title);

}  // namespace qmf
