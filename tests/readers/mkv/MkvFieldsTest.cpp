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
  const Bytes delimiter = {9, 0xF0};
  const Bytes bytes = Stored(delimiter) + Stored(SliceUnit({.frameNum = frame, .field = field}));
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

  EXPECT_EQ(MkvFile(file).Rest().size(), 10U);
  MkvFile film(file);
  ASSERT_EQ(film.Tell(QMF_QID_MKV_COMBINE_FIELDS, 1), QMF_OK);
  const std::string pair = stored[0] + stored[1];
  EXPECT_EQ(film.Next(static_cast<std::uint32_t>(pair.size() - 1)).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(film.All(), pair + "@0-40 sound@5 " + stored[2] + "@40-60 " + stored[3] + "@60-80 " + stored[4] +
                            stored[5] + "@80-120 " + stored[6] + "@120-140 more@130 " + stored[7] +
                            "@140-160 ");
  EXPECT_EQ(Told(film.NextOf(kBlockVideo)), pair + "@0-40 ");
  EXPECT_EQ(Told(film.NextOf(kBlockVideo)), stored[2] + "@40-60 ");
  EXPECT_NE(film.Seek(kBlockVideo, 1'000'000), -1);
  EXPECT_EQ(Told(film.Next()), stored[5] + "@100-120 ")
      << "a second field at which a frame is entered stands alone";
}

}  // namespace
}  // namespace qmf::test
