#include "streamlib/H264HdrPictParSet.h"

#include <bit>

#include "streamlib/H264HdrSeqParSet.h"
#include "streamlib/H264NalUnit.h"

namespace SPL_H264 {
namespace {

constexpr std::uint32_t kMaxSliceGroupsMinus1 = 7;
constexpr std::uint32_t kMaxSliceGroupMapType = 6;

}  // namespace

bool H264HdrPictParSet::Parse(const std::uint8_t* nal, std::int32_t size) {
  *this = H264HdrPictParSet();
  if (size < 1) return false;
  const NalHeader header(nal[0]);
  nal_unit_type = header.type;
  if (header.type != kNalPps || header.forbiddenZeroBit) return false;
  SPL::BitstreamReader bits = PayloadReader({nal, static_cast<std::size_t>(size)});
  valid = ParseSet(bits) && !bits.IsUnderrun();
  return valid;
}

bool H264HdrPictParSet::ParseSet(SPL::BitstreamReader& bits) {
  pic_parameter_set_id = bits.ReadUE();
  seq_parameter_set_id = bits.ReadUE();
  if (pic_parameter_set_id > kMaxId || seq_parameter_set_id > H264HdrSeqParSet::kMaxId) return false;
  entropy_coding_mode_flag = ReadFlag(bits);
  bottom_field_pic_order_in_frame_present_flag = ReadFlag(bits);
  num_slice_groups_minus1 = bits.ReadUE();
  if (num_slice_groups_minus1 > kMaxSliceGroupsMinus1) return false;
  if (num_slice_groups_minus1 > 0 && !ParseSliceGroups(bits)) return false;
  num_ref_idx_l0_default_active_minus1 = bits.ReadUE();
  num_ref_idx_l1_default_active_minus1 = bits.ReadUE();
  weighted_pred_flag = ReadFlag(bits);
  weighted_bipred_idc = static_cast<std::uint8_t>(bits.ReadBits(2));
  pic_init_qp_minus26 = bits.ReadSE();
  pic_init_qs_minus26 = bits.ReadSE();
  chroma_qp_index_offset = bits.ReadSE();
  deblocking_filter_control_present_flag = ReadFlag(bits);
  constrained_intra_pred_flag = ReadFlag(bits);
  redundant_pic_cnt_present_flag = ReadFlag(bits);
  return true;
}

bool H264HdrPictParSet::ParseSliceGroups(SPL::BitstreamReader& bits) {
  slice_group_map_type = bits.ReadUE();
  if (slice_group_map_type > kMaxSliceGroupMapType) return false;
  if (slice_group_map_type == 0) {
    for (std::uint32_t i = 0; i <= num_slice_groups_minus1; ++i) bits.ReadUE();  // run_length_minus1
  } else if (slice_group_map_type == 2) {
    for (std::uint32_t i = 0; i < 2 * num_slice_groups_minus1; ++i) bits.ReadUE();  // top_left, bottom_right
  } else if (slice_group_map_type >= 3 && slice_group_map_type <= 5) {
    bits.SkipBits(1);  // slice_group_change_direction_flag
    bits.ReadUE();     // slice_group_change_rate_minus1
  } else if (slice_group_map_type == 6) {
    const auto width = static_cast<std::uint32_t>(std::bit_width(num_slice_groups_minus1));
    const std::uint64_t units = std::uint64_t{bits.ReadUE()} + 1;
    for (std::uint64_t i = 0; i < units && !bits.IsUnderrun(); ++i) bits.SkipBits(width);  // slice_group_id
  }
  return true;
}

}  // namespace SPL_H264
