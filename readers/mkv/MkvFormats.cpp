#include "readers/mkv/MkvFormats.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "framework/ByteOrder.h"
#include "framework/ReturnIf.h"
#include "readers/mkv/CodecTable.h"

namespace qmf {
namespace {

constexpr std::uint8_t kAudioKind = 0x11;
constexpr std::uint8_t kSubtitleKind = 0x21;
constexpr std::uint32_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::uint32_t kVideoBits = 24;
constexpr std::size_t kWaveFormatSize = 18;
constexpr std::size_t kLargestCopiedPrivate = 21;

// A record with its padding cleared too: all of its bytes reach the caller.
template <class Format>
void Clear(Format& format) {
  std::memset(&format, 0, sizeof(format));
}

// The header at the start of codec private data; what is missing of it reads as zeros.
template <std::size_t size>
std::array<std::uint8_t, size> PrivateHeader(const MkvTrack& track) {
  std::array<std::uint8_t, size> header{};
  std::copy_n(track.codecPrivate.begin(), std::min(size, track.codecPrivate.size()), header.begin());
  return header;
}

void FillVfw(const MkvTrack& track, QMFVideoFormat& format) {
  if (track.codecPrivate.empty()) {
    format.compression = MakeFourCC("QX50");
    return;
  }
  const auto bitmapInfoHeader = PrivateHeader<40>(track);
  format.bitCount = LoadLE16(&bitmapInfoHeader[14]);
  format.compression = LoadLE32(&bitmapInfoHeader[16]);
  format.handler = format.compression;
}

bool IsKnownAvcProfile(std::uint8_t profile) {
  constexpr std::uint8_t kProfiles[] = {66, 77, 88, 100, 110, 122, 144};
  return std::ranges::find(kProfiles, profile) != std::end(kProfiles);
}

QMFResult FillAvc(const MkvTrack& track, QMFVideoFormat& format) {
  if (!track.codecPrivate.empty()) {
    if (!IsKnownAvcProfile(PrivateHeader<2>(track)[1])) return QMF_FAILURE;
    format.bitCount = kVideoBits;
  }
  format.handler = format.compression = MakeFourCC("H264");
  return QMF_OK;
}

// What follows from the codec alone. Any other codec than these leaves the record as it is.
QMFResult FillCodec(const MkvTrack& track, QMFVideoFormat& format) {
  switch (track.codecIndex) {
    case kCodecVfwFourCC:
      FillVfw(track, format);
      return QMF_OK;
    case kCodecMpeg4Asp:
      format.handler = MakeFourCC("QIVO");
      format.compression = MakeFourCC("QX50");
      format.bitCount = kVideoBits;
      return QMF_OK;
    case kCodecMpeg2:
      format.handler = format.compression = MakeFourCC("MPG2");
      format.bitCount = kVideoBits;
      return QMF_OK;
    case kCodecAvc:
      return FillAvc(track, format);
    default:
      return QMF_OK;
  }
}

// In bytes for two of the codecs, by signed division; in bits for the others, which callers reckon with.
std::uint32_t ImageSize(std::uint32_t codecIndex, const QMFVideoFormat& format) {
  const std::uint32_t bits = format.bitCount * format.width * format.height;
  if (codecIndex != kCodecVfwFourCC && codecIndex != kCodecAvc) return bits;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(bits) / 8);
}

bool HasPicture(std::uint32_t codecIndex) {
  return codecIndex == kCodecVfwFourCC || codecIndex == kCodecMpeg4Asp || codecIndex == kCodecAvc ||
         codecIndex == kCodecMpeg2;
}

QMFResult FillPicture(const MkvTrack& track, QMFVideoFormat& format) {
  if (!track.pixelWidth || !track.pixelHeight) return QMF_FAILURE;
  format.width = *track.pixelWidth;
  format.height = *track.pixelHeight;
  format.interlaced = track.interlaced ? 1 : 0;
  format.displayWidth = track.displayWidth.value_or(0);
  format.displayHeight = track.displayHeight.value_or(0);
  format.imageSize = ImageSize(track.codecIndex, format);
  return QMF_OK;
}

template <class Format>
void FillRate(const MkvTrack& track, Format& format) {
  format.rate = track.defaultDuration != 0 ? kNanosecondsPerSecond : 0;
  format.scale = track.defaultDuration != 0 ? static_cast<std::uint32_t>(track.defaultDuration) : 1;
  if (track.combineFields && track.fieldsCombinable) format.scale *= 2;
}

const MkvTrack* FindTrack(const MkvSegment& segment, MkvTrackType type, std::uint32_t index) {
  const auto& tracks = segment.tracks.Of(type);
  return segment.info && index < tracks.size() ? &tracks[index] : nullptr;
}

void FillFromWaveFormat(const MkvTrack& track, QMFAudioFormat& format) {
  const auto header = PrivateHeader<kWaveFormatSize>(track);
  format.formatTag = LoadLE16(&header[0]);
  format.channels = LoadLE16(&header[2]);
  format.samplesPerSec = LoadLE32(&header[4]);
  format.avgBytesPerSec = LoadLE32(&header[8]);
  format.blockAlign = LoadLE16(&header[12]);
  format.bitsPerSample = LoadLE16(&header[14]);
  const auto extra = MkvAcmExtra(track);
  format.extraSize = static_cast<std::uint16_t>(extra.size());
  std::copy_n(extra.begin(), std::min(extra.size(), sizeof(format.extra)), format.extra);
}

std::uint16_t SamplesPerFrame(const MkvTrack& track) {
  const double seconds = static_cast<double>(track.defaultDuration) / kNanosecondsPerSecond;
  return static_cast<std::uint16_t>(WrapToUnsigned32(seconds * track.samplingFrequency.value_or(0) + 0.5));
}

bool IsPcm(std::uint32_t codecIndex) {
  return codecIndex >= kCodecPcmBig && codecIndex <= kCodecPcmFloat;
}

// From the channels as the file has them: none, where the record says 1.
void FillPcm(const MkvTrack& track, QMFAudioFormat& format) {
  const std::uint32_t channels = track.channels.value_or(0);
  const std::uint32_t bitDepth = track.bitDepth.value_or(0);
  format.avgBytesPerSec = ((track.samplingFrequency.value_or(0) * bitDepth) >> 3) * channels;
  format.blockAlign = static_cast<std::uint16_t>((bitDepth >> 3) * channels);
}

void FillFromTrack(const MkvTrack& track, QMFAudioFormat& format) {
  format.formatTag = static_cast<std::uint16_t>(MkvCodecTable()[track.codecIndex].formatTag);
  format.channels = static_cast<std::uint16_t>(track.channels.value_or(1));
  format.samplesPerSec = track.samplingFrequency.value_or(8000);
  format.bitsPerSample = static_cast<std::uint16_t>(track.bitDepth.value_or(0));
  format.blockAlign = SamplesPerFrame(track);
  if (IsPcm(track.codecIndex)) FillPcm(track, format);
  if (track.codecPrivate.size() > kLargestCopiedPrivate) return;
  format.extraSize = static_cast<std::uint16_t>(track.codecPrivate.size());
  std::ranges::copy(track.codecPrivate, format.extra);
}

}  // namespace

