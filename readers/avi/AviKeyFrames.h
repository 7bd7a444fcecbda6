#pragma once

#include <cstdint>
#include <span>

#include "framework/FourCC.h"
#include "framework/InfoRecords.h"

namespace qmf {

/// Bytes at the start of a frame that tell whether it is a key frame, where the codec tells at all.
inline constexpr std::size_t kAviKeyFrameBytes = 4096;

/// Whether decoding can start at a frame, told by its first bytes, for files whose index does not say it:
/// intra-only codecs, MPEG-4 part 2 and H.264 as a byte stream. Unknown for all others.
QMFBlock::KeyState DetectAviKeyFrame(FourCC compression, std::span<const std::uint8_t> frame);

}  // namespace qmf
