#include "streamlib/H264HdrSeqParSet.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "streamlib/H264NalUnit.h"
#include "tests/support/H264Writer.h"

namespace qmf::test {
namespace {

using SPL_H264::H264HdrSeqParSet;

H264HdrSeqParSet Parsed(const Bytes& unit) {
  H264HdrSeqParSet sps;
  const bool parsed = sps.Parse(unit.data(), static_cast<std::int32_t>(unit.size()));
  EXPECT_EQ(parsed, sps.IsValid());
  return sps;
}

TEST(H264HdrSeqParSet, GivesBackEveryFieldAndFailsWhenAnyOfItIsMissing) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    H264HdrSeqParSet written;
    const Bytes unit = DrawSps(random, written);
    ASSERT_TRUE(Parsed(unit) == written) << "round " << round;
    const Bytes cut(unit.begin(), unit.begin() + static_cast<int>(random() % (unit.size() - 1)));
    ASSERT_FALSE(Parsed(cut).IsValid()) << "round " << round << ", " << cut.size() << " of " << unit.size();
  }
}

TEST(H264HdrSeqParSet, RefusesWhatItsSyntaxDoesNotAllow) {
  const std::pair<const char*, std::function<void(H264HdrSeqParSet&)>> kFaults[] = {
      {"a picture parameter set", [](H264HdrSeqParSet& s) { s.nal_unit_type = 8; }},
      {"reserved bits", [](H264HdrSeqParSet& s) { s.reserved_zero_4bits = 1; }},
      {"id 32", [](H264HdrSeqParSet& s) { s.seq_parameter_set_id = 32; }},
      {"chroma format 4", [](H264HdrSeqParSet& s) { s.chroma_format_idc = 4; }},
      {"13 bits of luma", [](H264HdrSeqParSet& s) { s.bit_depth_luma_minus8 = 5; }},
      {"13 bits of chroma", [](H264HdrSeqParSet& s) { s.bit_depth_chroma_minus8 = 5; }},
      {"picture order type 3", [](H264HdrSeqParSet& s) { s.pic_order_cnt_type = 3; }},
  };
  H264HdrSeqParSet good = PlainSps();
  good.profile_idc = 100;
  EXPECT_TRUE(Parsed(SpsUnit(good)).IsValid());
  for (const auto& [name, change] : kFaults) {
    H264HdrSeqParSet bad = good;
    change(bad);
    EXPECT_FALSE(Parsed(SpsUnit(bad)).IsValid()) << name;
  }
  Bytes forbidden = SpsUnit(good);
  forbidden[0] |= 0x80;
  EXPECT_FALSE(Parsed(forbidden).IsValid());
  EXPECT_FALSE(H264HdrSeqParSet().Parse(forbidden.data(), 0));
  good.log2_max_frame_num_minus4 = 40;  // Clamped, not refused.
  EXPECT_TRUE(Parsed(SpsUnit(good)).IsValid());
  EXPECT_EQ(Parsed(SpsUnit(good)).log2_max_frame_num_minus4, 28U);
}

TEST(H264HdrSeqParSet, TakesScalingDeltasModulo256) {
  BitWriter w;
  w.Bits(100, 8).Bits(0, 8).Bits(30, 8).UE(0);                    // profile to id
  w.UE(1).UE(0).UE(0).Bits(0, 1).Bits(1, 1);                      // chroma to matrix flag
  w.Bits(1, 1).SE(-0x7FFFFFFF).SE(0x7FFFFFFF).SE(-8).Bits(0, 7);  // 9, then 8, then 0: the rest is 8
  w.UE(0).UE(2).UE(1).Bits(0, 1).UE(3).UE(2).Bits(0b1'1'0'0, 4);
  const H264HdrSeqParSet parsed = Parsed(NalUnit(0x67, w.Trailing().Bytes()));
  EXPECT_TRUE(parsed.IsValid());
  EXPECT_EQ(parsed.scaling_list_4x4[0][0], 9);
  EXPECT_EQ(parsed.scaling_list_4x4[0][1], 8);
  EXPECT_EQ(parsed.scaling_list_4x4[0][15], 8);
  EXPECT_EQ(parsed.use_default_scaling_matrix_4x4_flag[0], 0);
}

TEST(H264NalUnit, NamesTypes) {
  for (const auto& [type, name] :
       {std::pair{0, "unspec"}, {5, "idr slice"}, {13, "sps ext"}, {14, "14"}, {31, "31"}}) {
    EXPECT_STREQ(SPL_H264::NalUnitTypeName(static_cast<std::uint8_t>(type)), name);
  }
}

}  // namespace
}  // namespace qmf::test
