#include "readers/avi/AviTime.h"

#include <algorithm>
#include <cmath>

namespace qmf {
namespace {

constexpr std::uint64_t kSecond = 10'000'000;

__extension__ typedef unsigned __int128 Wide;

}  // namespace

std::optional<std::int64_t> AviUnitsToTime(std::uint64_t units, const AviStreamHeader& header) {
  if (header.Rate() == 0) return std::nullopt;
  // Saturated first: the largest product then still fits into 128 bits.
  const Wide seconds = std::min<Wide>(Wide{units} * header.Scale(), Wide{1} << 100);
  return static_cast<std::int64_t>(std::min<Wide>(seconds * kSecond / header.Rate(), INT64_MAX));
}

std::optional<std::int64_t> AviTitleDuration(const AviTitle& title) {
  const auto length = [](const AviStream& stream) {
    return AviUnitsToTime(stream.header.Length(), stream.header);
  };
  if (title.hasVideo) return length(title.Video());
  std::optional<std::int64_t> longest;
  for (const AviStream& stream : title.Audio().first(title.admittedAudio)) {
    longest = std::max(longest, length(stream));
  }
  return longest;
}

std::optional<std::uint32_t> AviFrameFromTime(const AviTitle& title, std::uint64_t time) {
  if (time == 0) return 0;
  const AviStreamHeader& header = title.Video().header;
  // In double precision and truncated: 23.976 frames a second give 417083 units a frame.
  const double duration = static_cast<double>(header.Scale()) * static_cast<double>(kSecond) / header.Rate();
  if (!std::isfinite(duration) || duration < 1) return std::nullopt;
  return static_cast<std::uint32_t>(time / static_cast<std::uint64_t>(duration));
}

}  // namespace qmf
