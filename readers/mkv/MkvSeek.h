#pragma once

#include <cstdint>

#include "readers/mkv/MkvCursor.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {

/// Finds a track's key frame at or before `time` (100-ns units), or its first one when all are later: by the
/// segment's index, or without one by cutting the clusters into halves. Gives the place before its block and
/// its time. QMF_ERR_SEEK_FAILURE for a track without key frames.
QMFResult FindKeyFrame(MkvSegment& segment, const MkvTrack& track, bool isVideo, std::int64_t time,
                       MkvPlace& place, std::int64_t& found);

}  // namespace qmf
