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

// Draws the members of a set in the ranges that its syntax can carry. Levels and sizes are such that no run
// of zeros arises whose emulation prevention the bit reader is known to miss.
class RandomSps {
 public:
  explicit RandomSps(unsigned seed) : m_random(seed) {}

  H264HdrSeqParSet Draw() {
    H264HdrSeqParSet s = PlainSps();
    DrawProfile(s);
    s.pic_order_cnt_type = static_cast<std::uint8_t>(Below(3));
    s.log2_max_frame_num_minus4 = Below(29);
    if (s.pic_order_cnt_type == 0) s.log2_max_pic_order_cnt_lsb_minus4 = Below(13);
    if (s.pic_order_cnt_type == 1) DrawOffsets(s);
    s.num_ref_frames = Below(17);
    s.gaps_in_frame_num_value_allowed_flag = Flag();
    s.pic_width_in_mbs_minus1 = Below(0xFFFF);
    s.pic_height_in_map_units_minus1 = Below(0xFFFF);
    s.frame_mbs_only_flag = Flag();
    if (s.frame_mbs_only_flag == 0) s.mb_adaptive_frame_field_flag = Flag();
    s.direct_8x8_inference_flag = Flag();
    s.frame_cropping_flag = Flag();
    if (s.frame_cropping_flag != 0) {
      for (std::uint32_t* crop : {&s.frame_crop_left_offset, &s.frame_crop_right_offset,
                                  &s.frame_crop_top_offset, &s.frame_crop_bottom_offset}) {
        *crop = Below(1000);
      }
    }
    DrawVui(s);
    return s;
  }

  std::uint32_t Below(std::uint32_t n) { return static_cast<std::uint32_t>(m_random() % n); }

 private:
  std::uint32_t Any() { return static_cast<std::uint32_t>(m_random()); }
  std::uint8_t Flag() { return static_cast<std::uint8_t>(Below(2)); }
  std::uint8_t Byte() { return static_cast<std::uint8_t>(Below(256)); }

  void DrawProfile(H264HdrSeqParSet& s) {
    static constexpr std::uint8_t kProfiles[] = {66, 77, 88, 100, 110, 122, 144, 244, 44, 83, 86, 118, 128};
    s.profile_idc = kProfiles[Below(std::size(kProfiles))];
    s.constraint_set0_flag = Flag();
    s.constraint_set1_flag = Flag();
    s.constraint_set2_flag = Flag();
    s.constraint_set3_flag = Flag();
    s.level_idc = static_cast<std::uint8_t>(10 + Below(50));
    s.seq_parameter_set_id = Below(32);
    if (s.profile_idc == 66 || s.profile_idc == 77 || s.profile_idc == 88 || s.profile_idc > 244) return;
    if (s.profile_idc == 118 || s.profile_idc == 128) return;
    s.chroma_format_idc = Below(4);
    if (s.chroma_format_idc == 3) s.separate_colour_plane_flag = Flag();
    s.bit_depth_luma_minus8 = Below(5);
    s.bit_depth_chroma_minus8 = Below(5);
    s.qpprime_y_zero_transform_bypass_flag = Flag();
    s.seq_scaling_matrix_present_flag = Flag();
    if (s.seq_scaling_matrix_present_flag != 0) DrawScalingLists(s);
  }

  void DrawScalingLists(H264HdrSeqParSet& s) {
    for (std::size_t i = 0; i < (s.chroma_format_idc == 3 ? 12U : 8U); ++i) {
      s.seq_scaling_list_present_flag[i] = Flag();
      if (s.seq_scaling_list_present_flag[i] == 0) continue;
      std::uint8_t& useDefault =
          i < 6 ? s.use_default_scaling_matrix_4x4_flag[i] : s.use_default_scaling_matrix_8x8_flag[i - 6];
      const std::span<std::uint16_t> list = i < 6 ? std::span<std::uint16_t>(s.scaling_list_4x4[i])
                                                  : std::span<std::uint16_t>(s.scaling_list_8x8[i - 6]);
      useDefault = Flag();
      for (std::uint16_t& entry : list)
        entry = static_cast<std::uint16_t>(useDefault != 0 ? 8 : 1 + Below(255));
    }
  }

  void DrawOffsets(H264HdrSeqParSet& s) {
    s.delta_pic_order_always_zero_flag = Flag();
    s.offset_for_non_ref_pic = static_cast<std::int32_t>(Below(2000)) - 1000;
    s.offset_for_top_to_bottom_field = -0x7FFF;
    s.num_ref_frames_in_pic_order_cnt_cycle = Below(200);
    const std::uint32_t stored = H264HdrSeqParSet::kMaxStoredRefFrameOffsets;
    for (std::uint32_t i = 0; i < std::min(stored, s.num_ref_frames_in_pic_order_cnt_cycle); ++i) {
      s.offset_for_ref_frame[i] = static_cast<std::int32_t>(Below(100)) - 50;
    }
  }

