#include "readers/avi/AviSeekTable.h"

#include <gtest/gtest.h>

#include "readers/avi/AviModule.h"
#include "tests/support/AviBuilder.h"
#include "tests/support/OpenedFile.h"
#include "tests/support/TestMemory.h"

namespace qmf::test {
namespace {

Bytes FileOfLength(std::uint32_t frames) {
  AviParts parts;
  parts.streams = {VideoStream({.length = frames})};
  return parts.Build();
}

TEST(AviSeekTable, IsReservedWithTheTitleAndLeftUntouched) {
  for (const auto& [frames, capacity] : {std::pair(5'000U, 1'000U),
                                         {500'000U, 21'600U},
                                         {50'000U, 5'000U},
                                         {0U, 21'600U},
                                         {0xFFFFFFFFU, 21'600U}}) {
    TestMemory memory;
    OpenedFile avi(kAviModule, FileOfLength(frames), &memory);
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_TRUE(memory.HasUntouched(capacity * 200)) << frames;
    EXPECT_TRUE(memory.HasUntouched(capacity * 4)) << frames;
  }
  // It needs its entries, but not its second area.
  for (const auto& [refused, result] : {std::pair(200 * 1'000U, QMF_OUT_OF_MEMORY), {4 * 1'000U, QMF_OK}}) {
    TestMemory memory;
    memory.refuseSize = refused;
    EXPECT_EQ(OpenedFile(kAviModule, FileOfLength(100), &memory).SetTitle(), result);
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

TEST(AviSeekTable, FindsKeyFramesHoweverManyFramesShareAnEntry) {
  for (const std::size_t refuse : {std::size_t{0}, 4 * std::size_t{1'000}}) {
    TestMemory memory;
    memory.refuseSize = refuse;
    AviSeekTable table(&memory);
    EXPECT_EQ(table.KeyAtOrBefore(0), std::nullopt);
    for (const std::uint64_t frames : {1U, 9'999U, 10'000U, 10'001U, 40'010U, 320'000U}) {
      table.Reserve(1);
      CheckKeys(table, frames, 250);
      table.Clear();
    }
    CheckKeys(table, 20'000, 1);
  }
}

TEST(AviSeekTable, FullTableKeepsWhatItHas) {
  AviSeekTable table(std::pmr::new_delete_resource());
  table.Note({}, true);
  EXPECT_EQ(table.FrameCount(), 0U) << "nothing was reserved";
  table.Clear();
  table.Reserve(1);
  for (int i = 0; i < 320'005; ++i) table.Note({}, i == 5);
  EXPECT_TRUE(table.IsFull());
  EXPECT_EQ(table.FrameCount(), 320'000U);
  EXPECT_EQ(table.KeyAtOrBefore(UINT64_MAX), 5U);
  EXPECT_EQ(table.KeyFrom(6), std::nullopt);
  EXPECT_FALSE(table.IsKey(320'001));
}

}  // namespace
}  // namespace qmf::test
