#pragma once

#include <cstdint>

namespace SPL_H264 {

/// An access unit delimiter, ITU-T H.264 clause 7.3.2.4.
class H264HdrAccessUD {
 public:
  /// As H264HdrSeqParSet::Parse.
  bool Parse(const std::uint8_t* nal, std::int32_t size);

  bool IsValid() const { return valid; }

  bool valid = false;
  std::uint8_t nal_unit_type = 0;
  std::uint8_t primary_pic_type = 0;  ///< Which slice types the picture may have, table 7-5.
};

}  // namespace SPL_H264
