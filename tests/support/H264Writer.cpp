#include "tests/support/H264Writer.h"

#include <algorithm>

namespace qmf::test {
namespace {

using SPL_H264::H264HdrSeqParSet;

bool IsHighProfile(std::uint8_t profile) {
  static constexpr std::uint8_t kHigh[] = {100, 110, 122, 144, 244, 44, 83, 86};
  return std::ranges::find(kHigh, profile) != std::end(kHigh);
}

// One walk over the syntax of a set: writes every field, and draws it beforehand where there is a source of
// chance. Levels and sizes are such that no run of zeros arises whose emulation prevention the bit reader is
// known to miss.
class SpsWriter {
 public:
  SpsWriter(H264HdrSeqParSet& set, std::mt19937* random) : s(set), m_random(random) {}

  Bytes Write(std::uint32_t hrdEntries) {
    static constexpr std::uint8_t kProfiles[] = {66, 77, 88, 100, 110, 122, 144, 244, 44, 83, 86, 118, 128};
    if (m_random != nullptr) s.profile_idc = kProfiles[(*m_random)() % std::size(kProfiles)];
    w.Bits(s.profile_idc, 8);
    Flags(s.constraint_set0_flag, s.constraint_set1_flag, s.constraint_set2_flag, s.constraint_set3_flag);
    w.Bits(s.reserved_zero_4bits, 4).Bits(Draw(s.level_idc, 50, 10), 8);
    UE(32, s.seq_parameter_set_id);
    if (IsHighProfile(s.profile_idc)) Chroma();
    PictureOrder();
    Geometry();
    if (Has(s.vui_parameters_present_flag)) Vui(hrdEntries);
    return NalUnit(static_cast<std::uint8_t>(0x60 | s.nal_unit_type), w.Trailing().Bytes());
  }

 private:
  template <class Field>
  Field Draw(Field& field, std::uint64_t count, std::int32_t first = 0) {
    if (m_random != nullptr)
      field = static_cast<Field>(first + static_cast<std::int64_t>((*m_random)() % count));
    return field;
  }
  // Fields of one width, flags, and Exp-Golomb codes of numbers below a limit.
  void Fixed(unsigned width, auto&... fields) {
    (w.Bits(Draw(fields, std::uint64_t{1} << width), width), ...);
  }
  void Flags(auto&... flags) { Fixed(1, flags...); }
  void UE(std::uint32_t limit, auto&... fields) { (w.UE(Draw(fields, limit)), ...); }
  bool Has(std::uint8_t& flag) { return Flags(flag), flag != 0; }

