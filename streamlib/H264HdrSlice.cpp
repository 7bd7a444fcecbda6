#include "streamlib/H264HdrSlice.h"

#include <tuple>

#include "streamlib/H264NalUnit.h"

namespace SPL_H264 {
namespace {

constexpr std::uint32_t kMaxSliceType = 9;

}  // namespace

bool H264HdrSlice::Parse(const std::uint8_t* nal, std::int32_t size, const H264Stream& stream) {
  *this = H264HdrSlice();
  if (size < 1) return false;
  const NalHeader header(nal[0]);
  nal_ref_idc = header.refIdc;
  nal_unit_type = header.type;
  if (!IsSlice(header.type) || header.forbiddenZeroBit) return false;
  SPL::BitstreamReader bits = PayloadReader({nal, static_cast<std::size_t>(size)});
  valid = ParseSlice(bits, stream) && !bits.IsUnderrun();
  return valid;
}

bool H264HdrSlice::ParseSlice(SPL::BitstreamReader& bits, const H264Stream& stream) {
  first_mb_in_slice = bits.ReadUE();
  slice_type = bits.ReadUE();
  pic_parameter_set_id = bits.ReadUE();
  if (slice_type > kMaxSliceType) return false;
  const H264Stream::Picture* const picture = stream.FindPicture(pic_parameter_set_id);
  if (picture == nullptr) return false;
  const H264Stream::Sequence* const sequence = stream.FindSequence(picture->sequenceId);
  if (sequence == nullptr) return false;
  if (sequence->separateColourPlanes) colour_plane_id = static_cast<std::uint8_t>(bits.ReadBits(2));
  frame_num = bits.ReadBits(sequence->frameNumBits);
  if (!sequence->frameMbsOnly) field_pic_flag = ReadFlag(bits);
  if (field_pic_flag != 0) bottom_field_flag = ReadFlag(bits);
  if (IsIdr()) idr_pic_id = bits.ReadUE();
  ParsePictureOrder(bits, *sequence, picture->picOrderInFramePresent && field_pic_flag == 0);
  if (picture->redundantCountPresent) redundant_pic_cnt = bits.ReadUE();
  return true;
}

void H264HdrSlice::ParsePictureOrder(SPL::BitstreamReader& bits, const H264Stream::Sequence& sequence,
                                     bool inFrame) {
  if (sequence.picOrderType == 0) {
    pic_order_cnt_lsb = bits.ReadBits(sequence.picOrderLsbBits);
    if (inFrame) delta_pic_order_cnt_bottom = bits.ReadSE();
  } else if (sequence.picOrderType == 1 && !sequence.deltaPicOrderAlwaysZero) {
    delta_pic_order_cnt[0] = bits.ReadSE();
    if (inFrame) delta_pic_order_cnt[1] = bits.ReadSE();
  }
}

bool H264HdrSlice::IsIdr() const {
  return nal_unit_type == kNalIdrSlice;
}

bool H264HdrSlice::StartsPictureAfter(const H264HdrSlice& previous) const {
  if (!valid || !previous.valid) return first_mb_in_slice == 0;
  // Members that the stream's syntax leaves out are 0 in both.
  const auto identity = [](const H264HdrSlice& s) {
    return std::tuple(s.frame_num, s.pic_parameter_set_id, s.field_pic_flag, s.bottom_field_flag,
                      s.nal_ref_idc != 0, s.IsIdr(), s.idr_pic_id, s.pic_order_cnt_lsb,
                      s.delta_pic_order_cnt_bottom, s.delta_pic_order_cnt[0], s.delta_pic_order_cnt[1]);
  };
  return identity(*this) != identity(previous);
}

}  // namespace SPL_H264
