#include "readers/es/SeekIndex.h"

#include <gtest/gtest.h>

namespace qmf::test {
namespace {

TEST(SeekIndex, StaysSmallAndGivesAPointNotFarBefore) {
  SeekIndex index(std::pmr::new_delete_resource());
  constexpr SeekIndex::Point kStart = {7, 0};
  EXPECT_EQ(index.Before(100, kStart).offset, 7U);
  constexpr std::uint64_t kLast = 3'000'000;
  for (std::uint64_t ticks = 10; ticks <= kLast; ticks += 10) index.Learn({ticks + 1000, ticks});
  index.Learn({1, 50});  // known already
  EXPECT_EQ(index.Before(9, kStart).offset, 7U);
  for (std::uint64_t ticks = 20'000; ticks <= kLast; ticks += 4999) {
    const SeekIndex::Point point = index.Before(ticks, kStart);
    EXPECT_EQ(point.offset, point.ticks + 1000);
    EXPECT_LE(point.ticks, ticks);
    EXPECT_GT(point.ticks + 2 * kLast / (SeekIndex::kMaxPoints / 2), ticks);
  }
}

}  // namespace
}  // namespace qmf::test
