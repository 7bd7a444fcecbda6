#include <gmock/gmock.h>

#include "readers/avi/AviKeyFrames.h"
#include "tests/readers/avi/AviMedia.h"

namespace qmf::test {
namespace {

using ::testing::ElementsAreArray;
using ::testing::Optional;

std::vector<ReadBlock> OnlyOf(std::vector<ReadBlock> blocks, std::uint32_t blockType, std::uint32_t stream) {
  std::erase_if(
      blocks, [&](const ReadBlock& block) { return block.blockType != blockType || block.stream != stream; });
  return blocks;
}

class AviLayouts : public ::testing::TestWithParam<Layout> {
 protected:
  const std::vector<Sample> m_samples = MakeSamples(60);
  const std::vector<ReadBlock> m_expected = Expected(m_samples);
  OpenedAvi m_avi{MakeAvi(m_samples, GetParam())};
  const bool m_usable = !IsFailure(m_avi.SetTitle());
};

TEST_P(AviLayouts, DeliverEveryBlockInFileOrder) {
  ASSERT_TRUE(m_usable);
  ActivateAll(m_avi);
  QMFResult end = QMF_OK;
  EXPECT_THAT(ReadAll(m_avi, &end), ElementsAreArray(m_expected));
  EXPECT_EQ(end, QMF_ERR_END_OF_STREAM);
}

TEST_P(AviLayouts, DeliverEachStreamByItself) {
  ASSERT_TRUE(m_usable);
  for (const auto& [type, stream] : {std::pair(kBlockAudio, 1U), {kBlockVideo, 0U}, {kBlockAudio, 0U}}) {
    EXPECT_THAT(ReadStream(m_avi, type, stream), ElementsAreArray(OnlyOf(m_expected, type, stream)));
  }
}

TEST_P(AviLayouts, SeekToTheKeyFrameAtOrBefore) {
  ASSERT_TRUE(m_usable);
  ActivateAll(m_avi);
  const std::pair<std::int64_t, std::uint32_t> cases[] = {
      {23'999'999, 48}, {0, 0}, {-5, 0}, {4'799'999, 0}, {4'800'000, 12}, {19'600'000, 48}, {INT64_MAX, 48},
  };
  for (const auto& [asked, frame] : cases) {
    std::int64_t time = asked;
    ASSERT_EQ(m_avi.Module().SetPosition(m_avi.Handle(), kBlockVideo, 0, &time), QMF_OK);
    EXPECT_EQ(time, frame * std::int64_t{400'000});
    const auto landing = std::ranges::find_if(m_expected, [&](const ReadBlock& block) {
      return block.blockType == kBlockVideo && block.time == time;
    });
    EXPECT_THAT(ReadAll(m_avi), ElementsAreArray(landing, m_expected.end())) << asked;
  }
}

TEST_P(AviLayouts, SeekAudioAlone) {
  ASSERT_TRUE(m_usable);
  ActivateAll(m_avi);
  std::int64_t time = 12'345'678;
  ASSERT_EQ(m_avi.Module().SetPosition(m_avi.Handle(), kBlockAudio, 0, &time), QMF_OK);
  EXPECT_EQ(time, 12'000'000);
  std::vector<ReadBlock> audio = OnlyOf(m_expected, kBlockAudio, 0);
  audio.erase(audio.begin(), audio.begin() + 15);
  EXPECT_THAT(ReadStream(m_avi, kBlockAudio, 0), ElementsAreArray(audio));
  EXPECT_THAT(ReadStream(m_avi, kBlockVideo, 0), ElementsAreArray(OnlyOf(m_expected, kBlockVideo, 0)));
}

TEST_P(AviLayouts, TellKeyFramesAround) {
  ASSERT_TRUE(m_usable);
  ActivateAll(m_avi);
  (void)ReadAll(m_avi);  // What a file without index says, it says after it was read.
  struct Case {
    std::uint64_t asked;
    std::optional<std::uint64_t> prev, next;
  };
  for (const Case& c :
       {Case{0, 0, 12}, {11, 0, 12}, {12, 12, 24}, {47, 36, 48}, {48, 48, {}}, {1000, 48, {}}}) {
    EXPECT_EQ(m_avi.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 0, c.asked), c.prev);
    EXPECT_EQ(m_avi.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, c.asked), c.next);
    const auto time = [](std::optional<std::uint64_t> frame) {
      return frame ? std::optional(*frame * 400'000) : frame;
    };
    EXPECT_EQ(m_avi.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, c.asked * 400'000 + 7), time(c.prev));
    EXPECT_EQ(m_avi.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, c.asked * 400'000 + 7), time(c.next));
  }
  EXPECT_EQ(m_avi.Result(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, 48), QMF_ERR_END_OF_STREAM);
}

INSTANTIATE_TEST_SUITE_P(Avi, AviLayouts, ::testing::ValuesIn(kAllLayouts));

class AviBlocks : public ::testing::Test {
 protected:
  const std::vector<Sample> m_samples = MakeSamples(60);
  const std::vector<ReadBlock> m_expected = Expected(m_samples);
};

TEST_F(AviBlocks, IndexTellsKeyFramesThatTheirBytesDoNot) {
  std::vector<Sample> samples = m_samples;
  for (Sample& sample : samples) {
    if (sample.id == "00dc") sample.payload = "opaque";
  }
  std::vector<ReadBlock> expected = Expected(samples);
  for (const Layout layout :
       {Layout::kRelativeIndex, Layout::kAbsoluteIndex, Layout::kAlternateIndex, Layout::kRecLists,
        Layout::kSuperIndex, Layout::kTwoFieldIndex, Layout::kStandardIndexInPlace, Layout::kExtensions}) {
    OpenedAvi avi(MakeAvi(samples, layout));
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    ActivateAll(avi);
    EXPECT_THAT(ReadAll(avi), ElementsAreArray(expected)) << static_cast<int>(layout);
  }
  for (ReadBlock& block : expected) {
    if (block.blockType == kBlockVideo) block.key = QMFBlock::kUnknown;
  }
  OpenedAvi unknown(MakeAvi(samples, Layout::kNoIndex));
  ASSERT_EQ(unknown.SetTitle(), QMF_ERR_NO_INDEX_FOUND);
  ActivateAll(unknown);
  EXPECT_THAT(ReadAll(unknown), ElementsAreArray(expected));
}

TEST_F(AviBlocks, OnlyActiveStreamsAreDelivered) {
  OpenedAvi avi(MakeAvi(m_samples, Layout::kRelativeIndex));
  EXPECT_EQ(avi.Module().SetTitleActiveStream(avi.Handle(), kBlockVideo, 0, 1), QMF_FAILURE)
      << "no title yet";
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_TRUE(ReadAll(avi).empty());
  const auto activate = [&](std::uint32_t type, std::uint32_t stream, std::uint32_t active) {
    return avi.Module().SetTitleActiveStream(avi.Handle(), type, stream, active);
  };
  EXPECT_EQ(activate(kBlockVideo, 1, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(activate(kBlockAudio, 2, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(activate(kBlockSubtitle, 0, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(activate(0, 0, 1), QMF_ERR_INVALID_STREAM);
  ASSERT_EQ(activate(kBlockAudio, 1, 1), QMF_OK);
  EXPECT_THAT(ReadAll(avi), ElementsAreArray(OnlyOf(m_expected, kBlockAudio, 1)));
  // A stream that is switched on joins where the others stand, at its right time.
  std::int64_t time = 4'800'000;
  ASSERT_EQ(activate(kBlockAudio, 1, 0), QMF_OK);
  ASSERT_EQ(activate(kBlockVideo, 0, 1), QMF_OK);
  ASSERT_EQ(avi.Module().SetPosition(avi.Handle(), kBlockVideo, 0, &time), QMF_OK);
  ASSERT_EQ(activate(kBlockAudio, 1, 1), QMF_OK);
  std::vector<ReadBlock> rest(std::ranges::find(m_expected, m_samples[24].payload, &ReadBlock::payload),
                              m_expected.end());
  std::erase_if(rest,
                [](const ReadBlock& block) { return block.blockType == kBlockAudio && block.stream == 0; });
  EXPECT_THAT(ReadAll(avi), ElementsAreArray(rest));
}

TEST_F(AviBlocks, BlockThatDoesNotFitSaysWhatItNeedsAndStays) {
  OpenedAvi avi(MakeAvi(m_samples, Layout::kRelativeIndex));
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  ActivateAll(avi);
  std::uint8_t small[4];
  std::uint32_t type = 0;
  std::uint32_t stream = 0;
  std::int64_t time = 0;
  QMFBlock block;
  block.data = small;
  block.capacity = sizeof(small);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(avi.Module().ReadNextBlock(avi.Handle(), &type, &stream, &block, &time),
              QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
    EXPECT_EQ(avi.Module().ReadNextBlockByStream(avi.Handle(), kBlockVideo, 0, &block, &time),
              QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
    EXPECT_EQ(block.required, m_samples[0].payload.size());
    EXPECT_EQ(block.size, 0U);
  }
  EXPECT_THAT(ReadAll(avi), ElementsAreArray(m_expected));
}

TEST_F(AviBlocks, EmptyChunksTakeTheirTimeInVideoOnly) {
  std::vector<Sample> samples = m_samples;
  samples.insert(samples.begin() + 3, {{"00dc", "", false}, {"02wb", ""}, {"01wb", ""}});
  OpenedAvi avi(MakeAvi(samples, Layout::kRelativeIndex));
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  ActivateAll(avi);
  samples.erase(samples.begin() + 4, samples.begin() + 6);
  EXPECT_THAT(ReadAll(avi), ElementsAreArray(Expected(samples)));
}

TEST_F(AviBlocks, EmptyChunksAreNoKeyFrames) {
  std::vector<Sample> samples = m_samples;
  ASSERT_EQ(samples[24].id, "00dc");
  samples[24] = {"00dc", "", true};
  for (const Layout layout : {Layout::kRelativeIndex, Layout::kNoIndex}) {
    OpenedAvi avi(MakeAvi(samples, layout));
    ASSERT_FALSE(IsFailure(avi.SetTitle()));
    std::int64_t time = 5'000'000;
    ASSERT_EQ(avi.Module().SetPosition(avi.Handle(), kBlockVideo, 0, &time), QMF_OK);
    EXPECT_EQ(time, 0);
  }
}

TEST_F(AviBlocks, StartOfAStreamDelaysIt) {
  AviParts parts;
  parts.streams = {VideoStream({.start = 2}), AudioStream({.rate = 1000, .start = 500, .sampleSize = 4})};
  OpenedAvi avi(parts.Build());
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_EQ(ReadStream(avi, kBlockVideo, 0)[0].time, 800'000);
  EXPECT_EQ(ReadStream(avi, kBlockAudio, 0)[0].time, 5'000'000);
  std::int64_t time = 0;
  EXPECT_EQ(avi.Module().SetPosition(avi.Handle(), kBlockAudio, 0, &time), QMF_OK);
  EXPECT_EQ(time, 5'000'000) << "the first block when all are later";
}

TEST_F(AviBlocks, FileWithoutIndexLearnsAsItIsRead) {
  OpenedAvi avi(MakeAvi(m_samples, Layout::kNoIndex));
  ASSERT_EQ(avi.SetTitle(), QMF_ERR_NO_INDEX_FOUND);
  EXPECT_THAT(avi.Number(QMF_QID_ON_THE_FLY_INDEX), Optional(1U));
  EXPECT_EQ(avi.Result(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME), QMF_ERR_INDEX_INCOMPLETE);
  EXPECT_EQ(avi.Result(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT), QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(avi.Result(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME), QMF_ERR_END_OF_STREAM);
  (void)ReadStream(avi, kBlockAudio, 0);
  EXPECT_THAT(avi.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME), Optional(4'800'000U));
}

TEST_F(AviBlocks, IndexThatCannotBeBelievedFailsTheTimeQueries) {
  for (const Layout layout : {Layout::kWrongIndex, Layout::kWrongSuperIndex, Layout::kBackwardIndex}) {
    OpenedAvi avi(MakeAvi(m_samples, layout));
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_EQ(avi.Result(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME), QMF_ERR_PROCESS_INDEX_FAILED);
    EXPECT_EQ(avi.Result(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME), QMF_ERR_PROCESS_INDEX_FAILED);
    EXPECT_EQ(avi.Result(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT), QMF_ERR_END_OF_STREAM);
  }
}

TEST_F(AviBlocks, CachelessIndexAsksTheFile) {
  const auto next = [&](Layout layout, std::uint64_t frame) {
    OpenedAvi avi(MakeAvi(m_samples, layout));
    EXPECT_EQ(avi.SetTitle(), QMF_OK);
    QMFQueryData on;
    on.value = 1;
    EXPECT_EQ(avi.Module().SetInfo(avi.Handle(), QMF_QID_USE_CACHELESS_INDEX, &on, 0), QMF_OK);
    QMFQueryData data;
    data.value = frame;
    const QMFResult result = avi.Module().GetInfo(avi.Handle(), QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, &data, 0);
    return result == QMF_OK ? data.value : std::uint64_t{result};
  };
  EXPECT_EQ(next(Layout::kSuperIndex, 0), 12U);
  EXPECT_EQ(next(Layout::kExtensions, 35), 36U);
  EXPECT_EQ(next(Layout::kTwoFieldIndex, 48), QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(next(Layout::kWrongSuperIndex, 0), QMF_FAILURE);
  EXPECT_EQ(next(Layout::kRelativeIndex, 12), 24U) << "without an OpenDML index the seek table answers";
}

TEST_F(AviBlocks, LastBlockOfACutFileIsWhatIsLeftOfIt) {
  const Bytes whole = MakeAvi(m_samples, Layout::kNoIndex);
  const std::size_t lastChunk = whole.rfind("02wb");
  for (std::size_t kept = lastChunk; kept < lastChunk + 8 + m_samples.back().payload.size(); ++kept) {
    OpenedAvi avi(whole.substr(0, kept));
    ASSERT_EQ(avi.SetTitle(), QMF_ERR_NO_INDEX_FOUND);
    ActivateAll(avi);
    std::vector<ReadBlock> expected = m_expected;
    const std::size_t left = kept < lastChunk + 8 ? 0 : kept - lastChunk - 8;
    expected.back().payload.resize(left);
    if (left == 0) expected.pop_back();
    EXPECT_THAT(ReadAll(avi), ElementsAreArray(expected)) << kept;
  }
}

TEST_F(AviBlocks, GarbageAndForeignChunksEndNothingButTheirList) {
  AviParts parts;
  parts.movi = List("movi", Chunk("00dc", "frame0") + Chunk("07dc", "no such stream") +
                                Chunk("00pc", "palette") + Chunk("00ix", "index") + Chunk("LIST", "junkxx") +
                                Chunk("00db", "frame1") + Bytes(8, '\xFE') + Chunk("00dc", "frame2"));
  parts.behindRiff = Riff("AVIX", Chunk("idx1", "") + List("movi", Chunk("00dc", "frame3"))) +
                     Riff("AVIX", "") + Riff("AVIX", List("movi", Chunk("00dc", "frame4")));
  OpenedAvi avi(parts.Build());
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  std::vector<Bytes> payloads;
  for (const ReadBlock& block : ReadStream(avi, kBlockVideo, 0)) payloads.push_back(block.payload);
  EXPECT_THAT(payloads, ::testing::ElementsAre("frame0", "frame1", "frame3", "frame4"));
}

TEST_F(AviBlocks, KeyFramesShowInTheirFirstBytes) {
  struct Case {
    const char (&compression)[5];
    Bytes frame;
    QMFBlock::KeyState key;
  };
  const Bytes configuration("\0\0\1\xB0\1\0\0\1\xB5\x09", 10);
  const Bytes parameters("\0\0\0\1\x67\x42\0\0\1\x68\xCE", 11);
  const Case cases[] = {
      {"MJPG", "", QMFBlock::kKey},
      {"mjpg", "x", QMFBlock::kKey},
      {"divx", configuration + Bytes("\0\0\1\xB6\x3F", 5), QMFBlock::kKey},
      {"FMP4", Bytes("\0\0\1\xB6\x40", 5), QMFBlock::kNotKey},
      {"FMP4", Bytes("\0\0\1\xB6", 4), QMFBlock::kUnknown},
      {"H264", parameters + Bytes("\0\0\1\x65\x88", 5), QMFBlock::kKey},
      {"x264", Bytes("\0\0\0\1\x09\xF0\0\0\1\x41\x9A", 11), QMFBlock::kNotKey},
      {"H264", "", QMFBlock::kUnknown},
      {"VP80", Bytes("\0\0\1\xB6\x3F", 5), QMFBlock::kUnknown},
  };
  for (const Case& c : cases) {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(c.frame.data()), c.frame.size());
    EXPECT_EQ(DetectAviKeyFrame(MakeFourCC(c.compression), bytes), c.key) << c.compression;
  }
}

}  // namespace
}  // namespace qmf::test
