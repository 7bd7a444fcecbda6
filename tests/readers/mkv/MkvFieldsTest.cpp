#include <gtest/gtest.h>

#include "tests/readers/mkv/MkvPlayer.h"
#include "tests/support/H264Writer.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using Bytes = test::Bytes;

// Stored behind its length, as in a block.
std::string Stored(const Bytes& unit, std::size_t lengthSize = 4) {
  const Bytes bytes = EbmlBuilder().BigEndian(unit.size(), lengthSize).Raw(unit).Done();
  return std::string(bytes.begin(), bytes.end());
}

std::string Picture(int field, std::uint32_t frame) {
  return Stored(test::SliceUnit({.frameNum = frame, .field = field}));
}

EbmlBuilder InterlacedTracks() {
  SPL_H264::H264HdrSeqParSet sps = test::PlainSps();
  sps.frame_mbs_only_flag = 0;
  EbmlBuilder record;
  record.Raw(Bytes{1, 66, 0, 30, 0xFF, 0xE1}).Raw(Stored(test::SpsUnit(sps), 2));
  record.Raw(Bytes{2}).Raw(Stored(test::PpsUnit(3), 2)).Raw(Stored(test::PpsUnit(), 2));
  return EbmlBuilder().Master(
      Element::Tracks,
      EbmlBuilder()
          .Raw(test::Track(1, test::kMatroskaVideo, "V_MPEG4/ISO/AVC",
                           test::Picture(64, 48, EbmlBuilder().Unsigned(Element::FlagInterlaced, 1))
                               .Unsigned(Element::DefaultDuration, 20'000'000)
                               .Binary(Element::CodecPrivate, record.Done()))
                   .Done())
          .Raw(test::Track(2, test::kMatroskaAudio, "A_AC3", {}).Done()));
}

TEST(MkvFields, OfOneFrameBecomeOneBlock) {
  constexpr int kFrame = 0;
  constexpr int kTop = 1;
  constexpr int kBottom = 2;
  const std::string stored[] = {Picture(kTop, 0),    Picture(kBottom, 0), Picture(kFrame, 1),
                                Picture(kBottom, 2), Picture(kBottom, 3), Picture(kTop, 3),
                                Picture(kTop, 4),    "no units"};
  const auto field = [&](std::int16_t i) {
    return test::Simple(1, static_cast<std::int16_t>(i * 20), stored[i]);
  };
  const EbmlBuilder clusters =
      test::Cluster(0, {field(0), test::Simple(2, 5, "sound"), field(1), field(2), field(3), field(4)})
          .Raw(test::Cluster(0, {field(5), field(6), test::Simple(2, 130, "more"), field(7)}).Done());
  const EbmlBuilder file = test::Header().Master(
      Element::Segment, EbmlBuilder(test::Info()).Raw(InterlacedTracks().Done()).Raw(clusters.Done()));

  test::MkvPlayer asStored(file);
  EXPECT_EQ(asStored.All().size(), 10U);
  test::MkvPlayer film(file);
  ASSERT_EQ(film.Set(QMF_QID_MKV_COMBINE_FIELDS, 1), QMF_OK);
  const std::string pair = stored[0] + stored[1];
  EXPECT_EQ(film.Next(static_cast<std::uint32_t>(pair.size() - 1)).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  const std::vector<test::Got> all = film.All();
  const std::string expected[] = {pair,      "sound", stored[2], stored[3], stored[4] + stored[5],
                                  stored[6], "more",  stored[7]};
  ASSERT_EQ(all.size(), std::size(expected));
  for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i].bytes, expected[i]) << i;
  EXPECT_EQ(all[0].time, 0);
  EXPECT_EQ(all[0].endTime, 400'000);
  EXPECT_EQ(film.NextOf(kBlockVideo, 0).bytes, pair);
  EXPECT_EQ(film.NextOf(kBlockVideo, 0).bytes, stored[2]);
  std::int64_t time = 1'000'000;
  EXPECT_EQ(film.Seek(kBlockVideo, time), QMF_OK);
  EXPECT_EQ(film.Next().bytes,
            stored[5]);  // Where a frame is entered at its second field, that stands alone.
}

}  // namespace
}  // namespace qmf
