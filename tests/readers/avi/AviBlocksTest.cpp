#include <gmock/gmock.h>

#include <algorithm>

#include "readers/avi/AviKeyFrames.h"
#include "tests/readers/avi/AviMedia.h"
#include "tests/support/TestMemory.h"

namespace qmf::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using Blocks = std::vector<ReadBlock>;

Blocks OnlyOf(Blocks blocks, std::uint32_t blockType, std::uint32_t stream) {
  std::erase_if(
      blocks, [&](const ReadBlock& block) { return block.blockType != blockType || block.stream != stream; });
  return blocks;
}

Blocks FromFrameAt(std::uint64_t time, Blocks blocks) {
  const auto isIt = [&](const ReadBlock& block) {
    return block.blockType == kBlockVideo && block.time == static_cast<std::int64_t>(time);
  };
  blocks.erase(blocks.begin(), std::ranges::find_if(blocks, isIt));
  return blocks;
}

class AviLayouts : public ::testing::TestWithParam<int> {
 protected:
  const std::vector<Sample> m_samples = MakeSamples(60, GetParam() >= kWholeIndexCount);
  const Blocks m_expected = Expected(m_samples);
  StartedAvi m_avi{MakeAvi(m_samples, GetParam())};
};

TEST_P(AviLayouts, DeliverEveryBlockInFileOrderAndEachStreamByItself) {
  EXPECT_EQ(m_avi.result, GetParam() == kNoIndex ? QMF_ERR_NO_INDEX_FOUND : QMF_OK);
  QMFResult end = QMF_OK;
  EXPECT_THAT(m_avi.Rest(&end), ElementsAreArray(m_expected));
  EXPECT_EQ(end, QMF_ERR_END_OF_STREAM);
  StartedAvi other(MakeAvi(m_samples, GetParam()));
  for (const auto& [type, stream] : {std::pair(kBlockAudio, 1U), {kBlockVideo, 0U}, {kBlockAudio, 0U}}) {
    EXPECT_THAT(other.RestOf(type, stream), ElementsAreArray(OnlyOf(m_expected, type, stream)));
  }
}

TEST_P(AviLayouts, SeekToTheKeyFrameAtOrBeforeAndTellTheKeyFramesAround) {
  using Frame = std::optional<std::uint64_t>;
  const auto time = [](Frame frame) { return frame ? Frame(*frame * 400'000) : frame; };
  EXPECT_EQ(m_avi.Seek(kBlockVideo, INT64_MAX), 19'200'000);
  EXPECT_EQ(m_avi.Seek(kBlockVideo, -5), 0);
  for (const auto& [asked, prev, next] : {std::tuple(59U, Frame(48), Frame()),
                                          {0, 0, 12},
                                          {11, 0, 12},
                                          {12, 12, 24},
                                          {47, 36, 48},
                                          {48, 48, {}},
                                          {1000, 48, {}}}) {
    const std::uint64_t at = *time(asked) + 399'999;
    ASSERT_EQ(m_avi.Seek(kBlockVideo, static_cast<std::int64_t>(at)), *time(prev));
    // What a file without index says, it says after it was read.
    EXPECT_THAT(m_avi.Rest(), ElementsAreArray(FromFrameAt(*time(prev), m_expected))) << asked;
    EXPECT_EQ(m_avi.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 0, asked), prev);
    EXPECT_EQ(m_avi.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, asked), next);
    EXPECT_EQ(m_avi.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, at), time(prev));
    EXPECT_EQ(m_avi.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, at), time(next));
  }
  EXPECT_EQ(m_avi.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, 48), QMF_ERR_END_OF_STREAM);
}

TEST_P(AviLayouts, SeekAudioAlone) {
  ASSERT_EQ(m_avi.Seek(kBlockAudio, 12'345'678), 12'000'000);
  Blocks audio = OnlyOf(m_expected, kBlockAudio, 0);
  audio.erase(audio.begin(), audio.begin() + 15);
  EXPECT_THAT(m_avi.RestOf(kBlockAudio), ElementsAreArray(audio));
  EXPECT_THAT(m_avi.RestOf(kBlockVideo), ElementsAreArray(OnlyOf(m_expected, kBlockVideo, 0)));
}

INSTANTIATE_TEST_SUITE_P(Avi, AviLayouts, ::testing::Range(0, int{kLayoutCount}));

class AviBlocks : public ::testing::Test {
 protected:
  const std::vector<Sample> m_samples = MakeSamples(60);
  const Blocks m_expected = Expected(m_samples);
};

