#include "streamlib/AACHdrAudioSpecificConfig.h"

#include "streamlib/AACHdrProgramConfig.h"

namespace SPL_AAC {
namespace {

using SPL::BitstreamReader;

constexpr std::uint32_t kTypeSbr = 5;
constexpr std::uint32_t kTypePs = 29;
constexpr std::uint32_t kEscapedType = 31;
constexpr std::uint32_t kExplicitFrequency = 15;
constexpr std::uint32_t kProgramConfigElement = 5;
constexpr std::uint32_t kTypeLowDelay = 23;
constexpr std::uint32_t kTypeEnhancedLowDelay = 39;

std::uint32_t ReadObjectType(BitstreamReader& bits) {
  const std::uint32_t type = bits.ReadBits(5);
  return type == kEscapedType ? 32 + bits.ReadBits(6) : type;
}

std::uint32_t ReadFrequency(BitstreamReader& bits) {
  const std::uint32_t index = bits.ReadBits(4);
  return index == kExplicitFrequency ? bits.ReadBits(24) : SamplingFrequency(index);
}

// The frame length flag comes first in the config of every type: frames are a sixteenth shorter.
std::uint32_t ReadSamplesPerFrame(BitstreamReader& bits, std::uint32_t type) {
  const bool isLowDelay = type == kTypeLowDelay || type == kTypeEnhancedLowDelay;
  const std::uint32_t samples = isLowDelay ? kSamplesPerBlock / 2 : kSamplesPerBlock;
  return bits.ReadBit() ? samples - samples / 16 : samples;
}

// Types whose config goes on with fields of error resilience, which are not read.
bool IsErrorResilient(std::uint32_t type) {
  return type == 17 || (type >= 19 && type <= 23);
}

bool HasGeneralAudioConfig(std::uint32_t type) {
  return (type >= 1 && type <= 4) || type == 6 || type == 7 || IsErrorResilient(type);
}

// The byte alignment and comment that end a program config element.
void SkipComment(BitstreamReader& bits) {
  bits.SkipBits(static_cast<std::uint32_t>(bits.BitsRemaining() % 8));
  for (std::uint32_t left = bits.ReadBits(8); left > 0; --left) bits.SkipBits(8);
}

class ConfigWriter {
 public:
  explicit ConfigWriter(AACConfigBytes& out) : m_out(out) {}

  void Write(std::uint32_t value, std::uint32_t width) {
    for (; width > 0; --width) WriteBit(value >> (width - 1) & 1);
  }

  void Align() { m_bits = m_out.size * 8; }

 private:
  void WriteBit(std::uint32_t bit) {
    if (m_bits == AACConfigBytes::kCapacity * 8) return;
    std::uint8_t& byte = m_out.bytes[m_bits / 8];
    byte = static_cast<std::uint8_t>(byte | bit << (7 - m_bits % 8));
    m_out.size = m_bits / 8 + 1;
    ++m_bits;
  }

  AACConfigBytes& m_out;
  std::size_t m_bits = 0;
};

// Copies the program config element that `bits` stands in front of, as long as it is one, without comment.
std::uint32_t CopyProgramConfig(BitstreamReader bits, ConfigWriter& out) {
  BitstreamReader look = bits;
  AACHdrProgramConfig element;
  if (!element.Parse(look)) return 0;
  for (std::int32_t left = bits.BitsRemaining() - look.BitsRemaining(); left > 0; --left) {
    out.Write(bits.ReadBits(1), 1);
  }
  out.Align();
  out.Write(0, 8);  // comment_field_bytes
  return element.channels;
}

}  // namespace

bool AACHdrAudioSpecificConfig::Parse(const std::uint8_t* config, std::int32_t size) {
  *this = AACHdrAudioSpecificConfig();
  BitstreamReader bits;
  bits.Init(config, size);
  audio_object_type = ReadObjectType(bits);
  sampling_frequency = ReadFrequency(bits);
  channel_configuration = bits.ReadBits(4);
  channels = ChannelCount(channel_configuration);
  const bool extended = ParseExtendedType(bits);
  if (bits.IsUnderrun() || sampling_frequency == 0) return false;
  if (HasGeneralAudioConfig(audio_object_type)) {
    ParseGeneralAudio(bits);
    if (bits.IsUnderrun()) return false;
    if (!extended && !IsErrorResilient(audio_object_type)) ParseSyncExtension(bits);
  } else if (audio_object_type == kTypeEnhancedLowDelay) {
    samples_per_frame = ReadSamplesPerFrame(bits, audio_object_type);
    if (bits.IsUnderrun()) return false;
  }
  valid = true;
  return true;
}

// Signalling in front: the type names the extension and is followed by the extension's rate and the core's
// type.
bool AACHdrAudioSpecificConfig::ParseExtendedType(BitstreamReader& bits) {
  if (audio_object_type != kTypeSbr && audio_object_type != kTypePs) return false;
  sbr_present = true;
  ps_present = audio_object_type == kTypePs;
  extension_sampling_frequency = ReadFrequency(bits);
  audio_object_type = ReadObjectType(bits);
  return true;
}

void AACHdrAudioSpecificConfig::ParseGeneralAudio(BitstreamReader& bits) {
  constexpr std::uint32_t kTypeScalable = 6;
  samples_per_frame = ReadSamplesPerFrame(bits, audio_object_type);
  if (bits.ReadBit()) bits.SkipBits(14);  // coreCoderDelay
  const bool extension = bits.ReadBit();
  if (channel_configuration == 0) {
    AACHdrProgramConfig element;
    if (element.Parse(bits)) channels = element.channels;
    SkipComment(bits);
  }
  if (audio_object_type == kTypeScalable) bits.SkipBits(3);  // layerNr
  if (extension) bits.SkipBits(1);                           // extensionFlag3
}

// Signalling behind the core's config, which decoders without the extension do not see.
void AACHdrAudioSpecificConfig::ParseSyncExtension(BitstreamReader& bits) {
  constexpr std::uint32_t kSbrSync = 0x2B7;
  constexpr std::uint32_t kPsSync = 0x548;
  if (bits.BitsRemaining() < 16 || bits.ReadBits(11) != kSbrSync) return;
  if (ReadObjectType(bits) != kTypeSbr || !bits.ReadBit()) return;
  const std::uint32_t frequency = ReadFrequency(bits);
  if (bits.IsUnderrun()) return;
  sbr_present = true;
  extension_sampling_frequency = frequency;
  if (bits.BitsRemaining() >= 12 && bits.ReadBits(11) == kPsSync) ps_present = bits.ReadBit();
}

AACConfigBytes MakeAudioSpecificConfig(const AACHdrADTS& header, const std::uint8_t* frame, std::int32_t size,
                                       std::uint32_t& channels) {
  AACConfigBytes config;
  ConfigWriter out(config);
  out.Write(header.profile_ObjectType + 1U, 5);
  out.Write(header.sampling_frequency_index, 4);
  out.Write(header.channel_configuration, 4);
  out.Write(0, 3);  // 1024 samples, no core coder, no extension
  channels = ChannelCount(header.channel_configuration);
  const auto headerSize = static_cast<std::int32_t>(header.HeaderSize());
  if (header.channel_configuration != 0 || size <= headerSize) return config;
  BitstreamReader bits;
  bits.Init(frame + headerSize, size - headerSize);
  if (bits.ReadBits(3) == kProgramConfigElement) channels = CopyProgramConfig(bits, out);
  return config;
}

}  // namespace SPL_AAC
