#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "readers/mkv/MkvNeighbours.h"
#include "readers/mkv/MkvPlaylist.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {

class MkvBlocks;

/// The title of a file: its segment and, for linked segments, those of the other files.
struct MkvTitle {
  static constexpr std::size_t kMaxSegments = 100;

  explicit MkvTitle(QMFAllocator* memory) : path(memory), segments(memory), parts(memory) {}

  /// Makes it the title of a segment that was read.
  void Select(std::shared_ptr<MkvSegment> segment);
  /// What is played must be found out anew: another edition was selected, or its order allowed or forbidden.
  void Rearrange();

  std::pmr::u16string path;                   ///< Of the opened file.
  std::shared_ptr<MkvSegment> singleSegment;  ///< The opened file's own; null before a title is selected.
  std::pmr::vector<std::shared_ptr<MkvSegment>> segments;  ///< A plain file has its own here as well.
  std::uint32_t currentSegment = 0;
  std::pmr::vector<MkvPart> parts;          ///< What is played, in order; empty until ArrangeMkvTitle.
  bool delace = true;                       ///< Whether laced frames are delivered one by one.
  std::shared_ptr<MkvBlocks> blocks;        ///< Made when first needed.
  std::optional<MkvNeighbours> neighbours;  ///< The same.

  std::uint32_t SegmentCount() const { return static_cast<std::uint32_t>(segments.size()); }
  /// A segment of the list, read.
  MkvSegment& Segment(std::uint32_t index) const {
    EnsureMkvSegment(*segments[index]);
    return *segments[index];
  }
  /// The segment being read, or null.
  MkvSegment* Current() const { return segments.empty() ? singleSegment.get() : &Segment(currentSegment); }

  /// The title's blocks, its other files; a title must be selected.
  MkvBlocks& Blocks();
  MkvNeighbours& Neighbours();
};

/// The title's duration in 100-ns units: the segments' ticks, summed and cut to whole ticks, times the tick
/// of the file's own segment. Cutting first is what callers of this value expect.
std::uint64_t MkvTitleDuration(MkvTitle& title);

}  // namespace qmf
