#include "readers/es/AacModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/AdtsWriter.h"
#include "tests/support/FaultyFile.h"
#include "tests/support/OpenedFile.h"
#include "tests/support/SparseSource.h"

namespace qmf::test {
namespace {

using ::testing::ElementsAre;

Bytes Repeated(std::size_t count, const AdtsFields& fields = {}) {
  const Bytes frame = AdtsFrame(fields);
  Bytes stream;
  for (std::size_t i = 0; i < count; ++i) stream += frame;
  return stream;
}

Bytes Id3v2(std::size_t size, bool footer = false) {
  Bytes tag = {'I', 'D', '3', 4, 0, static_cast<std::uint8_t>(footer ? 0x10 : 0), 0, 0};
  tag.push_back(static_cast<std::uint8_t>(size >> 7));
  tag.push_back(static_cast<std::uint8_t>(size & 0x7F));
  return tag + Bytes(size + (footer ? 10 : 0), 0xFF);
}

Bytes Id3v1() {
  return Bytes{'T', 'A', 'G'} + Bytes(125, ' ');
}

StartedFile Opened(const Bytes& stream) {
  return {kAacModule, stream};
}

TEST(AacModule, BidsByContentForFilesThatOpen) {
  Bytes transport(188 * 20, 0x11);  // a transport stream with a frame's front in each packet
  const Bytes frame = AdtsFrame({.payload = Bytes(400)});
  for (std::size_t packet = 0; packet < 20; ++packet) {
    transport[188 * packet] = 0x47;
    std::copy_n(frame.begin(), 184, &transport[188 * packet + 4]);
  }
  const std::tuple<const char*, Bytes, std::int32_t> kRows[] = {
      {"three frames", Repeated(3) + Bytes(50), 100},
      {"one frame, whole file", Repeated(1), 100},
      {"frames and a tag behind", Repeated(2) + Id3v1(), 100},
      {"tags in front", Id3v2(300) + Id3v2(20, true) + Repeated(3), 100},
      {"two frames", Repeated(2) + Bytes(50), 50},
      {"one frame", Repeated(1) + Bytes(50), 0},
      {"garbage, then four frames", Bytes(4000, 0xFF) + Repeated(4), 25},
      {"a frame, garbage, then four frames", Repeated(1) + Bytes(50) + Repeated(4), 25},
      {"garbage, then three frames", Bytes(500, 0xFF) + Repeated(3), 0},
      {"garbage without end", Bytes(5000, 0xFF) + Repeated(9), 0},
      {"frames of two streams", AdtsFrame() + AdtsFrame({.frequencyIndex = 7}) + Bytes(50), 0},
      {"MPEG audio", Repeated(9, {.layer = 1}), 0},
      {"transport stream", transport, 0},
      {"program stream", Bytes{0, 0, 1, 0xBA} + Bytes(4000), 0},
      {"empty", {}, 0},
  };
  for (const auto& [name, content, score] : kRows) {
    for (const char16_t* const file : {u"a.aac", u"a.mpg", u"a.bin"})
      EXPECT_EQ(Score(kAacModule, file, SourceOf(content)), score) << name;
  }
}

TEST(AacModule, TellsTheFormat) {
  StartedFile file = Opened(Repeated(3, {.profile = 1, .frequencyIndex = 3, .channels = 6}));
  const QMFAudioFormat f = file.Audio();
  const std::uint32_t format[] = {f.kind,          f.formatTag,  f.channels,
                                  f.samplesPerSec, f.blockAlign, f.extraSize};
  EXPECT_THAT(format, ElementsAre(0x11, 0xFF, 6, 48000, 1024, 2));
  EXPECT_THAT(std::span(f.extra, 3), ElementsAre(0x11, 0xB0, 0));
  EXPECT_EQ(file.Tell(QMF_QID_GET_BITRATE, 0), QMF_ERR_UNSUPPORTED_QID);
}

TEST(AacModule, DeliversWholeFramesBehindTags) {
  const Bytes plain = AdtsFrame();
  const Bytes checked = AdtsFrame({.hasChecksum = true});
  const Bytes four = AdtsFrame({.hasChecksum = true, .blocksLessOne = 3});
  const Bytes stream = Id3v2(1000) + plain + checked + four + plain + Id3v1();
  StartedFile file = Opened(stream);
  const auto blocks = file.Rest();
  ASSERT_EQ(blocks.size(), 4U);
  EXPECT_EQ(blocks[1].bytes, checked);
  EXPECT_EQ(blocks[2].bytes, four);
  EXPECT_EQ(blocks[3].time, 1024 * 6 * std::int64_t{10'000'000} / 44100);
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), std::uint64_t{1024} * 7 * 10'000'000 / 44100);
}

