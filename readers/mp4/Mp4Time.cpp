#include "readers/mp4/Mp4Time.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace qmf {
namespace {

// One more term of the continued fraction that approximates the wanted one; false when it does not fit.
bool Extend(std::uint64_t term, std::uint64_t& previous, std::uint64_t& current) {
  constexpr std::uint64_t kLimit = std::numeric_limits<std::uint32_t>::max();
  if (current != 0 && term > (kLimit - previous) / current) return false;
  const std::uint64_t next = term * current + previous;
  if (next > kLimit) return false;
  previous = current;
  current = next;
  return true;
}

}  // namespace

std::int64_t Rescale(std::int64_t ticks, std::uint32_t from, std::uint32_t to) {
  if (from == 0) return 0;
  const std::uint64_t magnitude =
      ticks < 0 ? 0 - static_cast<std::uint64_t>(ticks) : static_cast<std::uint64_t>(ticks);
  const auto rescaled = static_cast<std::int64_t>(
      std::min<std::uint64_t>(MultiplyDivide(magnitude, to, from, from / 2), INT64_MAX));
  return ticks < 0 ? -rescaled : rescaled;
}

std::int64_t AddTimes(std::int64_t a, std::int64_t b) {
  if (b > 0 && a > INT64_MAX - b) return INT64_MAX;
  if (b < 0 && a < INT64_MIN - b) return INT64_MIN;
  return a + b;
}

Fraction Reduce(std::uint64_t numerator, std::uint64_t denominator) {
  if (numerator == 0 || denominator == 0) return {0, 0};
  std::uint64_t n0 = 0;
  std::uint64_t n1 = 1;
  std::uint64_t d0 = 1;
  std::uint64_t d1 = 0;
  while (denominator != 0) {
    const std::uint64_t term = numerator / denominator;
    std::uint64_t nextN0 = n0;
    std::uint64_t nextN1 = n1;
    if (!Extend(term, nextN0, nextN1) || !Extend(term, d0, d1)) break;
    n0 = nextN0;
    n1 = nextN1;
    numerator = std::exchange(denominator, numerator % denominator);
  }
  return {static_cast<std::uint32_t>(n1), static_cast<std::uint32_t>(d1)};
}

}  // namespace qmf
