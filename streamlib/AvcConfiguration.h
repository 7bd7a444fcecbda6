#pragma once

#include <cstdint>
#include <span>

namespace SPL {

/// The first parameter set of each kind in an AVCDecoderConfigurationRecord (ISO/IEC 14496-15, 5.3.3), as the
/// NAL unit without start code. No bytes when the record has none or ends before it does.
std::span<const std::uint8_t> FirstSequenceParameterSet(std::span<const std::uint8_t> record);
std::span<const std::uint8_t> FirstPictureParameterSet(std::span<const std::uint8_t> record);

}  // namespace SPL
