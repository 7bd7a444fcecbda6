#pragma once

#include <cstdint>

namespace qmf {

/// 100-ns units in a second.
inline constexpr std::uint32_t kTimeUnitsPerSecond = 10'000'000;

/// Holds the products of times, counts and rates.
__extension__ typedef unsigned __int128 Uint128;

/// `value`, or INT64_MAX where it is larger.
constexpr std::uint64_t SaturateTime(Uint128 value) {
  return value < Uint128{INT64_MAX} ? static_cast<std::uint64_t>(value) : INT64_MAX;
}

/// The time of `units` units of scale / rate seconds in 100-ns units, truncated; INT64_MAX where it does not
/// fit and for a rate of 0.
constexpr std::int64_t UnitsToTime(std::uint64_t units, std::uint32_t scale, std::uint32_t rate) {
  // 64, 32 and 24 bits: the product fits.
  if (rate == 0) return INT64_MAX;
  return static_cast<std::int64_t>(SaturateTime(Uint128{units} * scale * kTimeUnitsPerSecond / rate));
}

/// How many whole units of scale / rate seconds pass in `time` (not negative); INT64_MAX where they do not
/// fit and for a scale of 0.
constexpr std::uint64_t TimeToUnits(std::int64_t time, std::uint32_t scale, std::uint32_t rate) {
  if (scale == 0) return INT64_MAX;
  const Uint128 scaled = Uint128{static_cast<std::uint64_t>(time)} * rate;
  return SaturateTime(scaled / (Uint128{scale} * kTimeUnitsPerSecond));
}

}  // namespace qmf
