#pragma once

#include <cstdint>

#include "readers/mkv/MkvTitle.h"

namespace qmf {

/// Moves `time` (100-ns units) to where decoding of video stream `stream` can start: the last such time at or
/// before it, or the first behind it, as the indexes of the title's segments say. QMF_ERR_END_OF_STREAM when
/// there is none. Where the answer comes from another segment, that becomes the current one.
QMFResult PreviousSyncTime(MkvTitle& title, std::uint32_t stream, std::uint64_t& time);
QMFResult NextSyncTime(MkvTitle& title, std::uint32_t stream, std::uint64_t& time);

}  // namespace qmf
