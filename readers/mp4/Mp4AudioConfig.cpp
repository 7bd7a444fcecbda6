#include "readers/mp4/Mp4AudioConfig.h"

#include <bit>

#include "streamlib/AACHdrAudioSpecificConfig.h"

namespace qmf {
namespace {

using Config = std::span<const std::uint8_t>;

// ISO/IEC 14496-3. The channels of a configuration that leaves them to the stream stay the sample entry's.
void ReadAac(Config config, CMP4AudioParameters& audio) {
  SPL_AAC::AACHdrAudioSpecificConfig aac;
  if (!aac.Parse(config.data(), static_cast<std::int32_t>(config.size()))) return;
  audio.sampleRate = aac.sampling_frequency;
  audio.blockAlign = aac.samples_per_frame;
  if (aac.extension_sampling_frequency != 0) {
    audio.sampleRate = aac.extension_sampling_frequency;
    audio.blockAlign = static_cast<std::uint32_t>(std::uint64_t{aac.samples_per_frame} * audio.sampleRate /
                                                  aac.sampling_frequency);
  }
  if (aac.channels != 0) audio.channels = aac.ps_present && aac.channels == 1 ? 2 : aac.channels;
}

// Channels of an AC-3 audio coding mode, without the low-frequency one (ETSI TS 102 366, table 4.3).
constexpr std::uint8_t kAc3Channels[] = {2, 1, 2, 3, 3, 4, 4, 5};
constexpr std::uint32_t kAc3Rates[] = {48000, 44100, 32000, 0};

void SetAc3(std::uint32_t rateCode, std::uint32_t mode, bool lowFrequency, CMP4AudioParameters& audio) {
  if (kAc3Rates[rateCode] != 0) audio.sampleRate = kAc3Rates[rateCode];
  audio.channels = kAc3Channels[mode] + (lowFrequency ? 1U : 0U);
}

// ETSI TS 102 366, F.4: 'dac3'.
void ReadAc3(Config config, CMP4AudioParameters& audio) {
  static constexpr std::uint16_t kKilobits[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                192, 224, 256, 320, 384, 448, 512, 576, 640};
  if (config.size() < 3) return;
  const std::uint32_t bits = static_cast<std::uint32_t>(CMP4Fields(config).U24());
  SetAc3(bits >> 22, bits >> 11 & 7, (bits >> 10 & 1) != 0, audio);
  const std::uint32_t rate = bits >> 5 & 31;
  if (rate < std::size(kKilobits) && audio.bytesPerSecond == 0) audio.bytesPerSecond = kKilobits[rate] * 125U;
}

// Channels that dependent substreams add, by their locations: pairs and single ones (table F.6.1).
std::uint32_t ChannelsAt(std::uint32_t locations) {
  constexpr std::uint32_t kPairs = 0x73;
  constexpr std::uint32_t kSingles = 0x18C;
  return static_cast<std::uint32_t>(2 * std::popcount(locations & kPairs) +
                                    std::popcount(locations & kSingles));
}

// ETSI TS 102 366, F.6: 'dec3'; the first independent substream counts, with those that depend on it.
void ReadEnhancedAc3(Config config, CMP4AudioParameters& audio) {
  if (config.size() < 5) return;
  CMP4Fields fields(config);
  if (audio.bytesPerSecond == 0) audio.bytesPerSecond = (fields.U16() >> 3) * 125U;
  const std::uint32_t bits = CMP4Fields(config.subspan(2)).U24();
  SetAc3(bits >> 22, bits >> 9 & 7, (bits >> 8 & 1) != 0, audio);
  const bool hasDependent = (bits >> 1 & 0xF) != 0;
  if (hasDependent && config.size() > 5) audio.channels += ChannelsAt((bits & 1) << 8 | config[5]);
}

void ReadAlac(Config config, CMP4AudioParameters& audio) {
  if (config.size() < 24) return;
  CMP4Fields fields(config);
  audio.blockAlign = fields.U32();
  fields.Skip(1);
  audio.bitsPerSample = fields.U8();
  fields.Skip(3);
  audio.channels = fields.U8();
  fields.Skip(2 + 4);
  const std::uint32_t bitrate = fields.U32();
  if (audio.bytesPerSecond == 0) audio.bytesPerSecond = bitrate / 8;
  audio.sampleRate = fields.U32();
}

// Opus always decodes at 48 kHz, whatever the sample entry or the encoder's input said.
void ReadOpus(Config config, CMP4AudioParameters& audio) {
  audio.sampleRate = 48000;
  if (config.size() >= 2) audio.channels = config[1];
}

// STREAMINFO behind its block header.
void ReadFlac(Config config, CMP4AudioParameters& audio) {
  if (config.size() < 4 + 18) return;
  CMP4Fields fields(config.subspan(4));
  fields.Skip(2);
  audio.blockAlign = fields.U16();
  fields.Skip(6);
  const std::uint64_t bits = fields.U64();
  audio.sampleRate = static_cast<std::uint32_t>(bits >> 44);
  audio.channels = static_cast<std::uint32_t>(bits >> 41 & 7) + 1;
  audio.bitsPerSample = static_cast<std::uint32_t>(bits >> 36 & 31) + 1;
}

struct ConfigRow {
  FourCC type;
  void (*read)(Config, CMP4AudioParameters&);
};
constexpr ConfigRow kConfigs[] = {
    {MakeFourCC("dac3"), ReadAc3},  {MakeFourCC("dec3"), ReadEnhancedAc3}, {MakeFourCC("alac"), ReadAlac},
    {MakeFourCC("dOps"), ReadOpus}, {MakeFourCC("dfLa"), ReadFlac},
};

bool IsAac(const CMP4AudioCodec& codec) {
  return codec.tag == 0x00FF;
}

// Samples of the first frame by the sample times; good for codings of one frame length.
std::uint32_t FirstFrameLength(const CMP4TrackContext& context, std::uint32_t sampleRate) {
  CMP4TableWindow times(context.track.sampleTable.timeToSample, context.memory);
  CMP4Fields row = times.Entry(0);
  row.Skip(4);
  const std::uint64_t ticks = row.U32();
  const std::uint64_t samples = ticks * sampleRate / context.track.mediaTimescale;
  return samples > UINT16_MAX ? 0 : static_cast<std::uint32_t>(samples);
}

std::uint32_t AverageBitrate(const CMP4SampleDescription& description) {
  const std::uint32_t ofStream = description.elementaryStream.avgBitrate;
  return ofStream != 0 ? ofStream : description.bitrate;
}

CMP4AudioParameters EntryParameters(const CMP4SampleDescription& description, const CMP4AudioCodec& codec) {
  CMP4AudioParameters audio;
  audio.channels = description.channels;
  audio.sampleRate = description.sampleRate;
  audio.bitsPerSample = codec.bitsPerSample != 0 ? codec.bitsPerSample : description.bitsPerSample;
  audio.bytesPerSecond = AverageBitrate(description) / 8;
  audio.blockAlign = codec.IsPcm() ? PcmFrameBytes(description) : codec.samplesPerFrame;
  return audio;
}

}  // namespace

CMP4AudioParameters AudioParametersOf(const CMP4TrackContext& context, const CMP4AudioCodec& codec,
                                      std::span<const std::uint8_t> config) {
  const CMP4SampleDescription& description = context.track.sampleTable.description;
  CMP4AudioParameters audio = EntryParameters(description, codec);
  if (description.config.type == MakeFourCC("esds") && IsAac(codec)) ReadAac(config, audio);
  for (const ConfigRow& row : kConfigs) {
    if (row.type == description.config.type) row.read(config, audio);
  }
  // 16.16 bits cannot say 96 kHz; the media's clock then runs at the sampling rate.
  if (audio.sampleRate == 0) audio.sampleRate = context.track.mediaTimescale;
  if (codec.IsPcm()) {
    const std::uint64_t rate = std::uint64_t{audio.sampleRate} * audio.blockAlign;
    audio.bytesPerSecond = rate > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(rate);
  } else if (audio.blockAlign == 0) {
    audio.blockAlign = FirstFrameLength(context, audio.sampleRate);
  }
  return audio;
}

}  // namespace qmf