QMFResult FillVideoFormat(const MkvSegment* segment, std::uint32_t index, QMFVideoFormat& format) {
  if (segment == nullptr) return QMF_NULL_ARGUMENT;
  const MkvTrack* const track = FindTrack(*segment, kTrackVideo, index);
  if (track == nullptr) return QMF_FAILURE;
  Clear(format);
  if (!MkvCodecTable()[track->codecIndex].flag) return QMF_ERR_CODEC_UNSUPPORTED;
  QMF_RETURN_IF_NONZERO(FillCodec(*track, format));
  if (HasPicture(track->codecIndex)) QMF_RETURN_IF_NONZERO(FillPicture(*track, format));
  FillRate(*track, format);
  return QMF_OK;
}

QMFResult FillAudioFormat(const MkvSegment* segment, std::uint32_t index, QMFAudioFormat& format) {
  if (segment == nullptr) return QMF_NULL_ARGUMENT;
  const MkvTrack* const track = FindTrack(*segment, kTrackAudio, index);
  if (track == nullptr) return QMF_FAILURE;
  Clear(format);
  format.kind = kAudioKind;
  if (track->codecIndex == kCodecAcm) {
    FillFromWaveFormat(*track, format);
  } else {
    FillFromTrack(*track, format);
  }
  return QMF_OK;
}

std::span<const std::uint8_t> MkvAcmExtra(const MkvTrack& track) {
  if (track.codecIndex != kCodecAcm) return {};
  const std::size_t size = LoadLE16(&PrivateHeader<kWaveFormatSize>(track)[16]);
  if (kWaveFormatSize + size > track.codecPrivate.size()) return {};
  return std::span(track.codecPrivate).subspan(kWaveFormatSize, size);
}

QMFResult FillSubtitleFormat(const MkvSegment& segment, std::uint32_t index, QMFSubtitleFormat& format) {
  const MkvTrack* const track = FindTrack(segment, kTrackSubtitle, index);
  if (track == nullptr) return QMF_FAILURE;
  Clear(format);
  format.kind = kSubtitleKind;
  FillRate(*track, format);
  return QMF_OK;
}

}  // namespace qmf
