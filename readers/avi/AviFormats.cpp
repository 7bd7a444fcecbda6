#include "readers/avi/AviFormats.h"

#include <algorithm>

namespace qmf {
namespace {

constexpr std::uint8_t kVideoKind = 0x01;
constexpr std::uint8_t kAudioKind = 0x11;
constexpr std::uint8_t kSubtitleKind = 0x21;

// The part that the video and the subtitle record share.
template <class Format>
Format MakePictureFormat(const AviStream& stream, std::uint8_t kind) {
  Format format{};
  format.kind = kind;
  format.rate = stream.header.Rate();
  format.scale = stream.header.Scale();
  format.width = stream.video.Width();
  format.height = stream.video.Height();
  format.bitCount = stream.video.BitCount();
  format.handler = stream.header.Handler();
  format.compression = stream.video.Compression();
  format.imageSize = stream.video.ImageSize();
  return format;
}

}  // namespace

QMFVideoFormat MakeAviVideoFormat(const AviStream& stream) {
  auto format = MakePictureFormat<QMFVideoFormat>(stream, kVideoKind);
  // The display size is not known here; its place has always held the pixels per metre.
  format.displayWidth = stream.video.XPixelsPerMetre();
  format.displayHeight = stream.video.YPixelsPerMetre();
  return format;
}

QMFSubtitleFormat MakeAviSubtitleFormat(const AviStream& stream) {
  return MakePictureFormat<QMFSubtitleFormat>(stream, kSubtitleKind);
}

QMFAudioFormat MakeAviAudioFormat(const AviStream& stream) {
  QMFAudioFormat format{};
  format.kind = kAudioKind;
  format.formatTag = stream.audio.FormatTag();
  format.channels = stream.audio.Channels();
  format.samplesPerSec = stream.audio.SamplesPerSec();
  format.avgBytesPerSec = stream.audio.AvgBytesPerSec();
  format.blockAlign = stream.audio.BlockAlign();
  format.bitsPerSample = stream.audio.BitsPerSample();
  format.extraSize = stream.audio.ExtraSize();
  std::ranges::copy(stream.audio.Extra(), format.extra);
  return format;
}

}  // namespace qmf
