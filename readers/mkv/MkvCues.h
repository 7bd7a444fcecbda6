#pragma once

#include <cstdint>
#include <memory_resource>
#include <vector>

#include "framework/ResultCodes.h"

namespace qmf {

struct MkvSegment;

/// One entry of a segment's index.
struct MkvCuePoint {
  std::uint64_t time = 0;     ///< Ticks.
  std::uint64_t track = 0;    ///< TrackNumber.
  std::uint64_t cluster = 0;  ///< Offset in the file.
};

/// A segment's index, by track and time.
struct MkvCues {
  explicit MkvCues(std::pmr::memory_resource* memory) : points(memory) {}

  std::pmr::vector<MkvCuePoint> points;
  QMFResult result = QMF_OK;  ///< Of reading it: QMF_ERR_END_OF_STREAM for a segment without index.
};

/// The segment's index, read at the first call from its Cues or, where it has none, from its hierarchical
/// index.
const MkvCues& MkvCuesOf(MkvSegment& segment);

/// The last entry of track `track` at or before `time` (ticks), or null.
const MkvCuePoint* CueBefore(const MkvCues& cues, std::uint64_t track, std::uint64_t time);

/// The first entry of track `track` at or behind `time` (ticks), or null.
const MkvCuePoint* CueFrom(const MkvCues& cues, std::uint64_t track, std::uint64_t time);

}  // namespace qmf
