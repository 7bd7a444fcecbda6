#pragma once

#include <algorithm>
#include <cstdint>

#include "framework/WideArithmetic.h"

namespace qmf {

/// 100-ns units in a second.
inline constexpr std::uint32_t kTimeUnitsPerSecond = 10'000'000;

/// The time of `units` units of scale / rate seconds in 100-ns units, truncated; INT64_MAX where it does not
/// fit and for a rate of 0.
constexpr std::int64_t UnitsToTime(std::uint64_t units, std::uint32_t scale, std::uint32_t rate) {
  const std::uint64_t time = MultiplyDivide(units, std::uint64_t{scale} * kTimeUnitsPerSecond, rate);
  return static_cast<std::int64_t>(std::min<std::uint64_t>(time, INT64_MAX));
}

/// How many whole units of scale / rate seconds pass in `time` (not negative); INT64_MAX where they do not
/// fit and for a scale of 0.
constexpr std::uint64_t TimeToUnits(std::int64_t time, std::uint32_t scale, std::uint32_t rate) {
  const std::uint64_t units =
      MultiplyDivide(static_cast<std::uint64_t>(time), rate, std::uint64_t{scale} * kTimeUnitsPerSecond);
  return std::min<std::uint64_t>(units, INT64_MAX);
}

}  // namespace qmf
