#pragma once

#include <cstdint>

namespace qmf {

/// What 64-bit compilers do by themselves. Compiled everywhere, so that every build can test it.
constexpr std::uint64_t MultiplyDivideByHalves(std::uint64_t a, std::uint64_t b, std::uint64_t divisor,
                                               std::uint64_t addend = 0) {
  constexpr std::uint64_t kLow = UINT32_MAX;
  const std::uint64_t low = (a & kLow) * (b & kLow);
  const std::uint64_t middle = (a >> 32) * (b & kLow) + (low >> 32);
  const std::uint64_t other = (a & kLow) * (b >> 32) + (middle & kLow);
  std::uint64_t rest = (a >> 32) * (b >> 32) + (middle >> 32) + (other >> 32);
  std::uint64_t bits = (other << 32 | (low & kLow)) + addend;
  if (bits < addend) ++rest;
  if (rest >= divisor) return UINT64_MAX;
  // Long division: the quotient's bits enter from the right as those of the dividend leave to the left.
  for (int i = 0; i < 64; ++i) {
    const bool carry = rest >> 63 != 0;
    rest = rest << 1 | bits >> 63;
    bits <<= 1;
    if (carry || rest >= divisor) {
      rest -= divisor;
      bits |= 1;
    }
  }
  return bits;
}

/// (a * b + addend) / divisor without losing the product's upper bits, truncated; UINT64_MAX where the
/// quotient does not fit and for a divisor of 0.
constexpr std::uint64_t MultiplyDivide(std::uint64_t a, std::uint64_t b, std::uint64_t divisor,
                                       std::uint64_t addend = 0) {
#ifdef __SIZEOF_INT128__
  __extension__ typedef unsigned __int128 Wide;
  const Wide quotient = divisor != 0 ? (Wide{a} * b + addend) / divisor : UINT64_MAX;
  return quotient < UINT64_MAX ? static_cast<std::uint64_t>(quotient) : UINT64_MAX;
#else
  return MultiplyDivideByHalves(a, b, divisor, addend);
#endif
}

}  // namespace qmf
