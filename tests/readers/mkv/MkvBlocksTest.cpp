#include "readers/mkv/MkvBlocks.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <numeric>

#include "tests/readers/mkv/MkvPlayer.h"

namespace qmf {
namespace {

using test::BlockBytes;
using test::Cluster;
using test::ClusterChildren;
using test::EbmlBuilder;
using test::Got;
using test::Group;
using test::Simple;
using test::WithClusters;
using Bytes = EbmlBuilder::Bytes;
using Film = test::MkvPlayer;

TEST(MkvBlocks, ComeInFileOrderWithTheirTimes) {
  Film film(WithClusters(
      EbmlBuilder()
          .Raw(Cluster(1000, {Simple(1, -40, "v0"), Simple(2, 0, "a0"), Simple(1, 40, "v1", 0)}).Done())
          .Raw(Cluster(2000, {Group(2, 5, "a1", EbmlBuilder().Unsigned(Element::BlockDuration, 20)),
                              Group(1, 6, "v2", EbmlBuilder().Unsigned(Element::ReferenceBlock, 0xFF, 1)),
                              Group(9, 0, "nobody's")})
                   .Done())));
  const std::vector<Got> all = film.All();
  ASSERT_EQ(all.size(), 5U);
  struct Row {
    std::uint32_t type;
    std::int64_t time;
    std::int64_t endTime;
    bool key;
    std::string_view bytes;
  };
  const Row rows[] = {
      {kBlockVideo, 9'600'000, 0, true, "v0"},   {kBlockAudio, 10'000'000, 0, true, "a0"},
      {kBlockVideo, 10'400'000, 0, false, "v1"}, {kBlockAudio, 20'050'000, 20'250'000, true, "a1"},
      {kBlockVideo, 20'060'000, 0, false, "v2"},
  };
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(all[i].type, rows[i].type) << i;
    EXPECT_EQ(all[i].stream, 0U) << i;
    EXPECT_EQ(all[i].time, rows[i].time) << i;
    EXPECT_EQ(all[i].endTime, rows[i].endTime) << i;
    EXPECT_EQ(all[i].key, rows[i].key) << i;
    EXPECT_EQ(all[i].bytes, rows[i].bytes) << i;
  }
  EXPECT_EQ(film.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(MkvBlocks, ComeOfActiveStreamsOnlyAndByStreamOfAny) {
  const EbmlBuilder file = WithClusters(
      Cluster(0, {Simple(1, 0, "v0"), Simple(2, 0, "a0"), Simple(1, 1, "v1"), Simple(2, 1, "a1")}));
  Film film(file);
  ASSERT_EQ(film.Activate(kBlockVideo, 0, 0), QMF_OK);
  EXPECT_EQ(film.AllBytes(), "a0 a1 ");
  EXPECT_EQ(film.NextOf(kBlockVideo, 0).bytes, "v0");
  EXPECT_EQ(film.NextOf(kBlockAudio, 0).bytes, "a0");
  EXPECT_EQ(film.NextOf(kBlockVideo, 0).bytes, "v1");
  EXPECT_EQ(film.NextOf(kBlockVideo, 0).result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(film.NextOf(kBlockVideo, 1).result, QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(film.NextOf(kBlockSubtitle, 0).result, QMF_ERR_INVALID_STREAM);
  Film silent(file);
  (void)silent.Activate(kBlockVideo, 0, 0);
  (void)silent.Activate(kBlockAudio, 0, 0);
  EXPECT_EQ(silent.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(MkvBlocks, StayWhereTheyAreWhenTheBufferIsTooSmall) {
  Film film(WithClusters(Cluster(0, {Simple(1, 0, "12345"), Simple(1, 1, "67890")})));
  const Got refused = film.Next(4);
  EXPECT_EQ(refused.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(refused.bytes, "");
  EXPECT_EQ(film.Next(5).bytes, "12345");
  EXPECT_EQ(film.Next(5).bytes, "67890");
}

// Frames of 2, 3 and 4 bytes.
struct LaceRow {
  const char* name;
  std::uint8_t flags;
  Bytes head;
};
const LaceRow kLaces[] = {
    {"Xiph", 0x82, {2, 2, 3}},
    {"EBML", 0x86, {2, 0x82, 0xC0}},  // 2, then one more: the range of one byte lies around 63
};

std::string Laced(const Bytes& head, std::string_view data) {
  return std::string(head.begin(), head.end()) + std::string(data);
}

TEST(MkvLacing, IsTakenApart) {
  for (const LaceRow& row : kLaces) {
    const EbmlBuilder file =
        WithClusters(Cluster(100, {Simple(2, 0, Laced(row.head, "aabbbcccc"), row.flags)}),
                     EbmlBuilder().Unsigned(Element::DefaultDuration, 21'333'333));
    Film film(file);
    const std::vector<Got> frames = film.All();
    ASSERT_EQ(frames.size(), 3U) << row.name;
    EXPECT_EQ(frames[0].bytes + " " + frames[1].bytes + " " + frames[2].bytes, "aa bbb cccc");
    EXPECT_EQ(frames[0].time, 1'000'000);
    EXPECT_EQ(frames[1].time, 1'213'333);
    EXPECT_EQ(frames[2].time, 1'426'666);
    EXPECT_EQ(frames[2].endTime, 1'639'999);

    Film whole(file);
    ASSERT_EQ(whole.Set(QMF_QID_DELACE_BLOCKS, 0), QMF_OK);
    EXPECT_EQ(whole.File().Number(QMF_QID_DELACE_BLOCKS), 0U);
    EXPECT_EQ(whole.AllBytes(), "aabbbcccc ");
    const Bytes sizes = whole.File().Bytes(QMF_QID_LACEINFO);
    EXPECT_EQ(sizes, (Bytes{2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0}));
  }
  // Without a frame duration, the block's is shared out.
  EbmlBuilder shared;
  shared.Master(Element::BlockGroup, EbmlBuilder()
                                         .Binary(Element::Block, BlockBytes(2, 0, 0x04, Laced({1}, "aabb")))
                                         .Unsigned(Element::BlockDuration, 10)
                                         .Unsigned(Element::DiscardPadding, 1'000'000));
  Film evenly(WithClusters(Cluster(0, {shared})));
  const std::vector<Got> halves = evenly.All();
  ASSERT_EQ(halves.size(), 2U);
  EXPECT_EQ(halves[1].bytes, "bb");
  EXPECT_EQ(halves[1].time, 50'000);
  EXPECT_EQ(halves[1].endTime, 90'000);
}

TEST(MkvLacing, ThatDoesNotFitItsBlockIsReportedAndPassed) {
  struct Row {
    std::uint8_t flags;
    Bytes payload;
  };
  const Row rows[] = {
      {0x02, {}},                    // no count
      {0x02, {1}},                   // no size
      {0x02, {1, 255, 255}},         // a size without end
      {0x02, {1, 9, 'a'}},           // larger than the block
      {0x04, {1, 'a', 'b', 'c'}},    // an odd number of bytes for two frames
      {0x06, {1, 0x89, 'a'}},        // larger than the block
      {0x06, {2, 0x81, 0x80, 'a'}},  // a difference below zero
      {0x06, {1, 0x00, 'a'}},        // no number
  };
  for (const Row& row : rows) {
    Film film(
        WithClusters(Cluster(0, {Simple(2, 0, Laced(row.payload, ""), row.flags), Simple(2, 1, "next")})));
    EXPECT_EQ(film.Next().result, QMF_ERR_BLOCK_READ_FAILURE) << testing::PrintToString(row.payload);
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
EbmlBuilder Encodings(const std::vector<Transformation>& transformations) {
  EbmlBuilder all;
  for (const Transformation& each : transformations) {
    const EbmlBuilder compression = EbmlBuilder()
                                        .Unsigned(Element::ContentCompAlgo, each.algorithm)
                                        .Binary(Element::ContentCompSettings, each.settings);
    all.Master(Element::ContentEncoding, EbmlBuilder()
                                             .Unsigned(Element::ContentEncodingOrder, all.Size())
                                             .Unsigned(Element::ContentEncodingScope, each.scope)
                                             .Unsigned(Element::ContentEncodingType, each.type)
                                             .Master(Element::ContentCompression, compression));
  }
  return EbmlBuilder().Master(Element::ContentEncodings, all);
}

EbmlBuilder Encoding(std::uint64_t algorithm, const Bytes& settings, std::uint64_t type = 0) {
  return Encodings({{algorithm, settings, type}});
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
  Film stripped(
      WithClusters(Cluster(0, {Simple(2, 0, "cd"), Simple(1, 0, "video")}), Encoding(3, {'a', 'b'})));
  EXPECT_EQ(stripped.Next(3).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(stripped.AllBytes(), "abcd video ");

  const std::string text(3000, 'x');
  Film inflated(WithClusters(
      Cluster(0, {Simple(2, 0, Deflated(text)), Simple(2, 1, "broken"), Simple(2, 2, Deflated("y"))}),
      Encoding(0, {})));
  EXPECT_EQ(inflated.Next(2999).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(inflated.Next(3000).bytes, text);
  EXPECT_EQ(inflated.Next().result, QMF_ERR_BLOCK_READ_FAILURE);
  EXPECT_EQ(inflated.Next().bytes, "y");

  for (const auto& unknown : {Encoding(1, {}), Encoding(2, {}), Encoding(0, {}, 1)}) {
    Film film(WithClusters(Cluster(0, {Simple(2, 0, "?"), Simple(1, 0, "video")}), unknown));
    EXPECT_EQ(film.Next().result, QMF_ERR_CODEC_UNSUPPORTED);
    EXPECT_EQ(film.Next().bytes, "video");
  }
}

// Whether the codec private data are transformed as well is the scope's second bit.
TEST(MkvEncodings, AreUndoneOfCodecPrivateData) {
  const Bytes strip = {'p', 'r'};
  const Transformation zlibOfAll{0, {}, 0, 3};
  const Transformation stripOfAll{3, strip, 0, 3};
  struct {
    std::vector<Transformation> transformations;
    std::string stored;
    std::string answered;
  } const rows[] = {
      {{{3, strip}}, "ivate", "ivate"},
      {{{3, strip, 0, 2}}, "ivate", "private"},
      {{zlibOfAll}, Deflated("private"), "private"},
      {{stripOfAll, zlibOfAll}, Deflated("ivate"), "private"},
      {{zlibOfAll}, "broken", ""},
      {{{0, {}, 1, 3}}, "secret", ""},
      {{zlibOfAll}, Deflated(std::string((1 << 20) + 1, 'x')), ""},
  };
  for (const auto& row : rows) {
    test::MkvFile film(
        WithClusters({}, Encodings(row.transformations).Text(Element::CodecPrivate, row.stored)));
    EXPECT_EQ(film.Bytes(QMF_QID_AUDIO_CODEC_PRIVATE_DATA), Bytes(row.answered.begin(), row.answered.end()))
        << row.stored;
  }
}

TEST(MkvBlocks, ThatAreEncryptedAreRefused) {
  const EbmlBuilder encrypted = EbmlBuilder().Binary(Element::EncryptedBlock, BlockBytes(1, 0, 0, "secret"));
  Film film(WithClusters(Cluster(0, {encrypted, Simple(1, 1, "open")})));
  EXPECT_EQ(film.Next().result, QMF_ERR_CODEC_UNSUPPORTED);
  EXPECT_EQ(film.Next().bytes, "open");
}

TEST(MkvBlocks, AreFoundInOpenClustersAndBehindGarbage) {
  Film open(WithClusters(EbmlBuilder()
                             .OpenMaster(Element::Cluster, ClusterChildren(0, {Simple(1, 0, "a")}))
                             .Master(Element::Cues, {})
                             .OpenMaster(Element::Cluster, ClusterChildren(1000, {Simple(1, 0, "b")}))
                             .Master(Element::Tags, {})));
  EXPECT_EQ(open.AllBytes(), "a b ");
  const Bytes garbage[] = {
      Bytes(5), Bytes(100'000, 0xFF), {0x42, 0x42, 0x85, 1, 2}, {0x1F, 0x43, 0xB6, 0x75}};
  for (const Bytes& bytes : garbage) {
    Film film(WithClusters(EbmlBuilder()
                               .Raw(Cluster(0, {Simple(1, 0, "a")}).Done())
                               .Raw(bytes)
                               .Raw(Cluster(1000, {Simple(1, 0, "b")}).Done())));
    EXPECT_EQ(film.AllBytes(), "a b ") << bytes.size();
  }
  // A block that claims to be larger than its cluster.
  const Bytes liar = EbmlBuilder().Id(0xA3).ElementSize(5000).Raw(BlockBytes(1, 0, 0, "x")).Done();
  Film film(WithClusters(EbmlBuilder()
                             .Raw(Cluster(0, {Simple(1, 0, "a"), EbmlBuilder().Raw(liar)}).Done())
                             .Raw(Cluster(1000, {Simple(1, 0, "b")}).Done())));
  EXPECT_EQ(film.AllBytes(), "a b ");
}

TEST(MkvBlocks, StretchTheTicksOfTheirTrack) {
  Film film(WithClusters(Cluster(100, {Simple(1, 10, "v"), Simple(2, 10, "a")}),
                         EbmlBuilder().Float(Element::TrackTimecodeScale, 2.5)));
  const std::vector<Got> all = film.All();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].time, 1'100'000);
  EXPECT_EQ(all[1].time, 1'250'000);
}

TEST(MkvBlocks, EndWhereTheFileIsCut) {
  const Bytes whole =
      WithClusters(Cluster(0, {Simple(1, 0, "first"), Group(2, 0, "second"), Simple(1, 1, "third")})).Done();
  std::size_t most = 0;
  for (std::size_t size = whole.size() - 60; size <= whole.size(); ++size) {
    Film film(EbmlBuilder().Raw(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))));
    const std::size_t count = film.All().size();
    EXPECT_GE(count, most) << size;
    most = std::max(most, count);
    EXPECT_EQ(film.Next().result, QMF_ERR_END_OF_STREAM);
  }
  EXPECT_EQ(most, 3U);
}

TEST(MkvBlocks, OfOneStreamAreReadWithoutTheOthersPayload) {
  std::vector<EbmlBuilder> blocks;
  for (std::int16_t i = 0; i < 20; ++i) {
    blocks.push_back(Simple(1, i, std::string(200'000, 'v')));
    blocks.push_back(Simple(2, i, "audio"));
  }
  Film film(WithClusters(Cluster(0, blocks)));
  const std::uint64_t before = film.File().BytesRead();
  for (int i = 0; i < 20; ++i) ASSERT_EQ(film.NextOf(kBlockAudio, 0).bytes, "audio");
  EXPECT_EQ(film.NextOf(kBlockAudio, 0).result, QMF_ERR_END_OF_STREAM);
  EXPECT_LT(film.File().BytesRead() - before, 20U * 3 * FileReader::kWindowSize);
}

}  // namespace
}  // namespace qmf
