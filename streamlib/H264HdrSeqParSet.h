#pragma once

#include <cstdint>

#include "streamlib/BitstreamReader.h"

namespace SPL_H264 {

/// A sequence parameter set, ITU-T H.264 clauses 7.3.2.1.1 and E.1.1. Members carry the names of the
/// standard's syntax elements; what a set does not contain is 0.
class H264HdrSeqParSet {
 public:
  static constexpr std::uint32_t kMaxId = 31;
  static constexpr std::uint32_t kMaxStoredRefFrameOffsets = 128;

  /// Parses the `size` bytes at `nal`, which begin with the NAL header byte. True when the set is sound and
  /// complete up to its last field; trailing bits are not looked at. A failed parse leaves what was read
  /// until then, and IsValid() false.
  bool Parse(const std::uint8_t* nal, std::int32_t size);

  bool IsValid() const { return valid; }

  bool operator==(const H264HdrSeqParSet&) const = default;

  bool valid = false;
  std::uint8_t nal_unit_type = 0;
  std::uint8_t profile_idc = 0;
  std::uint8_t constraint_set0_flag = 0;
  std::uint8_t constraint_set1_flag = 0;
  std::uint8_t constraint_set2_flag = 0;
  std::uint8_t constraint_set3_flag = 0;
  std::uint8_t reserved_zero_4bits = 0;
  std::uint8_t level_idc = 0;
  std::uint32_t seq_parameter_set_id = 0;

  std::uint32_t log2_max_frame_num_minus4 = 0;  ///< At most 28: larger values are stored as 28.
  std::uint8_t pic_order_cnt_type = 0;
  std::uint32_t log2_max_pic_order_cnt_lsb_minus4 = 0;
  std::uint8_t delta_pic_order_always_zero_flag = 0;
  std::int32_t offset_for_non_ref_pic = 0;
  std::int32_t offset_for_top_to_bottom_field = 0;
  std::uint32_t num_ref_frames_in_pic_order_cnt_cycle = 0;
  std::int32_t offset_for_ref_frame[kMaxStoredRefFrameOffsets] = {};  ///< Further ones are dropped.

  std::uint32_t num_ref_frames = 0;
  std::uint8_t gaps_in_frame_num_value_allowed_flag = 0;
  std::uint32_t pic_width_in_mbs_minus1 = 0;
  std::uint32_t pic_height_in_map_units_minus1 = 0;
  std::uint8_t frame_mbs_only_flag = 0;
  std::uint8_t mb_adaptive_frame_field_flag = 0;
  std::uint8_t direct_8x8_inference_flag = 0;
  std::uint8_t frame_cropping_flag = 0;
  std::uint32_t frame_crop_left_offset = 0;
  std::uint32_t frame_crop_right_offset = 0;
  std::uint32_t frame_crop_top_offset = 0;
  std::uint32_t frame_crop_bottom_offset = 0;
  std::uint8_t vui_parameters_present_flag = 0;

  std::uint32_t chroma_format_idc = 1;  ///< 1 (4:2:0) in profiles that do not state it.
  std::uint32_t bit_depth_luma_minus8 = 0;
  std::uint32_t bit_depth_chroma_minus8 = 0;
  std::uint8_t qpprime_y_zero_transform_bypass_flag = 0;
  std::uint8_t separate_colour_plane_flag = 0;
  std::uint8_t seq_scaling_matrix_present_flag = 0;
  std::uint8_t seq_scaling_list_present_flag[12] = {};
  std::uint16_t scaling_list_4x4[6][16] = {};  ///< In zigzag order.
  std::uint16_t scaling_list_8x8[6][64] = {};
  std::uint8_t use_default_scaling_matrix_4x4_flag[6] = {};
  std::uint8_t use_default_scaling_matrix_8x8_flag[6] = {};

  std::uint8_t aspect_ratio_info_present_flag = 0;
  std::uint8_t aspect_ratio_idc = 0;
  std::uint16_t sar_width = 0;
  std::uint16_t sar_height = 0;
  std::uint8_t overscan_info_present_flag = 0;
  std::uint8_t overscan_appropriate_flag = 0;
  std::uint8_t video_signal_type_present_flag = 0;
  std::uint8_t video_format = 0;
  std::uint8_t video_full_range_flag = 0;
  std::uint8_t colour_description_present_flag = 0;
  std::uint8_t colour_primaries = 0;
  std::uint8_t transfer_characteristics = 0;
  std::uint8_t matrix_coefficients = 0;
  std::uint8_t chroma_loc_info_present_flag = 0;
  std::uint32_t chroma_sample_loc_type_top_field = 0;
  std::uint32_t chroma_sample_loc_type_bottom_field = 0;
  std::uint8_t timing_info_present_flag = 0;
  std::uint32_t num_units_in_tick = 0;
  std::uint32_t time_scale = 0;
  std::uint8_t fixed_frame_rate_flag = 0;
  std::uint8_t nal_hrd_parameters_present_flag = 0;
  std::uint8_t vcl_hrd_parameters_present_flag = 0;
  std::uint8_t low_delay_hrd_flag = 0;
  std::uint8_t pic_struct_present_flag = 0;
  std::uint8_t bitstream_restriction_flag = 0;
  std::uint8_t motion_vectors_over_pic_boundaries_flag = 0;
  std::uint32_t max_bytes_per_pic_denom = 0;
  std::uint32_t max_bits_per_mb_denom = 0;
  std::uint32_t log2_max_mv_length_horizontal = 0;
  std::uint32_t log2_max_mv_length_vertical = 0;
  std::uint32_t num_reorder_frames = 0;
  std::uint32_t max_dec_frame_buffering = 0;

  /// Widths, in bits, of two fields of picture timing messages: all that is kept of the HRD parameters.
  std::uint8_t cpb_removal_delay_length = 0;
  std::uint8_t dpb_output_delay_length = 0;

 private:
  bool ParseSet(SPL::BitstreamReader& bits);
  bool ParseProfile(SPL::BitstreamReader& bits);
  bool ParseChroma(SPL::BitstreamReader& bits);
  void ParseScalingLists(SPL::BitstreamReader& bits);
  bool ParsePictureOrder(SPL::BitstreamReader& bits);
  void ParseReferenceFrameOffsets(SPL::BitstreamReader& bits);
  void ParseGeometry(SPL::BitstreamReader& bits);
  void ParseVui(SPL::BitstreamReader& bits);
  void ParseVideoSignal(SPL::BitstreamReader& bits);
  void ParseTiming(SPL::BitstreamReader& bits);
  void ParseHrd(SPL::BitstreamReader& bits);
  void ParseRestrictions(SPL::BitstreamReader& bits);
};

}  // namespace SPL_H264
