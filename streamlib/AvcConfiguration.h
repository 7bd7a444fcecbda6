#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace SPL {

/// The first parameter set of each kind in an AVCDecoderConfigurationRecord (ISO/IEC 14496-15, 5.3.3), as the
/// NAL unit without start code. No bytes when the record has none or ends before it does.
std::span<const std::uint8_t> FirstSequenceParameterSet(std::span<const std::uint8_t> record);
std::span<const std::uint8_t> FirstPictureParameterSet(std::span<const std::uint8_t> record);

/// Bytes of the length in front of each NAL unit of the record's stream: 1 to 4.
std::size_t NalLengthSize(std::span<const std::uint8_t> record);

/// Calls `visit(unit)` with every parameter set of the record, those of sequences first.
void VisitParameterSets(std::span<const std::uint8_t> record,
                        const std::function<void(std::span<const std::uint8_t> unit)>& visit);

}  // namespace SPL
