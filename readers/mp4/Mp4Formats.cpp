#include "readers/mp4/Mp4Formats.h"

#include <algorithm>
#include <cstring>

#include "readers/mp4/Mp4AudioConfig.h"
#include "readers/mp4/Mp4CodecTable.h"
#include "readers/mp4/Mp4Timing.h"
#include "streamlib/AvcConfiguration.h"
#include "streamlib/H264HdrSeqParSet.h"

namespace qmf {
namespace {

constexpr std::uint8_t kVideoKind = 0x01;
constexpr std::uint8_t kAudioKind = 0x11;
constexpr std::uint8_t kSubtitleKind = 0x21;
constexpr std::uint32_t kDefaultBitCount = 24;
constexpr std::size_t kProfile = 1;  // Place of AVCProfileIndication in the configuration.

// The SPS has the last word on size where it disagrees with the sample entry: decoders go by it. One of
// another profile than the configuration declares is not believed. Its cropping is reckoned in units of two
// pixels, which holds for 4:2:0 only.
void CheckAgainstSps(const CMP4TrackContext& context, QMFVideoFormat& format) {
  if (context.track.sampleTable.description.config.type != MakeFourCC("avcC")) return;
  const auto config = ReadCodecConfig(context);
  const auto unit = SPL::FirstSequenceParameterSet(config);
  SPL_H264::H264HdrSeqParSet sps;
  if (unit.empty() || !sps.Parse(unit.data(), static_cast<std::int32_t>(unit.size()))) return;
  if (config[kProfile] != sps.profile_idc) return;
  format.interlaced = sps.frame_mbs_only_flag == 0 ? 1 : 0;
  if (sps.chroma_format_idc != 1) return;
  const std::uint64_t fields = sps.frame_mbs_only_flag == 0 ? 2 : 1;
  const std::uint64_t width = (std::uint64_t{sps.pic_width_in_mbs_minus1} + 1) * 16;
  const std::uint64_t height = (std::uint64_t{sps.pic_height_in_map_units_minus1} + 1) * 16;
  const std::uint64_t cutX = (std::uint64_t{sps.frame_crop_left_offset} + sps.frame_crop_right_offset) * 2;
  const std::uint64_t cutY = (std::uint64_t{sps.frame_crop_top_offset} + sps.frame_crop_bottom_offset) * 2;
  constexpr std::uint64_t kMostPixels = 65536;
  if (cutX >= width || cutY >= height || width > kMostPixels || height > kMostPixels) return;
  format.width = static_cast<std::uint32_t>(width - cutX);
  format.height = static_cast<std::uint32_t>((height - cutY) * fields);
}

std::uint32_t Scaled(std::uint32_t side, std::uint32_t by, std::uint32_t over) {
  const std::uint64_t scaled = (std::uint64_t{side} * by * 2 + over) / (std::uint64_t{over} * 2);
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(scaled, UINT32_MAX));
}

// One side is kept, the other grows: the picture loses no pixels.
void SetDisplaySize(const CMP4TrackAtom& track, QMFVideoFormat& format) {
  const std::uint32_t across = track.sampleTable.description.pixelAspectWidth;
  const std::uint32_t down = track.sampleTable.description.pixelAspectHeight;
  format.displayWidth = format.width;
  format.displayHeight = format.height;
  if (across != 0 && down != 0) {
    if (across > down) {
      format.displayWidth = Scaled(format.width, across, down);
    } else {
      format.displayHeight = Scaled(format.height, down, across);
    }
  } else if (track.displayWidth != 0 && track.displayHeight != 0) {
    format.displayWidth = track.displayWidth;
    format.displayHeight = track.displayHeight;
  }
}

std::uint16_t To16Bits(std::uint32_t value) {
  return static_cast<std::uint16_t>(std::min<std::uint32_t>(value, UINT16_MAX));
}

}  // namespace

std::pmr::vector<std::uint8_t> ReadCodecConfig(const CMP4TrackContext& context) {
  const CMP4CodecConfig& config = context.track.sampleTable.description.config;
  std::pmr::vector<std::uint8_t> bytes(context.memory);
  if (config.IsKept()) {
    bytes.assign(config.front.begin(), config.front.begin() + static_cast<std::ptrdiff_t>(config.size));
    return bytes;
  }
  bytes.resize(config.size);
  bytes.resize(context.movie.file->ReadAt(config.begin, bytes.data(), bytes.size()));
  return bytes;
}

QMFVideoFormat VideoFormatOf(const CMP4TrackContext& context) {
  const FileReader::Limit limit = kVideoFormatBudget.For(context.file);
  const CMP4SampleDescription& description = context.track.sampleTable.description;
  QMFVideoFormat format{};
  format.kind = kVideoKind;
  const Fraction rate = AverageRate(context.file, context.movie, context.track, context.memory);
  format.rate = rate.numerator;
  format.scale = rate.denominator;
  format.width = description.width;
  format.height = description.height;
  format.bitCount = description.depth != 0 ? description.depth : kDefaultBitCount;
  format.handler = format.compression = VideoCodecOf(description).code;
  format.interlaced = description.interlaced ? 1 : 0;
  CheckAgainstSps(context, format);
  format.imageSize =
      static_cast<std::uint32_t>(std::uint64_t{format.bitCount} * format.width * format.height / 8);
  SetDisplaySize(context.track, format);
  return format;
}

QMFAudioFormat AudioFormatOf(const CMP4TrackContext& context) {
  const FileReader::Limit limit = kAudioFormatBudget.For(context.file);
  const CMP4SampleDescription& description = context.track.sampleTable.description;
  const CMP4AudioCodec codec = AudioCodecOf(description);
  const auto config = ReadCodecConfig(context);
  const CMP4AudioParameters audio = AudioParametersOf(context, codec, config);
  QMFAudioFormat format{};
  format.kind = kAudioKind;
  format.formatTag = codec.tag;
  format.channels = To16Bits(audio.channels);
  format.samplesPerSec = audio.sampleRate;
  format.avgBytesPerSec = audio.bytesPerSecond;
  format.blockAlign = To16Bits(audio.blockAlign);
  format.bitsPerSample = To16Bits(audio.bitsPerSample);
  format.extraSize = To16Bits(static_cast<std::uint32_t>(config.size()));
  const std::size_t copied = std::min(config.size(), sizeof(format.extra));
  if (copied > 0) std::memcpy(format.extra, config.data(), copied);
  return format;
}

QMFSubtitleFormat SubtitleFormatOf(const CMP4TrackContext& context) {
  QMFSubtitleFormat format{};
  format.kind = kSubtitleKind;
  format.rate = context.track.mediaTimescale;
  format.scale = 1;
  format.width = context.track.displayWidth;
  format.height = context.track.displayHeight;
  format.handler = format.compression = context.track.sampleTable.description.format;
  return format;
}

}  // namespace qmf