TEST_F(AviBlocks, OnlyActiveStreamsAreDelivered) {
  OpenedFile avi(kAviModule, MakeAvi(m_samples, kRelativeIndex));
  EXPECT_EQ(avi.Activate(kBlockVideo), QMF_FAILURE) << "no title yet";
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_TRUE(avi.Rest().empty());
  for (const auto& [type, stream] :
       {std::pair(std::uint32_t{kBlockVideo}, 1U), {kBlockAudio, 2U}, {kBlockSubtitle, 0U}, {0U, 0U}}) {
    EXPECT_EQ(avi.Activate(type, stream), QMF_ERR_INVALID_STREAM);
  }
  ASSERT_EQ(avi.Activate(kBlockAudio, 1), QMF_OK);
  EXPECT_THAT(avi.Rest(), ElementsAreArray(OnlyOf(m_expected, kBlockAudio, 1)));
  // A stream that is switched on joins where the others stand, at its right time.
  ASSERT_EQ(avi.Activate(kBlockAudio, 1, false), QMF_OK);
  ASSERT_EQ(avi.Activate(kBlockVideo), QMF_OK);
  ASSERT_EQ(avi.Seek(kBlockVideo, 4'800'000), 4'800'000);
  ASSERT_EQ(avi.Activate(kBlockAudio, 1), QMF_OK);
  Blocks rest = FromFrameAt(4'800'000, m_expected);
  std::erase_if(rest, [](const ReadBlock& b) { return b.blockType == kBlockAudio && b.stream == 0; });
  EXPECT_THAT(avi.Rest(), ElementsAreArray(rest));
}

TEST_F(AviBlocks, BlockThatDoesNotFitSaysWhatItNeedsAndStays) {
  StartedAvi avi(MakeAvi(m_samples, kRelativeIndex));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(avi.Next(4).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
    const ReadBlock block = avi.NextOf(kBlockVideo, 0, 4);
    EXPECT_EQ(block.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
    EXPECT_EQ(block.required, m_samples[0].payload.size());
    EXPECT_TRUE(block.bytes.empty());
  }
  EXPECT_THAT(avi.Rest(), ElementsAreArray(m_expected));
}

TEST_F(AviBlocks, EmptyChunksTakeTheirTimeInVideoOnlyAndAreNoKeyFrames) {
  std::vector<Sample> samples = m_samples;
  samples.insert(samples.begin() + 3, {{"00dc", ""}, {"02wb", ""}, {"01wb", ""}});
  std::vector<Sample> counting = samples;
  counting.erase(counting.begin() + 4, counting.begin() + 6);
  for (const int layout : {kRelativeIndex, kNoIndex}) {
    StartedAvi avi(MakeAvi(samples, layout));
    EXPECT_EQ(avi.Seek(kBlockVideo, 800'000), 0);
    EXPECT_THAT(avi.Rest(), ElementsAreArray(Expected(counting)));
  }
}

TEST_F(AviBlocks, TimesCountFromTheStartOfTheirStream) {
  StartedAvi avi(
      {.streams = {VideoStream({.start = 2}), AudioStream({.rate = 1000, .start = 500, .sampleSize = 3}),
                   VideoStream({.rate = 0, .start = 2}, {.compression = "QXSA"})},
       .movi = List("movi", Chunk("00dc", "frame") + Chunk("01wb", "sounds") + Chunk("02sb", "text"))});
  for (const auto& expected : {std::tuple(kBlockVideo, 800'000, 1'200'000),
                               {kBlockAudio, 5'000'000, 5'020'000},
                               {kBlockSubtitle, 0, 0}}) {
    const ReadBlock block = avi.Next();
    EXPECT_EQ(std::tuple(block.blockType, block.time, block.endTime), expected);
  }
  EXPECT_EQ(avi.Seek(kBlockAudio, 0), 5'000'000) << "the first block when all are later";
}

TEST_F(AviBlocks, TimeQueriesSayWhyNoKeyFrameIsKnownYet) {
  constexpr auto kFailed = QMF_ERR_PROCESS_INDEX_FAILED;
  for (const auto& [layout, before, behind, atEnd] :
       {std::tuple(kNoIndex, QMF_ERR_END_OF_STREAM, QMF_ERR_INDEX_INCOMPLETE, QMF_ERR_END_OF_STREAM),
        {kWrongIndex, kFailed, kFailed, kFailed},
        {kWrongSuperIndex, kFailed, kFailed, kFailed},
        {kWrappingIndex, kFailed, kFailed, kFailed},
        {kBackwardIndex, kFailed, kFailed, kFailed}}) {
    StartedAvi avi(MakeAvi(m_samples, layout));
    EXPECT_EQ(avi.Ask(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME), before);
    EXPECT_EQ(avi.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME), behind);
    EXPECT_EQ(avi.Ask(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT), QMF_ERR_END_OF_STREAM);
    EXPECT_EQ(avi.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT), QMF_ERR_END_OF_STREAM);
    (void)avi.RestOf(kBlockAudio);
    EXPECT_EQ(avi.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME), 4'800'000U);
    EXPECT_EQ(avi.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 19'200'000), atEnd);
  }
}

