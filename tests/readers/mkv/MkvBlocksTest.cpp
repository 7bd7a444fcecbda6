#include "readers/mkv/MkvBlocks.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <limits>

#include "tests/readers/mkv/MkvFile.h"
#include "tests/support/FaultyFile.h"

namespace qmf::test {
namespace {

TEST(MkvBlocks, ComeInFileOrderWithTheirTimes) {
  MkvPlayer film(WithClusters(
      Cluster(1000, Simple(1, -40, "v0") + Simple(2, 0, "a0") + Simple(1, 40, "v1", 0)) +
      Cluster(2000, Group(2, 5, "a1", Unsigned(E::BlockDuration, 20)) +
                        Group(1, 6, "v2", Unsigned(E::ReferenceBlock, 0xFF, 1)) + Group(9, 0, "nobody's"))));
  const std::vector<Got> all = film.All();
  const std::tuple<std::uint32_t, std::int64_t, std::int64_t, bool, std::string> rows[] = {
      {kBlockVideo, 9'600'000, 0, true, "v0"},   {kBlockAudio, 10'000'000, 0, true, "a0"},
      {kBlockVideo, 10'400'000, 0, false, "v1"}, {kBlockAudio, 20'050'000, 20'250'000, true, "a1"},
      {kBlockVideo, 20'060'000, 0, false, "v2"},
  };
  ASSERT_EQ(all.size(), std::size(rows));
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(std::tuple(all[i].type, all[i].time, all[i].endTime, all[i].key, all[i].bytes), rows[i]) << i;
    EXPECT_EQ(all[i].stream, 0U) << i;
  }
  EXPECT_EQ(film.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(MkvBlocks, ComeOfActiveStreamsOnlyAndByStreamOfAny) {
  MkvPlayer film(WithClusters(
      Cluster(0, Simple(1, 0, "v0") + Simple(2, 0, "a0") + Simple(1, 1, "v1") + Simple(2, 1, "a1"))));
  ASSERT_EQ(film.Activate(kBlockVideo, 0, false), QMF_OK);
  EXPECT_EQ(film.AllBytes(), "a0 a1 ");
  EXPECT_EQ(film.NextOf(kBlockVideo).bytes, "v0");
  EXPECT_EQ(film.NextOf(kBlockAudio).bytes, "a0");
  EXPECT_EQ(film.NextOf(kBlockVideo).bytes, "v1");
  EXPECT_EQ(film.NextOf(kBlockVideo).result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(film.NextOf(kBlockVideo, 1).result, QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(film.NextOf(kBlockSubtitle).result, QMF_ERR_INVALID_STREAM);
  ASSERT_EQ(film.Activate(kBlockAudio, 0, false), QMF_OK);
  EXPECT_EQ(film.Seek(kBlockVideo, 0), 0);
  EXPECT_EQ(film.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(MkvBlocks, StayWhereTheyAreWhenTheBufferIsTooSmall) {
  MkvPlayer film(WithClusters(Cluster(0, Simple(1, 0, "12345") + Simple(1, 1, "67890"))));
  const Got refused = film.Next(4);
  EXPECT_EQ(refused.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(refused.bytes, "");
  EXPECT_EQ(film.Next(5).bytes, "12345");
  EXPECT_EQ(film.Next(5).bytes, "67890");
}

std::string Laced(const Bytes& head, std::string_view data) {
  return std::string(head.begin(), head.end()) + std::string(data);
}

TEST(MkvLacing, IsTakenApart) {
  // Frames of 2, 3 and 4 bytes, by Xiph's lacing and by EBML's: 2, then one more, the range of one byte lying
  // around 63.
  for (const auto& [flags, head] : {std::pair(0x82, Bytes{2, 2, 3}), {0x86, {2, 0x82, 0xC0}}}) {
    const Bytes block = Simple(2, 0, Laced(head, "aabbbcccc"), static_cast<std::uint8_t>(flags));
    MkvPlayer film(WithClusters(Cluster(100, block), Unsigned(E::DefaultDuration, 21'333'333)));
    const std::vector<Got> frames = film.All();
    ASSERT_EQ(frames.size(), 3U) << flags;
    EXPECT_EQ(frames[0].bytes + " " + frames[1].bytes + " " + frames[2].bytes, "aa bbb cccc");
    EXPECT_EQ(frames[0].time, 1'000'000);
    EXPECT_EQ(frames[1].time, 1'213'333);
    EXPECT_EQ(frames[2].time, 1'426'666);
    EXPECT_EQ(frames[2].endTime, 1'639'999);

    ASSERT_EQ(film.Seek(kBlockAudio, 0), 1'000'000);
    ASSERT_EQ(film.Set(QMF_QID_DELACE_BLOCKS, 0), QMF_OK);
    EXPECT_EQ(film.Number(QMF_QID_DELACE_BLOCKS), 0U);
    EXPECT_EQ(film.AllBytes(), "aabbbcccc ");
    EXPECT_EQ(film.Answer(QMF_QID_LACEINFO), (Bytes{2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0}));
  }
  // Without a frame duration, the block's is shared out.
  MkvPlayer evenly(WithClusters(Cluster(
      0, Put(E::BlockGroup, Put(E::Block, BlockBytes(2, 0, 0x04, Laced({1}, "aabb"))) +
                                Unsigned(E::BlockDuration, 10) + Unsigned(E::DiscardPadding, 1'000'000)))));
  const std::vector<Got> halves = evenly.All();
  ASSERT_EQ(halves.size(), 2U);
  EXPECT_EQ(halves[1].bytes, "bb");
  EXPECT_EQ(halves[1].time, 50'000);
  EXPECT_EQ(halves[1].endTime, 90'000);
}

TEST(MkvLacing, ThatDoesNotFitItsBlockIsReportedAndPassed) {
  const std::pair<std::uint8_t, Bytes> rows[] = {
      {0x02, {}},                    // no count
      {0x02, {1}},                   // no size
      {0x02, {1, 255, 255}},         // a size without end
      {0x02, {1, 9, 'a'}},           // larger than the block
      {0x04, {1, 'a', 'b', 'c'}},    // an odd number of bytes for two frames
      {0x06, {1, 0x89, 'a'}},        // larger than the block
      {0x06, {2, 0x81, 0x80, 'a'}},  // a difference below zero
      {0x06, {1, 0x00, 'a'}},        // no number
  };
  for (const auto& [flags, payload] : rows) {
    MkvPlayer film(WithClusters(Cluster(0, Simple(2, 0, Laced(payload, ""), flags) + Simple(2, 1, "next"))));
    EXPECT_EQ(film.Next().result, QMF_ERR_BLOCK_READ_FAILURE) << testing::PrintToString(payload);
    EXPECT_EQ(film.Next().bytes, "next");
  }
}

struct Transformation {
  std::uint64_t algorithm;
  Bytes settings = {};
  std::uint64_t type = 0;
  std::uint64_t scope = 1;
};

// In the order in which they are to be undone from the last to the first, whichever stands first.
Bytes Encodings(const std::vector<Transformation>& transformations) {
  Bytes all;
  for (const Transformation& each : transformations) {
    const Bytes compression =
        Unsigned(E::ContentCompAlgo, each.algorithm) + Put(E::ContentCompSettings, each.settings);
    all += Put(E::ContentEncoding,
               Unsigned(E::ContentEncodingOrder, all.size()) + Unsigned(E::ContentEncodingScope, each.scope) +
                   Unsigned(E::ContentEncodingType, each.type) + Put(E::ContentCompression, compression));
  }
  return Put(E::ContentEncodings, all);
}

std::string Deflated(std::string_view text) {
  uLongf size = compressBound(static_cast<uLong>(text.size()));
  std::string out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(text.data()),
           static_cast<uLong>(text.size()));
  out.resize(size);
  return out;
}

TEST(MkvEncodings, AreUndone) {
  const Bytes mixed = Cluster(0, Simple(2, 0, "cd") + Simple(1, 0, "video"));
  MkvPlayer stripped(WithClusters(mixed, Encodings({{3, {'a', 'b'}}})));
  EXPECT_EQ(stripped.Next(3).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(stripped.AllBytes(), "abcd video ");

  const std::string text(3000, 'x');
  MkvPlayer inflated(WithClusters(
      Cluster(0, Simple(2, 0, Deflated(text)) + Simple(2, 1, "broken") + Simple(2, 2, Deflated("y"))),
      Encodings({{0}})));
  EXPECT_EQ(inflated.Next(2999).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(inflated.Next(3000).bytes, text);
  EXPECT_EQ(inflated.Next().result, QMF_ERR_BLOCK_READ_FAILURE);
  EXPECT_EQ(inflated.Next().bytes, "y");

  for (const Transformation& unknown : {Transformation{1}, {2}, {0, {}, 1}}) {
    MkvPlayer film(WithClusters(mixed, Encodings({unknown})));
    EXPECT_EQ(film.Next().result, QMF_ERR_CODEC_UNSUPPORTED);
    EXPECT_EQ(film.Next().bytes, "video");
  }
}

// Whether the codec private data are transformed as well is the scope's second bit.
TEST(MkvEncodings, AreUndoneOfCodecPrivateData) {
  const Bytes strip = {'p', 'r'};
  const Transformation zlibOfAll{0, {}, 0, 3};
  const Transformation stripOfAll{3, strip, 0, 3};
  const std::tuple<std::vector<Transformation>, std::string, std::string> rows[] = {
      {{{3, strip}}, "ivate", "ivate"},
      {{{3, strip, 0, 2}}, "ivate", "private"},
      {{zlibOfAll}, Deflated("private"), "private"},
      {{stripOfAll, zlibOfAll}, Deflated("ivate"), "private"},
      {{zlibOfAll}, "broken", ""},
      {{{0, {}, 1, 3}}, "secret", ""},
      {{zlibOfAll}, Deflated(std::string((1 << 20) + 1, 'x')), ""},
  };
  for (const auto& [transformations, stored, answered] : rows) {
    MkvFile film(WithClusters({}, Encodings(transformations) + Text(E::CodecPrivate, stored)));
    EXPECT_EQ(film.Answer(QMF_QID_AUDIO_CODEC_PRIVATE_DATA), Raw(answered)) << stored;
  }
}

TEST(MkvBlocks, ThatAreEncryptedAreRefused) {
  const Bytes encrypted = Put(E::EncryptedBlock, BlockBytes(1, 0, 0, "secret"));
  MkvPlayer film(WithClusters(Cluster(0, encrypted + Simple(1, 1, "open"))));
  EXPECT_EQ(film.Next().result, QMF_ERR_CODEC_UNSUPPORTED);
  EXPECT_EQ(film.Next().bytes, "open");
}

TEST(MkvBlocks, AreFoundInOpenClustersAndBehindGarbage) {
  const auto open = [](std::uint64_t time, std::string_view data) {
    return PutOpen(E::Cluster, Unsigned(E::Timecode, time) + Simple(1, 0, data));
  };
  const Bytes a = Cluster(0, Simple(1, 0, "a"));
  const Bytes b = Cluster(1000, Simple(1, 0, "b"));
  // A block that claims to be larger than its cluster.
  const Bytes liar = ElementHead(0xA3, 5000) + BlockBytes(1, 0, 0, "x");
  for (const Bytes& clusters :
       {open(0, "a") + Put(E::Cues, {}) + open(1000, "b") + Put(E::Tags, {}), a + Bytes(5) + b,
        a + Bytes(100'000, 0xFF) + b, a + Bytes{0x42, 0x42, 0x85, 1, 2} + b,
        a + Bytes{0x1F, 0x43, 0xB6, 0x75} + b, Cluster(0, Simple(1, 0, "a") + liar) + b}) {
    EXPECT_EQ(MkvPlayer(WithClusters(clusters)).AllBytes(), "a b ") << clusters.size();
  }
}

TEST(MkvBlocks, StretchTheTicksOfTheirTrack) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  for (const auto& [scale, time] : {std::pair(2.5, 1'250'000), {kNone, 1'100'000}, {1e30, 1'100'000}}) {
    MkvPlayer film(WithClusters(Cluster(100, Simple(1, 10, "v") + Simple(2, 10, "a")),
                                Float(E::TrackTimecodeScale, scale)));
    EXPECT_EQ(film.Next().time, 1'100'000);
    EXPECT_EQ(film.Next().time, time);
  }
}

TEST(MkvBlocks, OfWhichOnlyAPartCanBeReadAreNotDelivered) {
  for (const Bytes& encodings : {Bytes(), Encodings({{3, {'a'}}})}) {
    const Bytes file = WithClusters(Cluster(0, Simple(2, 0, std::string(100'000, 'x'))), encodings);
    StartedFile film(kMkvModule, std::shared_ptr<FileSource>(
                                     std::make_shared<FaultyFile>(file, FileFaults{.longestRead = 4096})));
    EXPECT_EQ(film.Next().result, QMF_ERR_END_OF_STREAM);
  }
}

TEST(MkvBlocks, OfOneStreamAreReadWithoutTheOthersPayload) {
  Bytes blocks;
  for (std::int16_t i = 0; i < 20; ++i)
    blocks += Simple(1, i, std::string(200'000, 'v')) + Simple(2, i, "audio");
  MkvPlayer film(WithClusters(Cluster(0, blocks)));
  const std::uint64_t before = film.BytesRead();
  for (int i = 0; i < 20; ++i) ASSERT_EQ(film.NextOf(kBlockAudio).bytes, "audio");
  EXPECT_EQ(film.NextOf(kBlockAudio).result, QMF_ERR_END_OF_STREAM);
  EXPECT_LT(film.BytesRead() - before, 20U * 3 * FileReader::kWindowSize);
}

}  // namespace
}  // namespace qmf::test
