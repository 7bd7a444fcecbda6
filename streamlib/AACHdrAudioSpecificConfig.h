#pragma once

#include <cstddef>
#include <cstdint>

#include "streamlib/AACHdrADTS.h"
#include "streamlib/BitstreamReader.h"

namespace SPL_AAC {

/// An AudioSpecificConfig, ISO/IEC 14496-3 clause 1.6.2.1, for the object types with a GASpecificConfig; of
/// others only the common front is read.
class AACHdrAudioSpecificConfig {
 public:
  /// Parses the `size` bytes at `config`. False when they end too early or name no sampling frequency.
  bool Parse(const std::uint8_t* config, std::int32_t size);

  bool IsValid() const { return valid; }

  bool valid = false;
  std::uint32_t audio_object_type = 0;   ///< Of the core: 2 is AAC LC.
  std::uint32_t sampling_frequency = 0;  ///< Of the core, Hz.
  std::uint32_t channel_configuration = 0;
  std::uint32_t channels = 0;  ///< By configuration or program config element; 0 when neither says.
  /// 1024, or 960 with the frame length flag; half as many of the low-delay types.
  std::uint32_t samples_per_frame = kSamplesPerBlock;
  bool sbr_present = false;                        ///< Spectral band replication is signalled.
  bool ps_present = false;                         ///< Parametric stereo is signalled.
  std::uint32_t extension_sampling_frequency = 0;  ///< With spectral band replication, Hz.

 private:
  bool ParseExtendedType(SPL::BitstreamReader& bits);
  void ParseGeneralAudio(SPL::BitstreamReader& bits);
  void ParseSyncExtension(SPL::BitstreamReader& bits);
};

/// An AudioSpecificConfig as it is written.
struct AACConfigBytes {
  static constexpr std::size_t kCapacity = 64;
  std::uint8_t bytes[kCapacity] = {};
  std::size_t size = 0;
};

/// The AudioSpecificConfig of an ADTS stream, from one frame of it: `frame` with its header, `size` bytes.
/// Where the header leaves the channels to a program config element in the frame's first block, the element
/// is part of the config, without its comment; `channels` is told in every case, 0 when the frame does not
/// say.
AACConfigBytes MakeAudioSpecificConfig(const AACHdrADTS& header, const std::uint8_t* frame, std::int32_t size,
                                       std::uint32_t& channels);

}  // namespace SPL_AAC