TEST_F(AviBlocks, CachelessIndexAsksTheFile) {
  for (const auto& [layout, cutAt, frame, expected] :
       {std::tuple(kSuperIndex, "", 0U, std::uint64_t{12}),
        {kSuperIndex, "ix00", 0U, QMF_FAILURE},
        {kExtensions, "", 35U, 36U},
        {kTwoFieldIndex, "", 48U, QMF_ERR_END_OF_STREAM},
        {kWrongSuperIndex, "", 0U, QMF_FAILURE},
        {kRelativeIndex, "", 12U, 24U}}) {  // Without an OpenDML index the seek table answers.
    const Bytes whole = MakeAvi(m_samples, layout);
    StartedAvi avi(whole.substr(0, *cutAt != '\0' ? whole.find(cutAt) : whole.size()));
    EXPECT_EQ(avi.Tell(QMF_QID_USE_CACHELESS_INDEX, 1), QMF_OK);
    const auto next = avi.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, frame);
    EXPECT_EQ(next.value_or(avi.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, frame)), expected) << layout;
  }
}

TEST_F(AviBlocks, NothingIsLostOrCountedTwiceWhenMemoryRanOutOnce) {
  Bytes unindexed = MakeAvi(m_samples, kExtensionsLegacyIndex);
  unindexed.replace(unindexed.find("idx1"), 4, "JUNK");
  for (const Bytes& file : {MakeAvi(m_samples, kExtensions), unindexed}) {
    bool failed = true;
    for (int failAt = 0; failed; ++failAt) {
      TestMemory memory;
      OpenedFile avi(kAviModule, file, &memory);
      memory.failAt = failAt;
      (void)avi.Start();
      (void)avi.Ask(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT);
      EXPECT_FALSE(IsFailure(avi.Start())) << failAt;
      QMFResult end = QMF_OK;
      Blocks blocks = avi.Rest(&end);
      if (end == QMF_OUT_OF_MEMORY) std::ranges::move(avi.Rest(), std::back_inserter(blocks));
      EXPECT_THAT(blocks, ElementsAreArray(m_expected)) << failAt;
      EXPECT_EQ(avi.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 0, 1000), 48U) << failAt;
      failed = memory.failed;
    }
  }
}

TEST_F(AviBlocks, LastBlockOfACutFileIsWhatIsLeftOfIt) {
  const Bytes whole = MakeAvi(m_samples, kNoIndex);
  const std::size_t lastChunk = whole.rfind("02wb");
  for (std::size_t kept = lastChunk; kept < lastChunk + 8 + m_samples.back().payload.size(); ++kept) {
    StartedAvi avi(whole.substr(0, kept));
    Blocks expected = m_expected;
    const std::size_t left = kept < lastChunk + 8 ? 0 : kept - lastChunk - 8;
    expected.back().bytes.resize(left);
    if (left == 0) expected.pop_back();
    EXPECT_THAT(avi.Rest(), ElementsAreArray(expected)) << kept;
  }
}

TEST_F(AviBlocks, ForeignChunksArePassedOverAndEveryListOfTheChainIsRead) {
  StartedAvi avi({.movi = List("movi", Chunk("00dc", "frame0") + Chunk("07dc", "no such stream") +
                                           Chunk("00pc", "palette") + Chunk("00ix", "index") +
                                           Chunk("LIST", "junkxx") + Chunk("00db", "frame1")),
                  .behindRiff = Riff("AVIX", Chunk("idx1", "") + List("movi", Chunk("00dc", "frame2"))) +
                                Riff("AVIX", "") + Riff("AVIX", List("movi", Chunk("00dc", "frame3")))});
  EXPECT_THAT(PayloadsOf(avi.RestOf(kBlockVideo)), ElementsAre("frame0", "frame1", "frame2", "frame3"));
  EXPECT_EQ(avi.Seek(kBlockVideo, 1'200'000), 0) << "nothing tells key frames";
  EXPECT_EQ(avi.Seek(kBlockAudio, 0), -1) << "no block";
}