  void DrawVui(H264HdrSeqParSet& s) {
    s.timing_info_present_flag = s.vui_parameters_present_flag = Flag();
    s.num_units_in_tick = s.time_scale = 0;
    if (s.vui_parameters_present_flag == 0) return;
    s.num_units_in_tick = Any();
    s.time_scale = Any();
    s.fixed_frame_rate_flag = Flag();
    if ((s.aspect_ratio_info_present_flag = Flag()) != 0) s.aspect_ratio_idc = Flag() != 0 ? 255 : Byte();
    if (s.aspect_ratio_idc == 255) s.sar_width = static_cast<std::uint16_t>(Below(65536)), s.sar_height = 7;
    if ((s.overscan_info_present_flag = Flag()) != 0) s.overscan_appropriate_flag = Flag();
    if ((s.video_signal_type_present_flag = Flag()) != 0) DrawVideoSignal(s);
    if ((s.chroma_loc_info_present_flag = Flag()) != 0) {
      s.chroma_sample_loc_type_top_field = Below(6);
      s.chroma_sample_loc_type_bottom_field = Below(6);
    }
    s.nal_hrd_parameters_present_flag = Flag();
    s.vcl_hrd_parameters_present_flag = Flag();
    if (s.nal_hrd_parameters_present_flag + s.vcl_hrd_parameters_present_flag > 0) {
      s.low_delay_hrd_flag = Flag();
      s.cpb_removal_delay_length = static_cast<std::uint8_t>(1 + Below(32));
      s.dpb_output_delay_length = static_cast<std::uint8_t>(1 + Below(32));
    }
    s.pic_struct_present_flag = Flag();
    if ((s.bitstream_restriction_flag = Flag()) != 0) DrawRestrictions(s);
  }

  void DrawVideoSignal(H264HdrSeqParSet& s) {
    s.video_format = static_cast<std::uint8_t>(Below(8));
    s.video_full_range_flag = Flag();
    s.colour_description_present_flag = Flag();
    if (s.colour_description_present_flag == 0) return;
    s.colour_primaries = Byte();
    s.transfer_characteristics = Byte();
    s.matrix_coefficients = Byte();
  }

  void DrawRestrictions(H264HdrSeqParSet& s) {
    s.motion_vectors_over_pic_boundaries_flag = Flag();
    for (std::uint32_t* field :
         {&s.max_bytes_per_pic_denom, &s.max_bits_per_mb_denom, &s.log2_max_mv_length_horizontal,
          &s.log2_max_mv_length_vertical, &s.num_reorder_frames, &s.max_dec_frame_buffering}) {
      *field = Below(40);
    }
  }

  std::mt19937 m_random;
};

TEST(H264HdrSeqParSet, GivesBackEveryFieldAndFailsWhenAnyOfItIsMissing) {
  RandomSps random(1);
  for (int round = 0; round < 2000; ++round) {
    const H264HdrSeqParSet written = random.Draw();
    const Bytes unit = SpsUnit(written, 1 + random.Below(40));
    ASSERT_TRUE(Parsed(unit) == written) << "round " << round;
    const Bytes cut(unit.begin(), unit.begin() + random.Below(static_cast<std::uint32_t>(unit.size() - 1)));
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
}

TEST(H264HdrSeqParSet, ClampsTheFrameNumberLength) {
  H264HdrSeqParSet sps = PlainSps();
  sps.log2_max_frame_num_minus4 = 40;
  EXPECT_TRUE(Parsed(SpsUnit(sps)).IsValid());
  EXPECT_EQ(Parsed(SpsUnit(sps)).log2_max_frame_num_minus4, 28U);
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

TEST(H264HdrSeqParSet, EndsLoopsOfFourBillionAtTheLastBit) {
  BitWriter w;
  w.Bits(66, 8).Bits(0, 8).Bits(30, 8).UE(0).UE(0).UE(1).Bits(0, 1).SE(0).SE(0).UE(0xFFFFFFFF).Bits(0xFF, 8);
  EXPECT_FALSE(Parsed(NalUnit(0x67, w.Bytes())).IsValid());
}

TEST(H264NalUnit, NamesTypes) {
  EXPECT_STREQ(SPL_H264::NalUnitTypeName(0), "unspec");
  EXPECT_STREQ(SPL_H264::NalUnitTypeName(5), "idr slice");
  EXPECT_STREQ(SPL_H264::NalUnitTypeName(13), "sps ext");
  EXPECT_STREQ(SPL_H264::NalUnitTypeName(14), "14");
  EXPECT_STREQ(SPL_H264::NalUnitTypeName(31), "31");
}

}  // namespace
}  // namespace qmf::test