TEST(AacModule, ResynchronisesWhereFramesFollowEachOtherWithinItsLimit) {
  const Bytes lonely = AdtsFrame({.payload = Bytes(5)});
  const auto blocks = Opened(Repeated(3) + Bytes(77, 0xFF) + lonely + AdtsFrame({.frequencyIndex = 7}) +
                             Bytes(9) + Repeated(2, {.payload = Bytes(30)}))
                          .Rest();
  ASSERT_EQ(blocks.size(), 5U);
  EXPECT_EQ(blocks[3].bytes.size(), 37U);
  const Bytes far = Repeated(3) + Bytes(AdtsFrames::kMaxResync + 1) + Repeated(3);
  EXPECT_EQ(Opened(far).Rest().size(), 3U);
  Bytes cut = Repeated(4);
  cut.pop_back();
  EXPECT_EQ(Opened(cut).Rest().size(), 3U);
  // Nor is what a read brings only in part.
  const Bytes large = Repeated(2, {.payload = Bytes(6000)});
  StartedFile halved(kAacModule, std::shared_ptr<FileSource>(
                                     std::make_shared<FaultyFile>(large, FileFaults{.longestRead = 2048})));
  EXPECT_EQ(halved.Next().result, QMF_ERR_BLOCK_READ_FAILURE);
  EXPECT_EQ(Opened(Bytes(100, 0xFF)).result, QMF_ERR_INVALID_FILE);
}

TEST(AacModule, KnowsTheLengthOfConstantFramesWithoutReadingThemAll) {
  constexpr std::size_t kCount = 90'000;
  const auto lengthOf = [](std::uint64_t frames) { return 1024 * frames * 10'000'000 / 44100; };
  const Bytes constant = Id3v2(50) + Repeated(kCount) + Id3v1();
  StartedFile file = Opened(constant);
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), lengthOf(kCount));
  EXPECT_LT(file.BytesRead(), constant.size() * 3 / 4);

  // The same number of bytes with the last frame split in two.
  const Bytes split = AdtsFrame({.payload = Bytes(6)}) + AdtsFrame({.payload = Bytes(7)});
  StartedFile other = Opened(Repeated(kCount - 1) + split);
  EXPECT_EQ(other.Number(QMF_QID_TITLE_DURATION), lengthOf(kCount + 1));

  // Headers of 4,096 samples, and then nothing up to the largest size: more than a time can say.
  const Bytes dense = Repeated(100'000, {.blocksLessOne = 3, .payload = {}});
  StartedFile vast(
      kAacModule, std::shared_ptr<FileSource>(std::make_shared<SparseSource>(dense, std::uint64_t{1} << 63)));
  EXPECT_EQ(vast.Number(QMF_QID_TITLE_DURATION), INT64_MAX);
}

TEST(AacModule, SeeksToTheFrameAtOrBefore) {
  StartedFile file = Opened(Repeated(100, {.frequencyIndex = 8}));  // 64 ms a frame
  constexpr std::int64_t kFrame = 640'000;
  for (const auto& [wanted, landed] :
       {std::pair(10 * kFrame, 10), {50 * kFrame - 1, 49}, {2 * kFrame, 2}, {INT64_MAX, 99}, {-5, 0}}) {
    EXPECT_EQ(file.Seek(kBlockAudio, wanted), landed * kFrame) << wanted;
    EXPECT_EQ(file.Next().time, landed * kFrame);
  }
  // Behind a change of the sampling frequency, before any block was read.
  StartedFile changing = Opened(Repeated(10, {.frequencyIndex = 8}) + Repeated(10, {.frequencyIndex = 11}));
  ASSERT_EQ(changing.Seek(kBlockAudio, 15 * kFrame), 14 * kFrame);
  changing.Next();
  EXPECT_EQ(changing.Next().time, 16 * kFrame);
}

}  // namespace
}  // namespace qmf::test
