#pragma once

#include <cstdint>

#include "streamlib/H264Stream.h"

namespace SPL_H264 {

/// The front of a slice header, ITU-T H.264 clause 7.3.3: what tells one picture from the next and what type
/// it has.
class H264HdrSlice {
 public:
  /// Parses the slice (unit types 1, 2 and 5) whose `size` bytes begin with the NAL header byte. False, too,
  /// when the parameter sets that it names have not come; the first three fields are there even then.
  bool Parse(const std::uint8_t* nal, std::int32_t size, const H264Stream& stream);

  bool IsValid() const { return valid; }
  bool IsIdr() const;
  /// Whether this slice of a primary picture belongs to another picture than the one before it, clause
  /// 7.4.1.2.4. Where one of the two could not be parsed in full, a slice at the first macroblock does.
  bool StartsPictureAfter(const H264HdrSlice& previous) const;

  bool valid = false;
  std::uint8_t nal_ref_idc = 0;
  std::uint8_t nal_unit_type = 0;
  std::uint32_t first_mb_in_slice = 0;
  std::uint32_t slice_type =
      0;  ///< 0 P, 1 B, 2 I, 3 SP, 4 SI; 5 to 9 the same for all slices of the picture.
  std::uint32_t pic_parameter_set_id = 0;
  std::uint8_t colour_plane_id = 0;
  std::uint32_t frame_num = 0;
  std::uint8_t field_pic_flag = 0;
  std::uint8_t bottom_field_flag = 0;
  std::uint32_t idr_pic_id = 0;
  std::uint32_t pic_order_cnt_lsb = 0;
  std::int32_t delta_pic_order_cnt_bottom = 0;
  std::int32_t delta_pic_order_cnt[2] = {};
  std::uint32_t redundant_pic_cnt = 0;

 private:
  bool ParseSlice(SPL::BitstreamReader& bits, const H264Stream& stream);
  void ParsePictureOrder(SPL::BitstreamReader& bits, const H264Stream::Sequence& sequence, bool inFrame);
};

}  // namespace SPL_H264
