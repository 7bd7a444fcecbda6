#pragma once

#include <cstdint>
#include <optional>

#include "readers/avi/AviTitle.h"

namespace qmf {

/// The time of `units` units of scale / rate seconds in 100-ns units, truncated; INT64_MAX when it does not
/// fit. Nothing when the rate is 0.
std::optional<std::int64_t> AviUnitsToTime(std::uint64_t units, const AviStreamHeader& header);

/// When the block of `stream` starts before which `count` came, in the unit of AviStream::CountOf. 0 without
/// a rate.
std::int64_t AviTimeOf(const AviStream& stream, std::uint64_t count);

/// The largest count whose block starts at or before `time`; nothing when all start later.
std::optional<std::uint64_t> AviCountAt(const AviStream& stream, std::int64_t time);

/// The length of the video stream, or of the longest audio stream when there is no video. Nothing when no
/// stream tells.
std::optional<std::int64_t> AviTitleDuration(const AviTitle& title);

/// The number of the video frame at `time`. Nothing when the stream header gives no frame duration.
std::optional<std::uint32_t> AviFrameFromTime(const AviTitle& title, std::uint64_t time);

}  // namespace qmf
