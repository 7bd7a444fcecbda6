#include "framework/WideArithmetic.h"

#include <gtest/gtest.h>

namespace qmf::test {
namespace {

TEST(WideArithmetic, MultipliesAndDividesWithoutLosingUpperBits) {
  struct Row {
    std::uint64_t a, b, divisor, quotient, addend = 0;
  };
  constexpr std::uint64_t kMost = UINT64_MAX;
  constexpr Row kRows[] = {
      {0, 5, 7, 0},
      {90'000, 10'000'000, 1001, 899'100'899},
      {kMost, 1, 1, kMost},
      {kMost, 10'000'000, 10'000'000, kMost},
      {kMost, kMost, kMost, kMost},
      {kMost - 1, kMost, kMost, kMost - 1},
      {1ULL << 63, 6, 1ULL << 33, 3ULL << 31},
      {0xFFFF'FFFF'0000'0001, 0xFFFF'FFFF, 0xFFFF'FFFF, 0xFFFF'FFFF'0000'0001},
      {3, kMost, kMost - 1, 3},
      {kMost, 2, 1, kMost},
      {1, 1, 0, kMost},
      {7, 3, 2, 11, 1},
      {kMost, kMost, kMost, kMost, kMost - 1},
      {kMost, 1, 2, 1ULL << 63, 1},
  };
  for (const auto& [a, b, divisor, quotient, addend] : kRows) {
    EXPECT_EQ(MultiplyDivide(a, b, divisor, addend), quotient) << a << " * " << b << " / " << divisor;
    EXPECT_EQ(MultiplyDivideByHalves(a, b, divisor, addend), quotient) << a << " * " << b << " / " << divisor;
  }
}

}  // namespace
}  // namespace qmf::test
