#pragma once

#include <cstdint>

#include "framework/ResultCodes.h"
#include "readers/mkv/MkvTracks.h"

namespace qmf {

/// Frames that a track of known frame duration has in `duration` (100-ns units), to the nearest; 0 when the
/// frame duration is unknown.
std::uint32_t MkvFrameCount(const MkvTrack& track, std::uint64_t duration);

/// The time (100-ns units) at which half of frame `frame` was shown; 0 when the frame duration is unknown.
std::uint64_t MkvMiddleOfFrame(const MkvTrack& track, std::uint32_t frame);

/// The frame shown at `time` (100-ns units), counted from 0. Without frame duration QMF_FAILURE.
QMFResult MkvFrameFromTime(const MkvTrack& track, std::uint64_t time, std::uint32_t& frame);

}  // namespace qmf
