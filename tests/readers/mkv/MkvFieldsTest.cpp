#include <gtest/gtest.h>

#include "tests/readers/mkv/MkvFile.h"
#include "tests/support/H264Writer.h"

namespace qmf::test {
namespace {

// Stored behind its length, as in a block.
Bytes Stored(const Bytes& unit, std::size_t lengthSize = 4) {
  return BigEndian(unit.size(), lengthSize) + unit;
}

std::string Slice(int field, std::uint32_t frame) {
  const Bytes bytes = Stored(SliceUnit({.frameNum = frame, .field = field}));
  return {bytes.begin(), bytes.end()};
}

Bytes InterlacedTracks() {
  SPL_H264::H264HdrSeqParSet sps = PlainSps();
  sps.frame_mbs_only_flag = 0;
  const Bytes record = Bytes{1, 66, 0, 30, 0xFF, 0xE1} + Stored(SpsUnit(sps), 2) + Bytes{2} +
                       Stored(PpsUnit(3), 2) + Stored(PpsUnit(), 2);
  return Put(E::Tracks, Track(1, kMatroskaVideo, "V_MPEG4/ISO/AVC",
                              Picture(64, 48, Unsigned(E::FlagInterlaced, 1)) +
                                  Unsigned(E::DefaultDuration, 20'000'000) + Put(E::CodecPrivate, record)) +
                            Track(2, kMatroskaAudio, "A_AC3"));
}

TEST(MkvFields, OfOneFrameBecomeOneBlock) {
  constexpr int kFrame = 0;
  constexpr int kTop = 1;
  constexpr int kBottom = 2;
  const std::string stored[] = {Slice(kTop, 0),    Slice(kBottom, 0), Slice(kFrame, 1), Slice(kBottom, 2),
                                Slice(kBottom, 3), Slice(kTop, 3),    Slice(kTop, 4),   "no units"};
  const auto field = [&](std::int16_t i) { return Simple(1, static_cast<std::int16_t>(i * 20), stored[i]); };
  const Bytes file =
      Segment(Info() + InterlacedTracks() +
              Cluster(0, field(0) + Simple(2, 5, "sound") + field(1) + field(2) + field(3) + field(4)) +
              Cluster(0, field(5) + field(6) + Simple(2, 130, "more") + field(7)));

  MkvPlayer asStored(file);
  EXPECT_EQ(asStored.All().size(), 10U);
  MkvPlayer film(file);
  ASSERT_EQ(film.Set(QMF_QID_MKV_COMBINE_FIELDS, 1), QMF_OK);
  const std::string pair = stored[0] + stored[1];
  EXPECT_EQ(film.Next(static_cast<std::uint32_t>(pair.size() - 1)).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  const std::vector<Got> all = film.All();
  const std::string expected[] = {pair,      "sound", stored[2], stored[3], stored[4] + stored[5],
                                  stored[6], "more",  stored[7]};
  ASSERT_EQ(all.size(), std::size(expected));
  for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i].bytes, expected[i]) << i;
  EXPECT_EQ(all[0].time, 0);
  EXPECT_EQ(all[0].endTime, 400'000);
  EXPECT_EQ(film.NextOf(kBlockVideo).bytes, pair);
  EXPECT_EQ(film.NextOf(kBlockVideo).bytes, stored[2]);
  EXPECT_NE(film.Seek(kBlockVideo, 1'000'000), -1);
  EXPECT_EQ(film.Next().bytes, stored[5]) << "a second field at which a frame is entered stands alone";
}

}  // namespace
}  // namespace qmf::test
