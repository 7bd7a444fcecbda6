#include "tests/support/H264Writer.h"

#include <algorithm>

namespace qmf::test {
namespace {

using SPL_H264::H264HdrSeqParSet;

bool IsHighProfile(std::uint8_t profile) {
  for (const int high : {100, 110, 122, 144, 244, 44, 83, 86}) {
    if (profile == high) return true;
  }
  return false;
}

// Wrapped deltas are as good as small ones: the reader takes them modulo 256.
void WriteScalingList(BitWriter& w, std::span<const std::uint16_t> list, bool useDefault) {
  if (useDefault) {
    w.SE(-8);
    return;
  }
  int last = 8;
  for (const std::uint16_t entry : list) {
    w.SE(entry - last);
    last = entry;
  }
}

void WriteChroma(BitWriter& w, const H264HdrSeqParSet& s) {
  w.UE(s.chroma_format_idc);
  if (s.chroma_format_idc == 3) w.Bits(s.separate_colour_plane_flag, 1);
  w.UE(s.bit_depth_luma_minus8).UE(s.bit_depth_chroma_minus8);
  w.Bits(s.qpprime_y_zero_transform_bypass_flag, 1).Bits(s.seq_scaling_matrix_present_flag, 1);
  if (s.seq_scaling_matrix_present_flag == 0) return;
  for (std::size_t i = 0; i < (s.chroma_format_idc == 3 ? 12U : 8U); ++i) {
    w.Bits(s.seq_scaling_list_present_flag[i], 1);
    if (s.seq_scaling_list_present_flag[i] == 0) continue;
    if (i < 6) WriteScalingList(w, s.scaling_list_4x4[i], s.use_default_scaling_matrix_4x4_flag[i] != 0);
    if (i >= 6)
      WriteScalingList(w, s.scaling_list_8x8[i - 6], s.use_default_scaling_matrix_8x8_flag[i - 6] != 0);
  }
}

void WritePictureOrder(BitWriter& w, const H264HdrSeqParSet& s) {
  w.UE(s.log2_max_frame_num_minus4).UE(s.pic_order_cnt_type);
  if (s.pic_order_cnt_type == 0) w.UE(s.log2_max_pic_order_cnt_lsb_minus4);
  if (s.pic_order_cnt_type != 1) return;
  w.Bits(s.delta_pic_order_always_zero_flag, 1);
  w.SE(s.offset_for_non_ref_pic).SE(s.offset_for_top_to_bottom_field);
  w.UE(s.num_ref_frames_in_pic_order_cnt_cycle);
  for (std::uint32_t i = 0; i < s.num_ref_frames_in_pic_order_cnt_cycle; ++i) {
    w.SE(s.offset_for_ref_frame[std::min(i, H264HdrSeqParSet::kMaxStoredRefFrameOffsets - 1)]);
  }
}

void WriteGeometry(BitWriter& w, const H264HdrSeqParSet& s) {
  w.UE(s.num_ref_frames).Bits(s.gaps_in_frame_num_value_allowed_flag, 1);
  w.UE(s.pic_width_in_mbs_minus1).UE(s.pic_height_in_map_units_minus1).Bits(s.frame_mbs_only_flag, 1);
  if (s.frame_mbs_only_flag == 0) w.Bits(s.mb_adaptive_frame_field_flag, 1);
  w.Bits(s.direct_8x8_inference_flag, 1).Bits(s.frame_cropping_flag, 1);
  if (s.frame_cropping_flag == 0) return;
  w.UE(s.frame_crop_left_offset).UE(s.frame_crop_right_offset);
  w.UE(s.frame_crop_top_offset).UE(s.frame_crop_bottom_offset);
}

void WriteHrd(BitWriter& w, const H264HdrSeqParSet& s, std::uint32_t entries) {
  w.UE(entries - 1).Bits(0x21, 8);
  for (std::uint32_t i = 0; i < entries; ++i) w.UE(1000 + i).UE(2000 + i).Bits(i % 2, 1);
  w.Bits(23, 5).Bits(s.cpb_removal_delay_length - 1U, 5).Bits(s.dpb_output_delay_length - 1U, 5).Bits(24, 5);
}

void WriteVideoSignal(BitWriter& w, const H264HdrSeqParSet& s) {
  w.Bits(s.video_signal_type_present_flag, 1);
  if (s.video_signal_type_present_flag != 0) {
    w.Bits(s.video_format, 3).Bits(s.video_full_range_flag, 1).Bits(s.colour_description_present_flag, 1);
    if (s.colour_description_present_flag != 0) {
      w.Bits(s.colour_primaries, 8).Bits(s.transfer_characteristics, 8).Bits(s.matrix_coefficients, 8);
    }
  }
  w.Bits(s.chroma_loc_info_present_flag, 1);
  if (s.chroma_loc_info_present_flag == 0) return;
  w.UE(s.chroma_sample_loc_type_top_field).UE(s.chroma_sample_loc_type_bottom_field);
}

void WriteVui(BitWriter& w, const H264HdrSeqParSet& s, std::uint32_t hrdEntries) {
  w.Bits(s.aspect_ratio_info_present_flag, 1);
  if (s.aspect_ratio_info_present_flag != 0) w.Bits(s.aspect_ratio_idc, 8);
  if (s.aspect_ratio_idc == 255) w.Bits(s.sar_width, 16).Bits(s.sar_height, 16);
  w.Bits(s.overscan_info_present_flag, 1);
  if (s.overscan_info_present_flag != 0) w.Bits(s.overscan_appropriate_flag, 1);
  WriteVideoSignal(w, s);
  w.Bits(s.timing_info_present_flag, 1);
  if (s.timing_info_present_flag != 0) {
    w.Bits(s.num_units_in_tick, 32).Bits(s.time_scale, 32).Bits(s.fixed_frame_rate_flag, 1);
  }
  w.Bits(s.nal_hrd_parameters_present_flag, 1);
  if (s.nal_hrd_parameters_present_flag != 0) WriteHrd(w, s, hrdEntries);
  w.Bits(s.vcl_hrd_parameters_present_flag, 1);
  if (s.vcl_hrd_parameters_present_flag != 0) WriteHrd(w, s, hrdEntries);
  if (s.nal_hrd_parameters_present_flag + s.vcl_hrd_parameters_present_flag > 0)
    w.Bits(s.low_delay_hrd_flag, 1);
  w.Bits(s.pic_struct_present_flag, 1).Bits(s.bitstream_restriction_flag, 1);
  if (s.bitstream_restriction_flag == 0) return;
  w.Bits(s.motion_vectors_over_pic_boundaries_flag, 1)
      .UE(s.max_bytes_per_pic_denom)
      .UE(s.max_bits_per_mb_denom);
  w.UE(s.log2_max_mv_length_horizontal).UE(s.log2_max_mv_length_vertical);
  w.UE(s.num_reorder_frames).UE(s.max_dec_frame_buffering);
}

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
  Bytes bytes(zeroByte ? 3 : 2);
  bytes.push_back(1);
  bytes.insert(bytes.end(), unit.begin(), unit.end());
  return bytes;
}

H264HdrSeqParSet PlainSps() {
  H264HdrSeqParSet sps;
  sps.valid = true;
  sps.nal_unit_type = 7;
  sps.profile_idc = 66;
  sps.level_idc = 30;
  sps.num_ref_frames = 1;
  sps.pic_width_in_mbs_minus1 = 3;
  sps.pic_height_in_map_units_minus1 = 2;
  sps.frame_mbs_only_flag = 1;
  sps.direct_8x8_inference_flag = 1;
  sps.vui_parameters_present_flag = 1;
  sps.timing_info_present_flag = 1;
  sps.num_units_in_tick = 1;
  sps.time_scale = 50;
  return sps;
}

Bytes SpsUnit(const H264HdrSeqParSet& s, std::uint32_t hrdEntries) {
  BitWriter w;
  w.Bits(s.profile_idc, 8).Bits(s.constraint_set0_flag, 1).Bits(s.constraint_set1_flag, 1);
  w.Bits(s.constraint_set2_flag, 1).Bits(s.constraint_set3_flag, 1).Bits(s.reserved_zero_4bits, 4);
  w.Bits(s.level_idc, 8).UE(s.seq_parameter_set_id);
  if (IsHighProfile(s.profile_idc)) WriteChroma(w, s);
  WritePictureOrder(w, s);
  WriteGeometry(w, s);
  w.Bits(s.vui_parameters_present_flag, 1);
  if (s.vui_parameters_present_flag != 0) WriteVui(w, s, hrdEntries);
  return NalUnit(static_cast<std::uint8_t>(0x60 | s.nal_unit_type), w.Trailing().Bytes());
}

Bytes SliceUnit(const SliceFields& f) {
  BitWriter w;
  w.UE(f.firstMb).UE(f.sliceType).UE(f.ppsId).Bits(f.frameNum, 4);
  if (f.field >= 0) w.Bits(f.field > 0, 1);
  if (f.field > 0) w.Bits(f.field == 2, 1);
  if (f.type == 5) w.UE(f.idrPicId);
  w.Bits(f.orderLsb, 4).Bits(0x5A5A, 16);
  return NalUnit(static_cast<std::uint8_t>(f.refIdc << 5 | f.type), w.Trailing().Bytes());
}

Bytes PpsUnit(std::uint32_t id, std::uint32_t spsId, std::uint32_t sliceGroups) {
  BitWriter w;
  w.UE(id).UE(spsId).Bits(0, 2).UE(sliceGroups - 1);
  if (sliceGroups > 1) w.UE(1);  // dispersed
  w.UE(0).UE(0).Bits(0, 3).SE(0).SE(0).SE(0).Bits(0, 3);
  return NalUnit(0x68, w.Trailing().Bytes());
}

Bytes RecoveryPointUnit(std::uint32_t frames) {
  BitWriter message;
  message.UE(frames).Bits(1, 1).Bits(0, 3).Trailing();
  BitWriter w;
  w.Bits(6, 8).Bits(message.Bytes().size(), 8);
  for (const std::uint8_t byte : message.Bytes()) w.Bits(byte, 8);
  return NalUnit(0x06, w.Trailing().Bytes());
}

Bytes ByteStream(std::initializer_list<Bytes> units) {
  Bytes stream;
  for (const Bytes& unit : units) {
    const Bytes coded = WithStartCode(unit);
    stream.insert(stream.end(), coded.begin(), coded.end());
  }
  return stream;
}

}  // namespace qmf::test
