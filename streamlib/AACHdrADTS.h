#pragma once

#include <cstddef>
#include <cstdint>

namespace SPL_AAC {

/// Samples a second of a sampling frequency index (ISO/IEC 14496-3 table 1.18), 0 for those without one.
std::uint32_t SamplingFrequency(std::uint32_t index);

/// Output channels of a channel configuration (ISO/IEC 14496-3 table 1.19), 0 where a program config element
/// states them or the configuration is reserved.
std::uint32_t ChannelCount(std::uint32_t channelConfiguration);

/// Samples a channel that one raw data block carries.
inline constexpr std::uint32_t kSamplesPerBlock = 1024;

/// The header of an ADTS frame, ISO/IEC 13818-7 clause 6.2 and ISO/IEC 14496-3 clause 1.A.2.2.
class AACHdrADTS {
 public:
  static constexpr std::int32_t kFixedSize = 7;

  /// Parses the header at `frame`. True when its sync word, layer and sampling frequency are sound and its
  /// frame length has room for the header. `size` is what is there, at least kFixedSize for success.
  bool Parse(const std::uint8_t* frame, std::int32_t size);

  bool IsValid() const { return valid; }

  /// Bytes in front of the first raw data block: 7, more with a checksum.
  std::uint32_t HeaderSize() const;
  /// Samples a second.
  std::uint32_t SampleRate() const { return SamplingFrequency(sampling_frequency_index); }
  /// Samples a channel that the frame carries: 1024 for each raw data block.
  std::uint32_t SampleCount() const { return kSamplesPerBlock * (number_of_raw_data_blocks_in_frame + 1U); }

  bool valid = false;
  std::uint8_t id = 0;  ///< 0 MPEG-4, 1 MPEG-2.
  std::uint8_t layer = 0;
  std::uint8_t protection_absent = 0;
  std::uint8_t profile_ObjectType = 0;  ///< Audio object type minus 1.
  std::uint8_t sampling_frequency_index = 0;
  std::uint8_t private_bit = 0;
  std::uint8_t channel_configuration = 0;
  std::uint8_t original_copy = 0;
  std::uint8_t home = 0;
  std::uint8_t copyright_identification_bit = 0;
  std::uint8_t copyright_identification_start = 0;
  std::uint16_t frame_length = 0;  ///< Bytes, header included.
  std::uint16_t adts_buffer_fullness = 0;
  std::uint8_t number_of_raw_data_blocks_in_frame = 0;  ///< Less one.
};

}  // namespace SPL_AAC