  void Chroma() {
    UE(4, s.chroma_format_idc);
    if (s.chroma_format_idc == 3) Flags(s.separate_colour_plane_flag);
    UE(5, s.bit_depth_luma_minus8, s.bit_depth_chroma_minus8);
    Flags(s.qpprime_y_zero_transform_bypass_flag);
    if (!Has(s.seq_scaling_matrix_present_flag)) return;
    for (std::size_t i = 0; i < (s.chroma_format_idc == 3 ? 12U : 8U); ++i) {
      if (!Has(s.seq_scaling_list_present_flag[i])) continue;
      if (i < 6) ScalingList(s.scaling_list_4x4[i], s.use_default_scaling_matrix_4x4_flag[i]);
      if (i >= 6) ScalingList(s.scaling_list_8x8[i - 6], s.use_default_scaling_matrix_8x8_flag[i - 6]);
    }
  }
  // Wrapped deltas are as good as small ones: the reader takes them modulo 256.
  void ScalingList(std::span<std::uint16_t> list, std::uint8_t& useDefault) {
    const bool drawsDefault = Draw(useDefault, 2) != 0;
    if (drawsDefault && m_random != nullptr) std::ranges::fill(list, std::uint16_t{8});
    if (drawsDefault) w.SE(-8);
    int last = 8;
    for (std::size_t i = 0; !drawsDefault && i < list.size(); last = list[i++])
      w.SE(Draw(list[i], 255, 1) - last);
  }
  void PictureOrder() {
    UE(29, s.log2_max_frame_num_minus4);
    UE(3, s.pic_order_cnt_type);
    if (s.pic_order_cnt_type == 0) UE(13, s.log2_max_pic_order_cnt_lsb_minus4);
    if (s.pic_order_cnt_type != 1) return;
    Flags(s.delta_pic_order_always_zero_flag);
    w.SE(Draw(s.offset_for_non_ref_pic, 2000, -1000)).SE(Draw(s.offset_for_top_to_bottom_field, 1, -0x7FFF));
    UE(200, s.num_ref_frames_in_pic_order_cnt_cycle);
    for (std::uint32_t i = 0; i < s.num_ref_frames_in_pic_order_cnt_cycle; ++i) {
      std::int32_t dropped = 7;
      const bool isKept = i < H264HdrSeqParSet::kMaxStoredRefFrameOffsets;
      w.SE(Draw(isKept ? s.offset_for_ref_frame[i] : dropped, 100, -50));
    }
  }
  void Geometry() {
    UE(17, s.num_ref_frames);
    Flags(s.gaps_in_frame_num_value_allowed_flag);
    UE(0xFFFF, s.pic_width_in_mbs_minus1, s.pic_height_in_map_units_minus1);
    if (!Has(s.frame_mbs_only_flag)) Flags(s.mb_adaptive_frame_field_flag);
    Flags(s.direct_8x8_inference_flag);
    if (!Has(s.frame_cropping_flag)) return;
    UE(1000, s.frame_crop_left_offset, s.frame_crop_right_offset, s.frame_crop_top_offset,
       s.frame_crop_bottom_offset);
  }
  void Vui(std::uint32_t hrdEntries) {
    if (Has(s.aspect_ratio_info_present_flag)) {
      // Most drawn sets have an extended ratio.
      if (Draw(s.aspect_ratio_idc, 512) > 16 && m_random != nullptr) s.aspect_ratio_idc = 255;
      w.Bits(s.aspect_ratio_idc, 8);
      if (s.aspect_ratio_idc == 255) w.Bits(Draw(s.sar_width, 65536), 16).Bits(Draw(s.sar_height, 1, 7), 16);
    }
    if (Has(s.overscan_info_present_flag)) Flags(s.overscan_appropriate_flag);
    VideoSignal();
    if (Has(s.timing_info_present_flag)) {
      Fixed(32, s.num_units_in_tick, s.time_scale);
      Flags(s.fixed_frame_rate_flag);
    }
    if (Has(s.nal_hrd_parameters_present_flag)) Hrd(hrdEntries, true);
    if (Has(s.vcl_hrd_parameters_present_flag)) Hrd(hrdEntries, s.nal_hrd_parameters_present_flag == 0);
    if (s.nal_hrd_parameters_present_flag + s.vcl_hrd_parameters_present_flag > 0)
      Flags(s.low_delay_hrd_flag);
    Flags(s.pic_struct_present_flag);
    if (!Has(s.bitstream_restriction_flag)) return;
    Flags(s.motion_vectors_over_pic_boundaries_flag);
    UE(40, s.max_bytes_per_pic_denom, s.max_bits_per_mb_denom, s.log2_max_mv_length_horizontal,
       s.log2_max_mv_length_vertical, s.num_reorder_frames, s.max_dec_frame_buffering);
  }
  void VideoSignal() {
    if (Has(s.video_signal_type_present_flag)) {
      Fixed(3, s.video_format);
      Flags(s.video_full_range_flag);
      if (Has(s.colour_description_present_flag))
        Fixed(8, s.colour_primaries, s.transfer_characteristics, s.matrix_coefficients);
    }
    if (!Has(s.chroma_loc_info_present_flag)) return;
    UE(6, s.chroma_sample_loc_type_top_field, s.chroma_sample_loc_type_bottom_field);
  }
  // Of two the second's lengths are kept, so both have the same.
  void Hrd(std::uint32_t entries, bool first) {
    w.UE(entries - 1).Bits(0x21, 8);
    for (std::uint32_t i = 0; i < entries; ++i) w.UE(1000 + i).UE(2000 + i).Bits(i % 2, 1);
    if (first) Draw(s.cpb_removal_delay_length, 32, 1), Draw(s.dpb_output_delay_length, 32, 1);
    w.Bits(23, 5).Bits(s.cpb_removal_delay_length - 1U, 5);
    w.Bits(s.dpb_output_delay_length - 1U, 5).Bits(24, 5);
  }

