#pragma once

#include <cstdint>

#include "framework/MediaTime.h"

namespace qmf {

/// Media times of a file stay within this many ticks; a larger one counts as this. Leaves room to add in.
inline constexpr std::uint64_t kMaxMediaTime = INT64_MAX / 2;

/// `ticks` of a clock of `from` ticks a second in ticks of `to` a second, rounded to the nearest, halves away
/// from zero. 0 for a clock of 0; the largest or least number where the result does not fit.
std::int64_t Rescale(std::int64_t ticks, std::uint32_t from, std::uint32_t to);

inline std::int64_t ToTimeUnits(std::int64_t ticks, std::uint32_t timescale) {
  return Rescale(ticks, timescale, kTimeUnitsPerSecond);
}

/// Durations and the like: unsigned on the wire, and never that long.
inline std::int64_t ToTicks(std::uint64_t value) {
  return value > INT64_MAX ? INT64_MAX : static_cast<std::int64_t>(value);
}

/// The sum; the largest or least number where it does not fit.
std::int64_t AddTimes(std::int64_t a, std::int64_t b);

struct Fraction {
  std::uint32_t numerator;
  std::uint32_t denominator;
};

/// The fraction numerator / denominator in lowest terms, or the nearest one whose terms fit into 32 bits. 0/0
/// when either is 0.
Fraction Reduce(std::uint64_t numerator, std::uint64_t denominator);

}  // namespace qmf
