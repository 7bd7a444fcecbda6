#include "streamlib/AACHdrADTS.h"

#include <iterator>

#include "streamlib/BitstreamReader.h"

namespace SPL_AAC {

std::uint32_t SamplingFrequency(std::uint32_t index) {
  static constexpr std::uint32_t kFrequencies[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                                   22050, 16000, 12000, 11025, 8000,  7350};
  return index < std::size(kFrequencies) ? kFrequencies[index] : 0;
}

std::uint32_t ChannelCount(std::uint32_t channelConfiguration) {
  static constexpr std::uint32_t kChannels[] = {0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8, 0};
  return channelConfiguration < std::size(kChannels) ? kChannels[channelConfiguration] : 0;
}

bool AACHdrADTS::Parse(const std::uint8_t* frame, std::int32_t size) {
  *this = AACHdrADTS();
  SPL::BitstreamReader bits;
  bits.Init(frame, size);
  const auto read = [&](std::uint32_t width) { return static_cast<std::uint8_t>(bits.ReadBits(width)); };
  constexpr std::uint32_t kSyncWord = 0xFFF;
  if (bits.ReadBits(12) != kSyncWord) return false;
  id = read(1);
  layer = read(2);
  protection_absent = read(1);
  profile_ObjectType = read(2);
  sampling_frequency_index = read(4);
  private_bit = read(1);
  channel_configuration = read(3);
  original_copy = read(1);
  home = read(1);
  copyright_identification_bit = read(1);
  copyright_identification_start = read(1);
  frame_length = static_cast<std::uint16_t>(bits.ReadBits(13));
  adts_buffer_fullness = static_cast<std::uint16_t>(bits.ReadBits(11));
  number_of_raw_data_blocks_in_frame = read(2);
  valid = !bits.IsUnderrun() && layer == 0 && SampleRate() != 0 && frame_length >= HeaderSize();
  return valid;
}

std::uint32_t AACHdrADTS::HeaderSize() const {
  if (protection_absent != 0) return kFixedSize;
  constexpr std::uint32_t kChecksum = 2;
  const std::uint32_t positions = 2U * number_of_raw_data_blocks_in_frame;
  return kFixedSize + positions + kChecksum;
}

}  // namespace SPL_AAC
