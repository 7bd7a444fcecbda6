#include "streamlib/H264HdrSeqParSet.h"

#include <algorithm>
#include <span>

#include "streamlib/H264NalUnit.h"

namespace SPL_H264 {
namespace {

using SPL::BitstreamReader;

constexpr std::uint32_t kMaxChromaFormat = 3;
constexpr std::uint32_t kMaxBitDepthMinus8 = 4;
constexpr std::uint32_t kMaxLog2FrameNumMinus4 = 28;
constexpr std::uint32_t kMaxPictureOrderType = 2;
constexpr std::uint8_t kExtendedSar = 255;

std::uint8_t ReadByte(BitstreamReader& bits, std::uint32_t width = 8) {
  return static_cast<std::uint8_t>(bits.ReadBits(width));
}

bool StatesChromaFormat(std::uint8_t profile) {
  static constexpr std::uint8_t kProfiles[] = {100, 110, 122, 144, 244, 44, 83, 86};
  return std::ranges::find(kProfiles, profile) != std::end(kProfiles);
}

// scaling_list() of clause 7.3.2.1.1.1; true when the default matrix is to be used. Deltas of any size are
// taken modulo 256, as the standard's formula does for those that it allows.
bool ReadScalingList(BitstreamReader& bits, std::span<std::uint16_t> list) {
  std::uint16_t last = 8;
  std::uint16_t next = 8;
  bool useDefault = false;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (next != 0) {
      next = static_cast<std::uint16_t>((std::int64_t{last} + bits.ReadSE()) & 0xFF);
      useDefault = i == 0 && next == 0;
    }
    list[i] = next == 0 ? last : next;
    last = list[i];
  }
  return useDefault;
}

}  // namespace

bool H264HdrSeqParSet::Parse(const std::uint8_t* nal, std::int32_t size) {
  *this = H264HdrSeqParSet();
  if (size < 1) return false;
  const NalHeader header(nal[0]);
  nal_unit_type = header.type;
  if (header.type != kNalSps || header.forbiddenZeroBit) return false;
  BitstreamReader bits = PayloadReader({nal, static_cast<std::size_t>(size)});
  valid = ParseSet(bits) && !bits.IsUnderrun();
  return valid;
}

bool H264HdrSeqParSet::ParseSet(BitstreamReader& bits) {
  if (!ParseProfile(bits)) return false;
  if (StatesChromaFormat(profile_idc) && !ParseChroma(bits)) return false;
  if (!ParsePictureOrder(bits)) return false;
  ParseGeometry(bits);
  vui_parameters_present_flag = ReadFlag(bits);
  if (vui_parameters_present_flag != 0) ParseVui(bits);
  return true;
}

bool H264HdrSeqParSet::ParseProfile(BitstreamReader& bits) {
  profile_idc = ReadByte(bits);
  constraint_set0_flag = ReadFlag(bits);
  constraint_set1_flag = ReadFlag(bits);
  constraint_set2_flag = ReadFlag(bits);
  constraint_set3_flag = ReadFlag(bits);
  reserved_zero_4bits = ReadByte(bits, 4);
  if (reserved_zero_4bits != 0) return false;
  level_idc = ReadByte(bits);
  seq_parameter_set_id = bits.ReadUE();
  return seq_parameter_set_id <= kMaxId;
}

bool H264HdrSeqParSet::ParseChroma(BitstreamReader& bits) {
  chroma_format_idc = bits.ReadUE();
  if (chroma_format_idc == 3) separate_colour_plane_flag = ReadFlag(bits);
  bit_depth_luma_minus8 = bits.ReadUE();
  bit_depth_chroma_minus8 = bits.ReadUE();
  qpprime_y_zero_transform_bypass_flag = ReadFlag(bits);
  seq_scaling_matrix_present_flag = ReadFlag(bits);
  if (chroma_format_idc > kMaxChromaFormat) return false;
  if (bit_depth_chroma_minus8 > kMaxBitDepthMinus8 || bit_depth_luma_minus8 > kMaxBitDepthMinus8)
    return false;
  if (seq_scaling_matrix_present_flag != 0) ParseScalingLists(bits);
  return true;
}

void H264HdrSeqParSet::ParseScalingLists(BitstreamReader& bits) {
  const std::size_t count = chroma_format_idc == 3 ? 12 : 8;
  for (std::size_t i = 0; i < count; ++i) {
    seq_scaling_list_present_flag[i] = ReadFlag(bits);
    if (seq_scaling_list_present_flag[i] == 0) continue;
    if (i < 6) {
      use_default_scaling_matrix_4x4_flag[i] = ReadScalingList(bits, scaling_list_4x4[i]) ? 1 : 0;
    } else {
      use_default_scaling_matrix_8x8_flag[i - 6] = ReadScalingList(bits, scaling_list_8x8[i - 6]) ? 1 : 0;
    }
  }
}

bool H264HdrSeqParSet::ParsePictureOrder(BitstreamReader& bits) {
  log2_max_frame_num_minus4 = std::min(bits.ReadUE(), kMaxLog2FrameNumMinus4);
  const std::uint32_t type = bits.ReadUE();
  pic_order_cnt_type = static_cast<std::uint8_t>(type);
  if (type > kMaxPictureOrderType) return false;
  if (type == 0) log2_max_pic_order_cnt_lsb_minus4 = bits.ReadUE();
  if (type == 1) ParseReferenceFrameOffsets(bits);
  return true;
}

