#include "streamlib/AACHdrProgramConfig.h"

namespace SPL_AAC {

bool AACHdrProgramConfig::Parse(SPL::BitstreamReader& bits) {
  *this = AACHdrProgramConfig();
  element_instance_tag = static_cast<std::uint8_t>(bits.ReadBits(4));
  object_type = static_cast<std::uint8_t>(bits.ReadBits(2));
  sampling_frequency_index = static_cast<std::uint8_t>(bits.ReadBits(4));
  const std::uint32_t front = bits.ReadBits(4);
  const std::uint32_t side = bits.ReadBits(4);
  const std::uint32_t back = bits.ReadBits(4);
  const std::uint32_t lowFrequency = bits.ReadBits(2);
  const std::uint32_t data = bits.ReadBits(3);
  const std::uint32_t coupling = bits.ReadBits(4);
  if (bits.ReadBit()) bits.SkipBits(4);  // mono_mixdown_element_number
  if (bits.ReadBit()) bits.SkipBits(4);  // stereo_mixdown_element_number
  if (bits.ReadBit()) bits.SkipBits(3);  // matrix_mixdown_idx, pseudo_surround_enable
  ParseElements(bits, front + side + back);
  channels += lowFrequency;
  for (std::uint32_t i = 0; i < lowFrequency + data; ++i) bits.SkipBits(4);
  for (std::uint32_t i = 0; i < coupling; ++i) bits.SkipBits(5);
  valid = !bits.IsUnderrun();
  return valid;
}

// A single channel, or a pair, and the element's tag.
void AACHdrProgramConfig::ParseElements(SPL::BitstreamReader& bits, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    channels += bits.ReadBit() ? 2U : 1U;
    bits.SkipBits(4);
  }
}

}  // namespace SPL_AAC
