// What the readers of elementary streams have in common.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "readers/es/AacModule.h"
#include "readers/es/AvcModule.h"
#include "readers/es/SrtModule.h"
#include "tests/support/AdtsWriter.h"
#include "tests/support/H264Writer.h"
#include "tests/support/OpenedFile.h"
#include "tests/support/TestMemory.h"

namespace qmf::test {
namespace {

using testing::ElementsAreArray;

TEST(SingleStream, IsOneOfItsKindAndReadWhereItIsActive) {
  using Counts = std::array<std::uint16_t, 3>;
  const Bytes sets = ByteStream({SpsUnit(PlainSps()), PpsUnit()});
  const Bytes pictures = ByteStream({SliceUnit({.type = 5}), SliceUnit({.type = 5, .idrPicId = 1})});
  const Bytes cues = Raw("1\n0:0:0,0 --> 0:0:1,0\nx\n\n2\n0:0:2,0 --> 0:0:3,0\ny\n");
  // Files of two blocks, and what an unknown query gives.
  const std::tuple<const QMFModuleDescriptor*, Bytes, QMFBlockType, Counts, QMFResult> rows[] = {
      {&kAvcModule, sets + pictures, kBlockVideo, {1, 0, 0}, QMF_ERR_INVALID_QUERY_ID},
      {&kAacModule, AdtsFrame() + AdtsFrame(), kBlockAudio, {0, 1, 0}, QMF_ERR_UNSUPPORTED_QID},
      {&kSrtModule, cues, kBlockSubtitle, {0, 0, 1}, QMF_ERR_UNSUPPORTED_QID},
  };
  for (const auto& [module, bytes, type, counts, unknown] : rows) {
    TestMemory memory;
    OpenedFile file(*module, bytes, &memory);
    EXPECT_EQ(file.Start(), QMF_OK);
    memory.failAt = 0;  // A seek point is lost by that, but no block.
    EXPECT_EQ(file.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), counts[0]);
    EXPECT_EQ(file.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA), counts[1]);
    EXPECT_EQ(file.Number(QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA), counts[2]);
    EXPECT_THAT(file.Format<QMFTitleMediaProp>(QMF_QID_GET_TITLE_MEDIA_PROP).counts,
                ElementsAreArray(counts));
    EXPECT_EQ(file.Ask(QMF_QID_GET_BITRATE), unknown);
    EXPECT_EQ(file.SetTitle(1), QMF_ERR_INVALID_TITLE_INDEX);

    // A block that did not fit comes next, but not behind a seek.
    const ReadBlock small = file.Next(0);
    EXPECT_EQ(small.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
    const ReadBlock first = file.Next(small.required);
    EXPECT_EQ(first.bytes.size(), small.required);
    const ReadBlock second = file.Next();
    EXPECT_EQ(file.Next().result, QMF_ERR_END_OF_STREAM);
    EXPECT_EQ(file.SetTitle(0), QMF_OK);
    EXPECT_EQ(file.Next(0).required, small.required);
    EXPECT_EQ(file.Seek(type, INT64_MAX), second.time);
    EXPECT_EQ(file.Next(), second);
    EXPECT_EQ(file.Seek(type, INT64_MIN), 0);
    EXPECT_EQ(file.Activate(type, 0, false), QMF_OK);
    EXPECT_EQ(file.Next().result, QMF_ERR_END_OF_STREAM);
    EXPECT_EQ(file.NextOf(type), first);
    EXPECT_EQ(file.NextOf(type, 1).result, QMF_ERR_INVALID_STREAM);
  }
}

TEST(SingleStream, IsChosenByExtensionWhereTheFileIsNotLookedAt) {
  struct Row {
    const QMFModuleDescriptor& module;
    std::vector<const char16_t*> taken, left;
  };
  const Row rows[] = {
      {kAvcModule, {u"a.264", u"a.h264 "}, {u"a.H264", u"a.mkv"}},
      {kSrtModule, {u"a.srt", u"a.b.srt  "}, {u"a.srtx", u"a.SRT"}},
      {kAacModule,
       {u"/no/a.aac", u"/no/a.mpg", u"/no/a.m2ts ", u"/no/a.m4v"},
       {u"/no/a.AAC", u"/no/a.mp3", u"/no/aac"}},
  };
  for (const Row& row : rows) {
    for (const char16_t* const name : row.taken) EXPECT_EQ(Score(row.module, name), 100);
    for (const char16_t* const name : row.left) EXPECT_EQ(Score(row.module, name), 0);
  }
}

TEST(SeekIndex, StaysSmallAndGivesAPointNotFarBefore) {
  SeekIndex index(std::pmr::new_delete_resource());
  constexpr SeekIndex::Point kStart = {7, 0};
  EXPECT_EQ(index.Before(100, kStart).offset, 7U);
  constexpr std::uint64_t kLast = 3'000'000;
  for (std::uint64_t ticks = 10; ticks <= kLast; ticks += 10) index.Learn({ticks + 1000, ticks});
  index.Learn({1, 50});  // known already
  EXPECT_EQ(index.Before(9, kStart).offset, 7U);
  EXPECT_EQ(index.Before(10, kStart).offset, 1010U);
  for (std::uint64_t ticks = 20'000; ticks <= kLast; ticks += 4999) {
    const SeekIndex::Point point = index.Before(ticks, kStart);
    EXPECT_EQ(point.offset, point.ticks + 1000);
    EXPECT_LE(point.ticks, ticks);
    EXPECT_GT(point.ticks + 2 * kLast / (SeekIndex::kMaxPoints / 2), ticks);
  }
}

}  // namespace
}  // namespace qmf::test
