#include "readers/mkv/MkvBlocks.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <limits>

#include "tests/readers/mkv/MkvFile.h"
#include "tests/support/FaultyFile.h"

namespace qmf::test {
namespace {

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

std::string Laced(const Bytes& head, std::string_view data) {
  return std::string(head.begin(), head.end()) + std::string(data);
}

struct Row {
  const char* what;
  Bytes clusters;
  const char* told;
  Bytes audio = {};  ///< Elements of the audio track's entry.
};

void ExpectTold(std::initializer_list<Row> rows) {
  for (const Row& row : rows)
    EXPECT_EQ(MkvFile(WithClusters(row.clusters, row.audio)).All(), row.told) << row.what;
}

// A BlockGroup with the elements of `more` behind the block.
Bytes Group(std::uint8_t track, std::int16_t ticks, std::string_view data, const Bytes& more,
            std::uint8_t flags = 0) {
  return Put(E::BlockGroup, Put(E::Block, BlockBytes(track, ticks, flags, data)) + more);
}

TEST(MkvBlocks, ComeInFileOrderWithTheirTimes) {
  MkvFile film(
      WithClusters(Cluster(1000, Simple(1, -40, "v0") + Simple(2, 0, "a0") + Simple(1, 40, "v1", 0)) +
                   Cluster(2000, Group(2, 5, "a1", Unsigned(E::BlockDuration, 20)) +
                                     Group(1, 6, "v2", Unsigned(E::ReferenceBlock, 0xFF, 1)) +
                                     Group(9, 0, "nobody's", {}))));
  const std::vector<ReadBlock> all = film.Rest();
  EXPECT_EQ(Told(all), "v0@960 a0@1000 v1@1040 a1@2005-2025 v2@2006 ");
  std::string kinds;
  for (const ReadBlock& block : all)
    kinds += std::to_string(block.blockType) + (block.key == QMFBlock::kKey ? " key, " : ", ");
  EXPECT_EQ(kinds, "2 key, 1 key, 2, 1 key, 2, ");
  EXPECT_EQ(film.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(MkvBlocks, ComeOfActiveStreamsOnlyAndByStreamOfAny) {
  MkvFile film(WithClusters(
      Cluster(0, Simple(1, 0, "v0") + Simple(2, 0, "a0") + Simple(1, 1, "v1") + Simple(2, 1, "a1"))));
  ASSERT_EQ(film.Activate(kBlockVideo, 0, false), QMF_OK);
  EXPECT_EQ(film.All(), "a0@0 a1@1 ");
  EXPECT_EQ(Told(film.NextOf(kBlockVideo)), "v0@0 ");
  EXPECT_EQ(Told(film.RestOf(kBlockAudio)), "a0@0 a1@1 ");
  EXPECT_EQ(Told(film.RestOf(kBlockVideo)), "v1@1 ");
  EXPECT_EQ(film.NextOf(kBlockVideo).result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(film.NextOf(kBlockVideo, 1).result, QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(film.NextOf(kBlockSubtitle).result, QMF_ERR_INVALID_STREAM);
  ASSERT_EQ(film.Activate(kBlockAudio, 0, false), QMF_OK);
  EXPECT_EQ(film.Seek(kBlockVideo, 0), 0);
  EXPECT_EQ(film.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(MkvBlocks, StayWhereTheyAreWhenTheBufferIsTooSmall) {
  const std::string text(3000, 'x');
  const std::tuple<std::string, Bytes, std::string> rows[] = {
      {"12345", {}, "12345"},
      {"cd", Encodings({{3, {'a', 'b'}}}), "abcd"},
      {Deflated(text), Encodings({{0}}), text},
  };
  for (const auto& [stored, encodings, bytes] : rows) {
    MkvFile film(WithClusters(Cluster(0, Simple(2, 0, stored) + Simple(2, 1, stored)), encodings));
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const ReadBlock refused = film.Next(size - 1);
    EXPECT_EQ(refused.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
    EXPECT_EQ(refused.required, size);
    EXPECT_EQ(refused.bytes, Bytes{});
    EXPECT_EQ(Told(film.Next(size)), bytes + "@0 ");
    EXPECT_EQ(Told(film.Next(size)), bytes + "@1 ");
  }
}

TEST(MkvBlocks, AreFoundInOpenClustersAndBehindGarbage) {
  const auto open = [](std::uint64_t time, std::string_view data) {
    return PutOpen(E::Cluster, Unsigned(E::Timecode, time) + Simple(1, 0, data));
  };
  const Bytes a = Cluster(0, Simple(1, 0, "a"));
  const Bytes b = Cluster(1000, Simple(1, 0, "b"));
  const Bytes liar = ElementHead(0xA3, 5000) + BlockBytes(1, 0, 0, "x");
  constexpr const char* kBoth = "a@0 b@1000 ";
  ExpectTold({
      {"sizes unknown", open(0, "a") + Put(E::Cues, {}) + open(1000, "b") + Put(E::Tags, {}), kBoth},
      {"zeros", a + Bytes(5) + b, kBoth},
      {"reserved ids", a + Bytes(100'000, 0xFF) + b, kBoth},
      {"an unknown element", a + Bytes{0x42, 0x42, 0x85, 1, 2} + b, kBoth},
      {"half a cluster's header", a + Bytes{0x1F, 0x43, 0xB6, 0x75} + b, kBoth},
      {"a group without a block",
       Cluster(0, Simple(1, 0, "a") + Put(E::BlockGroup, {0x81, 0x83, 0, 0, 0})) + b, kBoth},
      {"a cluster that lost ten bytes, with what looks like an element over the next cluster's head",
       ElementHead(ElementId(E::Cluster), Unsigned(E::Timecode, 0).size() + Simple(1, 0, "a").size() + 15) +
           Unsigned(E::Timecode, 0) + Simple(1, 0, "a") + Bytes{0x42, 0x42, 0x8C, 1, 2} + b,
       kBoth},
      {"a block larger than its cluster", Cluster(0, Simple(1, 0, "a") + liar) + b, kBoth},
  });
}

TEST(MkvBlocks, AreTakenApartAndTimedByTheirTrack) {
  // Frames of 2, 3 and 4 bytes, by Xiph's lacing and by EBML's: 2, then one more, the range of one byte lying
  // around 63.
  const std::string xiph = Laced({2, 2, 3}, "aabbbcccc");
  const std::string ebml = Laced({2, 0x82, 0xC0}, "aabbbcccc");
  const Bytes lasting = Unsigned(E::DefaultDuration, 21'333'333);
  const Bytes padding = Unsigned(E::DiscardPadding, 1'333'333);
  const Bytes ends = Unsigned(E::BlockDuration, 10) + padding;
  constexpr const char* kFrames = "aa@100-121.3333 bbb@121.3333-142.6666 cccc@142.6666-163.9999 ";
  const Bytes both = Cluster(100, Simple(1, 10, "v") + Simple(2, 10, "a"));
  const auto scale = [](double factor) { return Float(E::TrackTimecodeScale, factor); };
  ExpectTold({
      {"Xiph's lace", Cluster(100, Simple(2, 0, xiph, 0x82)), kFrames, lasting},
      {"EBML's lace", Cluster(100, Simple(2, 0, ebml, 0x86)), kFrames, lasting},
      {"a block's duration, shared", Cluster(0, Group(2, 0, Laced({1}, "aabb"), ends, 4)), "aa@0-5 bb@5-10 "},
      {"padding behind it", Cluster(0, Group(2, 0, "a", padding)), "a@0-20 ", lasting},
      {"padding of who knows how much", Cluster(0, Group(2, 0, "a", padding)), "a@0 "},
      {"padding before it", Cluster(0, Group(2, 0, "a", Put(E::DiscardPadding, {0x80, 0, 0}))),
       "a@0-21.3333 ", lasting},
      {"stretched ticks", both, "v@110 a@125 ", scale(2.5)},
      {"squeezed ticks", both, "v@110 a@105 ", scale(0.5)},
      {"a scale of nothing", both, "v@110 a@110 ", scale(0)},
      {"a scale that is no number", both, "v@110 a@110 ", scale(std::numeric_limits<double>::quiet_NaN())},
      {"an absurd scale", both, "v@110 a@110 ", scale(1e30)},
  });
  MkvFile film(WithClusters(Cluster(100, Simple(2, 0, xiph, 0x82) + Simple(2, 64, xiph, 0x82)), lasting));
  EXPECT_EQ(Told(film.Next()), "aa@100-121.3333 ");
  ASSERT_EQ(film.Tell(QMF_QID_DELACE_BLOCKS, 0), QMF_OK);
  EXPECT_EQ(film.Number(QMF_QID_DELACE_BLOCKS), 0U);
  EXPECT_EQ(film.All(), "bbbcccc@121.3333-163.9999 aabbbcccc@164-227.9999 ");
  EXPECT_EQ(film.Answer(QMF_QID_LACEINFO), (Bytes{2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0}));
}

TEST(MkvBlocks, ThatCannotBeReadAreReportedAndPassed) {
  const auto lace = [](std::uint8_t flags, const Bytes& bytes) {
    return Cluster(0, Simple(2, 0, Laced(bytes, ""), flags) + Simple(2, 1, "next"));
  };
  constexpr const char* kFailure = "QMF_ERR_BLOCK_READ_FAILURE next@1 ";
  const Bytes plain = lace(0, {'a'});
  constexpr const char* kUnsupported = "QMF_ERR_CODEC_UNSUPPORTED QMF_ERR_CODEC_UNSUPPORTED ";
  const Bytes encrypted = Put(E::EncryptedBlock, BlockBytes(1, 0, 0, "secret"));
  ExpectTold({
      {"no count", lace(0x02, {}), kFailure},
      {"no size", lace(0x02, {1}), kFailure},
      {"a size without end", lace(0x02, {1, 255, 255}), kFailure},
      {"Xiph's, larger than the block", lace(0x02, {1, 9, 'a'}), kFailure},
      {"an odd number of bytes for two frames", lace(0x04, {1, 'a', 'b', 'c'}), kFailure},
      {"EBML's, larger than the block", lace(0x06, {1, 0x89, 'a'}), kFailure},
      {"a difference below zero", lace(0x06, {2, 0x81, 0x80, 'a'}), kFailure},
      {"no number", lace(0x06, {1, 0x00, 'a'}), kFailure},
      {"of an unknown algorithm", plain, kUnsupported, Encodings({{1}})},
      {"encrypted by track", plain, kUnsupported, Encodings({{0, {}, 1}})},
      {"encrypted by block", Cluster(0, encrypted + Simple(1, 1, "open")),
       "QMF_ERR_CODEC_UNSUPPORTED open@1 "},
      {"not deflated",
       Cluster(0, Simple(2, 0, "broken") + Simple(2, 1, Deflated("next")) + Simple(1, 2, "v")),
       "QMF_ERR_BLOCK_READ_FAILURE next@1 v@2 ", Encodings({{0}})},
  });
}

// Whether the codec private data are transformed as well is the scope's second bit.
TEST(MkvEncodings, AreUndoneOfCodecPrivateData) {
  const Bytes strip = {'p', 'r'};
  const Transformation zlibOfAll{0, {}, 0, 3};
  const Transformation stripOfAll{3, strip, 0, 3};
  const std::string bomb = Deflated(std::string((1 << 20) + 1, 'x'));
  const std::tuple<std::vector<Transformation>, std::string, std::string> rows[] = {
      {{{3, strip}}, "ivate", "ivate"},
      {{{3, strip, 0, 2}}, "ivate", "private"},
      {{zlibOfAll}, Deflated("private"), "private"},
      {{stripOfAll, zlibOfAll}, Deflated("ivate"), "private"},
      {{zlibOfAll}, "broken", ""},
      {{{0, {}, 1, 3}}, "secret", ""},
      {{zlibOfAll}, bomb, ""},
      {{stripOfAll, stripOfAll}, std::string(600'000, 'x'), ""},
  };
  for (const auto& [transformations, stored, answered] : rows) {
    MkvFile film(WithClusters({}, Encodings(transformations) + Text(E::CodecPrivate, stored)));
    EXPECT_EQ(film.Answer(QMF_QID_AUDIO_CODEC_PRIVATE_DATA), Raw(answered)) << stored.size();
  }
  // What was tried in vain counts like what is kept: of little, much could be made over and over.
  Bytes bombs;
  for (int i = 0; i < 8; ++i)
    bombs += Track(1, kMatroskaAudio, "A", Encodings({zlibOfAll}) + Text(E::CodecPrivate, bomb));
  EXPECT_EQ(MkvFile(Segment(Info() + Put(E::Tracks, bombs))).result, QMF_ERR_QF3_PARSE_TRACKS);
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
  MkvFile film(WithClusters(Cluster(0, blocks)));
  const std::uint64_t before = film.BytesRead();
  EXPECT_EQ(film.RestOf(kBlockAudio).size(), 20U);
  EXPECT_LT(film.BytesRead() - before, 20U * 3 * FileReader::kWindowSize);
}

}  // namespace
}  // namespace qmf::test