void H264HdrSeqParSet::ParseReferenceFrameOffsets(BitstreamReader& bits) {
  delta_pic_order_always_zero_flag = ReadFlag(bits);
  offset_for_non_ref_pic = bits.ReadSE();
  offset_for_top_to_bottom_field = bits.ReadSE();
  num_ref_frames_in_pic_order_cnt_cycle = bits.ReadUE();
  for (std::uint32_t i = 0; i < num_ref_frames_in_pic_order_cnt_cycle && !bits.IsUnderrun(); ++i) {
    const std::int32_t offset = bits.ReadSE();
    if (i < kMaxStoredRefFrameOffsets) offset_for_ref_frame[i] = offset;
  }
}

void H264HdrSeqParSet::ParseGeometry(BitstreamReader& bits) {
  num_ref_frames = bits.ReadUE();
  gaps_in_frame_num_value_allowed_flag = ReadFlag(bits);
  pic_width_in_mbs_minus1 = bits.ReadUE();
  pic_height_in_map_units_minus1 = bits.ReadUE();
  frame_mbs_only_flag = ReadFlag(bits);
  if (frame_mbs_only_flag == 0) mb_adaptive_frame_field_flag = ReadFlag(bits);
  direct_8x8_inference_flag = ReadFlag(bits);
  frame_cropping_flag = ReadFlag(bits);
  if (frame_cropping_flag == 0) return;
  frame_crop_left_offset = bits.ReadUE();
  frame_crop_right_offset = bits.ReadUE();
  frame_crop_top_offset = bits.ReadUE();
  frame_crop_bottom_offset = bits.ReadUE();
}

void H264HdrSeqParSet::ParseVui(BitstreamReader& bits) {
  aspect_ratio_info_present_flag = ReadFlag(bits);
  if (aspect_ratio_info_present_flag != 0) {
    aspect_ratio_idc = ReadByte(bits);
    if (aspect_ratio_idc == kExtendedSar) {
      sar_width = static_cast<std::uint16_t>(bits.ReadBits(16));
      sar_height = static_cast<std::uint16_t>(bits.ReadBits(16));
    }
  }
  overscan_info_present_flag = ReadFlag(bits);
  if (overscan_info_present_flag != 0) overscan_appropriate_flag = ReadFlag(bits);
  ParseVideoSignal(bits);
  ParseTiming(bits);
  nal_hrd_parameters_present_flag = ReadFlag(bits);
  if (nal_hrd_parameters_present_flag != 0) ParseHrd(bits);
  vcl_hrd_parameters_present_flag = ReadFlag(bits);
  if (vcl_hrd_parameters_present_flag != 0) ParseHrd(bits);
  const bool hrd = nal_hrd_parameters_present_flag != 0 || vcl_hrd_parameters_present_flag != 0;
  if (hrd) low_delay_hrd_flag = ReadFlag(bits);
  pic_struct_present_flag = ReadFlag(bits);
  ParseRestrictions(bits);
}

void H264HdrSeqParSet::ParseVideoSignal(BitstreamReader& bits) {
  video_signal_type_present_flag = ReadFlag(bits);
  if (video_signal_type_present_flag != 0) {
    video_format = ReadByte(bits, 3);
    video_full_range_flag = ReadFlag(bits);
    colour_description_present_flag = ReadFlag(bits);
    if (colour_description_present_flag != 0) {
      colour_primaries = ReadByte(bits);
      transfer_characteristics = ReadByte(bits);
      matrix_coefficients = ReadByte(bits);
    }
  }
  chroma_loc_info_present_flag = ReadFlag(bits);
  if (chroma_loc_info_present_flag == 0) return;
  chroma_sample_loc_type_top_field = bits.ReadUE();
  chroma_sample_loc_type_bottom_field = bits.ReadUE();
}

void H264HdrSeqParSet::ParseTiming(BitstreamReader& bits) {
  timing_info_present_flag = ReadFlag(bits);
  if (timing_info_present_flag == 0) return;
  num_units_in_tick = bits.ReadBits(16) << 16;
  num_units_in_tick |= bits.ReadBits(16);
  time_scale = bits.ReadBits(16) << 16;
  time_scale |= bits.ReadBits(16);
  fixed_frame_rate_flag = ReadFlag(bits);
}

void H264HdrSeqParSet::ParseHrd(BitstreamReader& bits) {
  const std::uint64_t entries = std::uint64_t{bits.ReadUE()} + 1;
  bits.SkipBits(4 + 4);  // bit_rate_scale, cpb_size_scale
  for (std::uint64_t i = 0; i < entries && !bits.IsUnderrun(); ++i) {
    bits.ReadUE();     // bit_rate_value_minus1
    bits.ReadUE();     // cpb_size_value_minus1
    bits.SkipBits(1);  // cbr_flag
  }
  bits.SkipBits(5);  // initial_cpb_removal_delay_length_minus1
  cpb_removal_delay_length = static_cast<std::uint8_t>(bits.ReadBits(5) + 1);
  dpb_output_delay_length = static_cast<std::uint8_t>(bits.ReadBits(5) + 1);
  bits.SkipBits(5);  // time_offset_length
}

void H264HdrSeqParSet::ParseRestrictions(BitstreamReader& bits) {
  bitstream_restriction_flag = ReadFlag(bits);
  if (bitstream_restriction_flag == 0) return;
  motion_vectors_over_pic_boundaries_flag = ReadFlag(bits);
  max_bytes_per_pic_denom = bits.ReadUE();
  max_bits_per_mb_denom = bits.ReadUE();
  log2_max_mv_length_horizontal = bits.ReadUE();
  log2_max_mv_length_vertical = bits.ReadUE();
  num_reorder_frames = bits.ReadUE();
  max_dec_frame_buffering = bits.ReadUE();
}

}  // namespace SPL_H264