TEST_F(AviBlocks, GarbageIsPassedOverAsFarAsTheNextBlock) {
  const std::pair<Bytes, bool> rows[] = {
      {Bytes(1, '\xFE'), true},
      {Bytes(5000, '\xFE') + "00dc" + Le(0x7FFFFFFF, 4) + "07dc" + Le(4, 4) + "00zz" + Le(4, 4), true},
      {Chunk("JUNK", "x", 0x7FFFFFFF), true},
      {Bytes((1 << 20) - 1, '\xFE'), true},
      {Bytes(1 << 20, '\xFE'), false},
  };
  for (const auto& [garbage, isPassed] : rows) {
    StartedAvi avi({.movi = List("movi", Chunk("00dc", "frame0") + garbage + Chunk("00dc", "frame1")),
                    .behindRiff = Riff("AVIX", List("movi", Chunk("00dc", "frame2")))});
    std::vector<Bytes> payloads = {"frame0", "frame1", "frame2"};
    if (!isPassed) payloads.erase(payloads.begin() + 1);
    EXPECT_EQ(PayloadsOf(avi.RestOf(kBlockVideo)), payloads) << garbage.size();
    // Whoever asks again does not pay for the search again.
    const std::uint64_t bytes = avi.BytesRead();
    EXPECT_EQ(avi.NextOf(kBlockAudio).result, QMF_ERR_END_OF_STREAM);
    EXPECT_LT(avi.BytesRead() - bytes, isPassed ? (2U << 20) : 100'000U);
  }
}

TEST_F(AviBlocks, KeyFramesShowInTheirFirstBytes) {
  const Bytes configuration("\0\0\1\xB0\1\0\0\1\xB5\x09", 10);
  const Bytes intra = Bytes("\0\0\1\xB6\x3F", 5) + Bytes(15, 'i');
  const Bytes parameters("\0\0\0\1\x67\x42\0\0\1\x68\xCE", 11);
  const std::tuple<const char(&)[5], Bytes, QMFBlock::KeyState> cases[] = {
      {"MJPG", "", QMFBlock::kKey},
      {"mjpg", "x", QMFBlock::kKey},
      {"divx", configuration + intra, QMFBlock::kKey},
      {"XVID", intra.substr(0, 6), QMFBlock::kNotKey},
      {"ulrg", "x", QMFBlock::kKey},
      {"FMP4", Bytes("\0\0\1\xB6\x40", 5) + Bytes(15, 'p'), QMFBlock::kNotKey},
      {"div3", "\x3F", QMFBlock::kKey},
      {"MP42", "\x7F", QMFBlock::kNotKey},
      {"DIV4", "\x80", QMFBlock::kUnknown},
      {"DIV3", "", QMFBlock::kUnknown},
      {"FMP4", Bytes(16, '\0') + Bytes("\0\0\1\xB6", 4), QMFBlock::kUnknown},
      {"H264", parameters + Bytes("\0\0\1\x65\x88", 5), QMFBlock::kKey},
      {"avc1", Bytes("\0\0\1\x65\x88", 5), QMFBlock::kKey},
      {"x264", Bytes("\0\0\0\1\x09\xF0\0\0\1\x41\x9A", 11), QMFBlock::kNotKey},
      {"H264", "", QMFBlock::kUnknown},
      {"VP80", Bytes("\0\0\1\xB6\x3F", 5), QMFBlock::kUnknown},
  };
  for (const auto& [compression, frame, key] : cases) {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(frame.data()), frame.size());
    EXPECT_EQ(DetectAviKeyFrame(MakeFourCC(compression), bytes), key) << compression;
  }
  // Of codecs that have nothing but key frames whatever an index says.
  for (const int layout : {kRelativeIndex, kKeylessIndex, kSuperIndex}) {
    Bytes file = MakeAvi(m_samples, layout);
    file.replace(file.find("XVID"), 4, "MJPG");
    StartedAvi avi(file);
    EXPECT_EQ(avi.Seek(kBlockVideo, 900'000), 800'000) << layout;
    EXPECT_EQ(avi.Next().key, QMFBlock::kKey) << layout;
  }
}

}  // namespace
}  // namespace qmf::test