  H264HdrSeqParSet& s;
  std::mt19937* const m_random;
  BitWriter w;
};

}  // namespace

Bytes NalUnit(std::uint8_t header, std::span<const std::uint8_t> payload) {
  Bytes unit = {header};
  int zeros = 0;
  for (const std::uint8_t byte : payload) {
    if (zeros == 2 && byte <= 3) {
      unit.push_back(3);
      zeros = 0;
    }
    unit.push_back(byte);
    zeros = byte == 0 ? zeros + 1 : 0;
  }
  return unit;
}

Bytes WithStartCode(std::span<const std::uint8_t> unit, bool zeroByte) {
  return Bytes(zeroByte ? 3 : 2) + Bytes{1} + Bytes(unit.begin(), unit.end());
}

H264HdrSeqParSet PlainSps() {
  return {.valid = true,
          .nal_unit_type = 7,
          .profile_idc = 66,
          .level_idc = 30,
          .num_ref_frames = 1,
          .pic_width_in_mbs_minus1 = 3,
          .pic_height_in_map_units_minus1 = 2,
          .frame_mbs_only_flag = 1,
          .direct_8x8_inference_flag = 1,
          .vui_parameters_present_flag = 1,
          .timing_info_present_flag = 1,
          .num_units_in_tick = 1,
          .time_scale = 50};
}

Bytes SpsUnit(H264HdrSeqParSet sps) {
  return SpsWriter(sps, nullptr).Write(1);
}

Bytes DrawSps(std::mt19937& random, H264HdrSeqParSet& sps) {
  sps = {};
  sps.valid = true;
  sps.nal_unit_type = 7;
  return SpsWriter(sps, &random).Write(1 + static_cast<std::uint32_t>(random() % 40));
}

Bytes SliceUnit(const SliceFields& f) {
  BitWriter w;
  w.UE(f.firstMb).UE(f.sliceType).UE(f.ppsId).Bits(f.frameNum, 4);
  if (f.field >= 0) w.Bits(f.field > 0, 1);
  if (f.field > 0) w.Bits(f.field == 2, 1);
  if (f.type == 5) w.UE(f.idrPicId);
  w.Bits(f.orderLsb, 4);
  if (f.redundant >= 0) w.UE(static_cast<std::uint32_t>(f.redundant));
  w.Bits(0x5A5A, 16);
  return NalUnit(static_cast<std::uint8_t>(f.refIdc << 5 | f.type), w.Trailing().Bytes());
}

Bytes PpsUnit(std::uint32_t id, std::uint32_t spsId, std::uint32_t sliceGroups, bool redundant) {
  BitWriter w;
  w.UE(id).UE(spsId).Bits(0, 2).UE(sliceGroups - 1);
  if (sliceGroups > 1) w.UE(1);  // dispersed
  w.UE(0).UE(0).Bits(0, 3).SE(0).SE(0).SE(0).Bits(0, 2).Bits(redundant, 1);
  return NalUnit(0x68, w.Trailing().Bytes());
}

Bytes RecoveryPointUnit() {
  const Bytes message = BitWriter().UE(0).Bits(1, 1).Bits(0, 3).Trailing().Bytes();
  return NalUnit(0x06, Bytes{6, static_cast<std::uint8_t>(message.size())} + message + Bytes{0x80});
}

Bytes ByteStream(std::initializer_list<Bytes> units) {
  Bytes stream;
  for (const Bytes& unit : units) stream += WithStartCode(unit);
  return stream;
}

}  // namespace qmf::test
