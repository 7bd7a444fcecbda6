#include "readers/mp4/Mp4CodecTable.h"

#include <algorithm>
#include <iterator>

namespace qmf {
namespace {

// AVC goes by one code whatever reader found it; the others keep the file's, unless a well-known one is the
// same coding.
constexpr CMP4VideoCodec kVideoCodecs[] = {
    {MakeFourCC("avc1"), MakeFourCC("H264"), "H.264/AVC"},
    {MakeFourCC("avc2"), MakeFourCC("H264"), "H.264/AVC"},
    {MakeFourCC("avc3"), MakeFourCC("H264"), "H.264/AVC"},
    {MakeFourCC("avc4"), MakeFourCC("H264"), "H.264/AVC"},
    {MakeFourCC("dva1"), MakeFourCC("H264"), "H.264/AVC"},
    {MakeFourCC("dvav"), MakeFourCC("H264"), "H.264/AVC"},
    {MakeFourCC("hvc1"), MakeFourCC("hvc1"), "H.265/HEVC"},
    {MakeFourCC("hev1"), MakeFourCC("hev1"), "H.265/HEVC"},
    {MakeFourCC("dvh1"), MakeFourCC("dvh1"), "H.265/HEVC"},
    {MakeFourCC("dvhe"), MakeFourCC("dvhe"), "H.265/HEVC"},
    {MakeFourCC("mp4v"), MakeFourCC("mp4v"), "MPEG-4 part 2"},
    {MakeFourCC("vp08"), MakeFourCC("vp08"), "VP8"},
    {MakeFourCC("vp09"), MakeFourCC("vp09"), "VP9"},
    {MakeFourCC("av01"), MakeFourCC("av01"), "AV1"},
    {MakeFourCC("apco"), MakeFourCC("apco"), "ProRes 422 Proxy"},
    {MakeFourCC("apcs"), MakeFourCC("apcs"), "ProRes 422 LT"},
    {MakeFourCC("apcn"), MakeFourCC("apcn"), "ProRes 422"},
    {MakeFourCC("apch"), MakeFourCC("apch"), "ProRes 422 HQ"},
    {MakeFourCC("ap4h"), MakeFourCC("ap4h"), "ProRes 4444"},
    {MakeFourCC("ap4x"), MakeFourCC("ap4x"), "ProRes 4444 XQ"},
    {MakeFourCC("jpeg"), MakeFourCC("MJPG"), "Motion JPEG"},
    {MakeFourCC("mjpa"), MakeFourCC("mjpa"), "Motion JPEG A"},
    {MakeFourCC("mjpb"), MakeFourCC("mjpb"), "Motion JPEG B"},
    {MakeFourCC("raw "), MakeFourCC("raw "), "Uncompressed RGB"},
    {MakeFourCC("2vuy"), MakeFourCC("2vuy"), "Uncompressed YUV 4:2:2"},
    {MakeFourCC("yuv2"), MakeFourCC("yuv2"), "Uncompressed YUV 4:2:2"},
    {MakeFourCC("v210"), MakeFourCC("v210"), "Uncompressed YUV 4:2:2, 10 bits"},
    {MakeFourCC("s263"), MakeFourCC("s263"), "H.263"},
    {MakeFourCC("h263"), MakeFourCC("h263"), "H.263"},
    {MakeFourCC("png "), MakeFourCC("png "), "PNG"},
    {MakeFourCC("rle "), MakeFourCC("rle "), "Animation"},
};

constexpr CMP4AudioCodec kAudioCodecs[] = {
    {MakeFourCC("mp4a"), 0x00FF, 1024, 0, "AAC", "audio/mp4a-latm"},
    {MakeFourCC(".mp3"), 0x0055, 1152, 0, "MP3", "audio/mpeg"},
    {MakeFourCC("ac-3"), 0x2000, 1536, 0, "AC-3", "audio/ac3"},
    {MakeFourCC("ec-3"), 0x2000, 1536, 0, "E-AC-3", "audio/eac3"},
    {MakeFourCC("dtsc"), 0x2001, 0, 0, "DTS", "audio/vnd.dts"},
    {MakeFourCC("dtsh"), 0x2001, 0, 0, "DTS-HD", "audio/vnd.dts.hd"},
    {MakeFourCC("alac"), 0x6C61, 4096, 0, "ALAC", "audio/alac"},
    {MakeFourCC("Opus"), 0x704F, 0, 0, "Opus", "audio/opus"},
    {MakeFourCC("fLaC"), 0xF1AC, 0, 0, "FLAC", "audio/flac"},
    {MakeFourCC("samr"), 0x0057, 160, 0, "AMR", "audio/amr"},
    {MakeFourCC("sawb"), 0x0058, 320, 0, "AMR-WB", "audio/amr-wb"},
    {MakeFourCC("ulaw"), 0x0007, 1, 8, "PCM mu-law", "audio/pcmu"},
    {MakeFourCC("alaw"), 0x0006, 1, 8, "PCM A-law", "audio/pcma"},
    {MakeFourCC("raw "), 0x0001, 1, 0, "PCM, unsigned", "audio/pcm"},
    {MakeFourCC("NONE"), 0x0001, 1, 0, "PCM", "audio/pcm"},
    {MakeFourCC("twos"), 0x0001, 1, 0, "PCM, big-endian", "audio/pcm"},
    {MakeFourCC("sowt"), 0x0001, 1, 0, "PCM, little-endian", "audio/pcm"},
    {MakeFourCC("in24"), 0x0001, 1, 24, "PCM", "audio/pcm"},
    {MakeFourCC("in32"), 0x0001, 1, 32, "PCM", "audio/pcm"},
    {MakeFourCC("fl32"), 0x0003, 1, 32, "PCM, floating point", "audio/pcm"},
    {MakeFourCC("fl64"), 0x0003, 1, 64, "PCM, floating point", "audio/pcm"},
    {MakeFourCC("lpcm"), 0x0001, 1, 0, "PCM", "audio/pcm"},
    {MakeFourCC("ipcm"), 0x0001, 1, 0, "PCM", "audio/pcm"},
    {MakeFourCC("fpcm"), 0x0003, 1, 0, "PCM, floating point", "audio/pcm"},
};

struct TextCodec {
  FourCC type;
  const char* name;
};
constexpr TextCodec kTextCodecs[] = {
    {MakeFourCC("tx3g"), "Timed text"}, {MakeFourCC("text"), "QuickTime text"},
    {MakeFourCC("wvtt"), "WebVTT"},     {MakeFourCC("stpp"), "TTML"},
    {MakeFourCC("sbtt"), "Text"},       {MakeFourCC("c608"), "CEA-608"},
    {MakeFourCC("c708"), "CEA-708"},    {MakeFourCC("mp4s"), "DVD subpicture"},
};

// Codings that hide behind 'mp4v' and 'mp4a', by the objectTypeIndication of ISO/IEC 14496-1.
struct VideoObject {
  std::uint8_t first;
  std::uint8_t last;
  FourCC code;
  const char* name;
};
constexpr VideoObject kVideoObjects[] = {
    {0x60, 0x65, MakeFourCC("MPG2"), "MPEG-2"},
    {0x6A, 0x6A, MakeFourCC("MPG1"), "MPEG-1"},
    {0x6C, 0x6C, MakeFourCC("MJPG"), "Motion JPEG"},
    {0x6D, 0x6D, MakeFourCC("png "), "PNG"},
};

struct AudioObject {
  std::uint8_t objectType;
  std::uint16_t tag;
  std::uint16_t samplesPerFrame;
  const char* name;
  const char* mime;
};
constexpr AudioObject kAudioObjects[] = {
    {0x69, 0x0055, 1152, "MP3", "audio/mpeg"},   {0x6B, 0x0055, 1152, "MP3", "audio/mpeg"},
    {0xA5, 0x2000, 1536, "AC-3", "audio/ac3"},   {0xA6, 0x2000, 1536, "E-AC-3", "audio/eac3"},
    {0xA9, 0x2001, 0, "DTS", "audio/vnd.dts"},   {0xAD, 0x704F, 0, "Opus", "audio/opus"},
    {0xDD, 0x6771, 0, "Vorbis", "audio/vorbis"},
};

// 'ms' and the two bytes of a WAVEFORMATEX tag, high one first: QuickTime's way to carry such codings.
bool IsWaveType(FourCC type) {
  return (type & 0xFFFF) == ('m' | 's' << 8);
}

std::uint16_t WaveTagOf(FourCC type) {
  return static_cast<std::uint16_t>((type >> 8 & 0xFF00) | type >> 24);
}

}  // namespace

CMP4VideoCodec VideoCodecOf(const CMP4SampleDescription& description) {
  const auto* const row = std::ranges::find(kVideoCodecs, description.format, &CMP4VideoCodec::type);
  if (row == std::end(kVideoCodecs)) return {description.format, description.format, ""};
  if (row->type != MakeFourCC("mp4v")) return *row;
  const std::uint8_t object = description.elementaryStream.objectType;
  for (const VideoObject& hidden : kVideoObjects) {
    if (object >= hidden.first && object <= hidden.last) return {row->type, hidden.code, hidden.name};
  }
  return *row;
}

CMP4AudioCodec AudioCodecOf(const CMP4SampleDescription& description) {
  const auto* const row = std::ranges::find(kAudioCodecs, description.format, &CMP4AudioCodec::type);
  if (row == std::end(kAudioCodecs)) {
    const std::uint16_t tag =
        IsWaveType(description.format) ? WaveTagOf(description.format) : std::uint16_t{0};
    return {description.format, tag, 0, 0, "", ""};
  }
  CMP4AudioCodec codec = *row;
  if (codec.type == MakeFourCC("lpcm") && (description.linearPcmFlags & 1) != 0) codec.tag = 3;
  if (codec.type != MakeFourCC("mp4a")) return codec;
  const auto* const hidden =
      std::ranges::find(kAudioObjects, description.elementaryStream.objectType, &AudioObject::objectType);
  if (hidden == std::end(kAudioObjects)) return codec;
  return {codec.type, hidden->tag, hidden->samplesPerFrame, 0, hidden->name, hidden->mime};
}

const char* TextCodecName(FourCC type) {
  const auto* const row = std::ranges::find(kTextCodecs, type, &TextCodec::type);
  return row == std::end(kTextCodecs) ? "" : row->name;
}

std::uint32_t PcmFrameBytes(const CMP4SampleDescription& description) {
  const CMP4AudioCodec codec = AudioCodecOf(description);
  if (!codec.IsPcm()) return 0;
  const std::uint32_t bits = codec.bitsPerSample != 0 ? codec.bitsPerSample : description.bitsPerSample;
  constexpr std::uint32_t kMost = 65535;
  return bits > 64 || description.channels > kMost ? 0 : (bits + 7) / 8 * description.channels;
}

}  // namespace qmf
