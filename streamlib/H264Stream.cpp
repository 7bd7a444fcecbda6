#include "streamlib/H264Stream.h"

#include <algorithm>

namespace SPL_H264 {

void H264Stream::Keep(const H264HdrSeqParSet& sps) {
  m_sequences[sps.seq_parameter_set_id] = {
      .known = true,
      .separateColourPlanes = sps.separate_colour_plane_flag != 0,
      .frameMbsOnly = sps.frame_mbs_only_flag != 0,
      .deltaPicOrderAlwaysZero = sps.delta_pic_order_always_zero_flag != 0,
      .delaysPresent = sps.nal_hrd_parameters_present_flag != 0 || sps.vcl_hrd_parameters_present_flag != 0,
      .picStructPresent = sps.pic_struct_present_flag != 0,
      .frameNumBits = static_cast<std::uint8_t>(sps.log2_max_frame_num_minus4 + 4),
      .picOrderType = sps.pic_order_cnt_type,
      .picOrderLsbBits =
          static_cast<std::uint8_t>(std::min<std::uint32_t>(sps.log2_max_pic_order_cnt_lsb_minus4, 28) + 4),
      .cpbRemovalDelayBits = sps.cpb_removal_delay_length,
      .dpbOutputDelayBits = sps.dpb_output_delay_length,
  };
  if (ActiveSequence() == nullptr) m_activeSequence = sps.seq_parameter_set_id;
}

void H264Stream::Keep(const H264HdrPictParSet& pps) {
  m_pictures[pps.pic_parameter_set_id] = {
      .known = true,
      .picOrderInFramePresent = pps.bottom_field_pic_order_in_frame_present_flag != 0,
      .redundantCountPresent = pps.redundant_pic_cnt_present_flag != 0,
      .sequenceId = static_cast<std::uint8_t>(pps.seq_parameter_set_id),
  };
}

void H264Stream::Activate(std::uint32_t pictureId) {
  if (const Picture* const picture = FindPicture(pictureId)) m_activeSequence = picture->sequenceId;
}

const H264Stream::Picture* H264Stream::FindPicture(std::uint32_t id) const {
  return id < m_pictures.size() && m_pictures[id].known ? &m_pictures[id] : nullptr;
}

const H264Stream::Sequence* H264Stream::FindSequence(std::uint32_t id) const {
  return id < m_sequences.size() && m_sequences[id].known ? &m_sequences[id] : nullptr;
}

}  // namespace SPL_H264
