#pragma once

#include <cstdint>

namespace SPL_H264 {

/// Filler data, ITU-T H.264 clause 7.3.2.7: bytes of ones that keep a constant bit rate.
class H264HdrFiller {
 public:
  /// As H264HdrSeqParSet::Parse; true when nothing but filler and trailing bits follow the header.
  bool Parse(const std::uint8_t* nal, std::int32_t size);

  bool IsValid() const { return valid; }

  bool valid = false;
  std::uint8_t nal_unit_type = 0;
  std::uint32_t filler_bytes = 0;
};

}  // namespace SPL_H264
