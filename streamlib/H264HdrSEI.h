#pragma once

#include <cstdint>

#include "streamlib/H264Stream.h"

namespace SPL_H264 {

/// The supplemental enhancement information of one unit, ITU-T H.264 annex D: whether decoding can start here
/// and how the picture is timed. Other messages are passed over.
class H264HdrSEI {
 public:
  /// As H264HdrSlice::Parse; true when at least one message was complete. Picture timing is read only once
  /// its sequence parameter set has come.
  bool Parse(const std::uint8_t* nal, std::int32_t size, const H264Stream& stream);

  bool IsValid() const { return valid; }

  bool valid = false;
  std::uint8_t nal_unit_type = 0;

  bool recovery_point_present = false;
  std::uint32_t recovery_frame_cnt = 0;
  std::uint8_t exact_match_flag = 0;
  std::uint8_t broken_link_flag = 0;
  std::uint8_t changing_slice_group_idc = 0;

  bool pic_timing_present = false;
  std::uint32_t cpb_removal_delay = 0;
  std::uint32_t dpb_output_delay = 0;
  std::uint8_t pic_struct = 0;  ///< 0 when the sequence does not state it: a frame.

 private:
  bool ParseMessage(SPL::BitstreamReader& bits, const H264Stream& stream);
  void ParseRecoveryPoint(SPL::BitstreamReader& bits);
  void ParsePictureTiming(SPL::BitstreamReader& bits, const H264Stream::Sequence& sequence);
};

}  // namespace SPL_H264
