#include "readers/avi/AviSeekTable.h"

#include <gtest/gtest.h>

#include "tests/readers/avi/AviMedia.h"
#include "tests/support/TestMemory.h"

namespace qmf::test {
namespace {

// It needs its entries, but not its second area.
TEST(AviSeekTable, IsReservedWithTheTitleAndLeftUntouched) {
  for (const auto& [frames, capacity] : {std::pair(5'000U, 1'000U),
                                         {500'000U, 21'600U},
                                         {50'000U, 5'000U},
                                         {0U, 21'600U},
                                         {0xFFFFFFFFU, 21'600U}}) {
    const Bytes file = AviParts{.streams = {VideoStream({.length = frames})}}.Build();
    for (const std::uint32_t refused : {0U, capacity * 4, capacity * 200}) {
      TestMemory memory;
      memory.refuseSize = refused;
      OpenedFile avi(kAviModule, file, &memory);
      EXPECT_EQ(avi.SetTitle(), refused == capacity * 200 ? QMF_OUT_OF_MEMORY : QMF_OK) << frames;
      EXPECT_EQ(memory.HasUntouched(capacity * 200), refused != capacity * 200) << frames;
      EXPECT_EQ(memory.HasUntouched(capacity * 4), refused == 0) << frames;
    }
  }
}

// Notes frames of which every `keyGap`th is a key frame, and asks for all of them.
void CheckKeys(AviSeekTable& table, std::uint64_t frames, std::uint64_t keyGap) {
  AviPosition position;
  for (std::uint64_t i = 0; i < frames; ++i) {
    position.offset = i * 100;
    position.counts[0] = i;
    position.counts[1] = i * 7;
    table.Note(position, i % keyGap == 0);
  }
  ASSERT_EQ(table.FrameCount(), frames);
  const std::uint64_t step = frames > 50'000 ? 37 : 1;
  for (std::uint64_t i = 0; i < frames; i += step) {
    ASSERT_EQ(table.KeyAtOrBefore(i), i / keyGap * keyGap);
    const std::uint64_t next = (i + keyGap - 1) / keyGap * keyGap;
    ASSERT_EQ(table.KeyFrom(i), next < frames ? std::optional(next) : std::nullopt);
    const AviPosition* const before = table.Before(i);
    ASSERT_LE(before->counts[0], i);
    ASSERT_GE(before->counts[0] + 320, i);
    ASSERT_EQ(before->offset, before->counts[0] * 100);
    ASSERT_EQ(table.BeforeCount(1, i * 7 + 3), before);
  }
}

TEST(AviSeekTable, FindsKeyFramesHoweverManyFramesShareAnEntryAndKeepsWhatItHasWhenFull) {
  for (const std::size_t refuse : {std::size_t{0}, 4 * std::size_t{1'000}}) {
    TestMemory memory;
    memory.refuseSize = refuse;
    AviSeekTable table(&memory);
    table.Note({}, true);
    EXPECT_EQ(table.FrameCount(), 0U) << "nothing was reserved";
    EXPECT_EQ(table.KeyAtOrBefore(0), std::nullopt);
    for (const std::uint64_t frames : {1U, 9'999U, 10'000U, 10'001U, 40'010U, 320'000U}) {
      table.Clear();
      table.Reserve(1);
      CheckKeys(table, frames, 250);
    }
    table.Note({}, true);
    EXPECT_TRUE(table.IsFull());
    EXPECT_EQ(table.FrameCount(), 320'000U);
    EXPECT_EQ(table.KeyAtOrBefore(UINT64_MAX), 319'750U);
    EXPECT_FALSE(table.IsKey(320'000));
    table.Clear();
    CheckKeys(table, 20'000, 1);
  }
}

}  // namespace
}  // namespace qmf::test
