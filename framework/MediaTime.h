#pragma once

#include <cstdint>

namespace qmf {

/// 100-ns units in a second.
inline constexpr std::uint32_t kTimeUnitsPerSecond = 10'000'000;

namespace detail {
__extension__ typedef unsigned __int128 Wide;

constexpr std::uint64_t Saturate(Wide value) {
  return value < Wide{INT64_MAX} ? static_cast<std::uint64_t>(value) : INT64_MAX;
}
}  // namespace detail

/// The time of `units` units of scale / rate seconds in 100-ns units, truncated; INT64_MAX where it does not
/// fit and for a rate of 0.
constexpr std::int64_t UnitsToTime(std::uint64_t units, std::uint32_t scale, std::uint32_t rate) {
  // 64, 32 and 24 bits: the product fits.
  if (rate == 0) return INT64_MAX;
  return static_cast<std::int64_t>(
      detail::Saturate(detail::Wide{units} * scale * kTimeUnitsPerSecond / rate));
}

/// How many whole units of scale / rate seconds pass in `time` (not negative); INT64_MAX where they do not
/// fit and for a scale of 0.
constexpr std::uint64_t TimeToUnits(std::int64_t time, std::uint32_t scale, std::uint32_t rate) {
  if (scale == 0) return INT64_MAX;
  const detail::Wide scaled = detail::Wide{static_cast<std::uint64_t>(time)} * rate;
  return detail::Saturate(scaled / (detail::Wide{scale} * kTimeUnitsPerSecond));
}

}  // namespace qmf
