#pragma once

#include <cstdint>

#include "streamlib/BitstreamReader.h"

namespace SPL_AAC {

/// A program config element, ISO/IEC 14496-3 clause 4.4.1.1, up to its alignment and comment: the layout of
/// channels that no channel configuration names.
class AACHdrProgramConfig {
 public:
  /// Reads the element behind its 3-bit identifier. False when the bits end too early.
  bool Parse(SPL::BitstreamReader& bits);

  bool IsValid() const { return valid; }

  bool valid = false;
  std::uint8_t element_instance_tag = 0;
  std::uint8_t object_type = 0;
  std::uint8_t sampling_frequency_index = 0;
  std::uint32_t channels = 0;  ///< Of the front, side, back and low-frequency elements together.

 private:
  void ParseElements(SPL::BitstreamReader& bits, std::uint32_t count);
};

}  // namespace SPL_AAC
