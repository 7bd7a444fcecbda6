#pragma once

#include <cstdint>

#include "streamlib/BitstreamReader.h"

namespace SPL_H264 {

/// The front of a picture parameter set, ITU-T H.264 clause 7.3.2.2, up to the flag for redundant pictures.
/// The maps of slice groups are read over.
class H264HdrPictParSet {
 public:
  static constexpr std::uint32_t kMaxId = 255;

  /// As H264HdrSeqParSet::Parse.
  bool Parse(const std::uint8_t* nal, std::int32_t size);

  bool IsValid() const { return valid; }

  bool valid = false;
  std::uint8_t nal_unit_type = 0;
  std::uint32_t pic_parameter_set_id = 0;
  std::uint32_t seq_parameter_set_id = 0;
  std::uint8_t entropy_coding_mode_flag = 0;
  std::uint8_t bottom_field_pic_order_in_frame_present_flag = 0;
  std::uint32_t num_slice_groups_minus1 = 0;
  std::uint32_t slice_group_map_type = 0;
  std::uint32_t num_ref_idx_l0_default_active_minus1 = 0;
  std::uint32_t num_ref_idx_l1_default_active_minus1 = 0;
  std::uint8_t weighted_pred_flag = 0;
  std::uint8_t weighted_bipred_idc = 0;
  std::int32_t pic_init_qp_minus26 = 0;
  std::int32_t pic_init_qs_minus26 = 0;
  std::int32_t chroma_qp_index_offset = 0;
  std::uint8_t deblocking_filter_control_present_flag = 0;
  std::uint8_t constrained_intra_pred_flag = 0;
  std::uint8_t redundant_pic_cnt_present_flag = 0;

 private:
  bool ParseSet(SPL::BitstreamReader& bits);
  bool ParseSliceGroups(SPL::BitstreamReader& bits);
};

}  // namespace SPL_H264
