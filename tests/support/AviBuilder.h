#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qmf::test {

/// Bytes of a file under construction.
using Bytes = std::string;

/// Little-endian number of `width` bytes.
Bytes Le(std::uint64_t value, std::size_t width);

/// A chunk with its pad byte; `declaredSize` overrides the size that is written.
Bytes Chunk(std::string_view id, const Bytes& payload, std::int64_t declaredSize = -1);
Bytes List(std::string_view form, const Bytes& children);
Bytes Riff(std::string_view form, const Bytes& children);

Bytes MainHeader(std::uint32_t suggestedBufferSize = 0x1234);

struct StreamHeader {
  std::string type = "vids";
  std::string handler = "H264";
  std::uint32_t scale = 1;
  std::uint32_t rate = 25;
  std::uint32_t start = 0;
  std::uint32_t length = 250;
  std::uint32_t sampleSize = 0;
};
Bytes Strh(const StreamHeader& header);

struct VideoFormat {
  std::uint32_t width = 1920;
  std::uint32_t height = 1080;
  std::uint16_t bitCount = 24;
  std::string compression = "H264";
  std::uint32_t imageSize = 6220800;
  std::uint32_t xPixelsPerMetre = 2835;
  std::uint32_t yPixelsPerMetre = 2836;
};
Bytes VideoStrf(const VideoFormat& format);

struct AudioFormat {
  std::uint16_t tag = 0x55;
  std::uint16_t channels = 2;
  std::uint32_t samplesPerSec = 48000;
  std::uint32_t avgBytesPerSec = 16000;
  std::uint16_t blockAlign = 1152;
  std::uint16_t bitsPerSample = 16;
  /// Extra-size field and the bytes after it; nothing is written when `extraSize` is negative.
  std::int32_t extraSize = -1;
  Bytes extra = {};
};
Bytes AudioStrf(const AudioFormat& format);

/// Stream lists of the usual kinds, with `more` behind their format.
Bytes VideoStream(const StreamHeader& header = {}, const VideoFormat& format = {}, const Bytes& more = {});
Bytes AudioStream(StreamHeader header = {}, const AudioFormat& format = {}, const Bytes& more = {});
Bytes SubtitleStream(const std::string& compression = "QXSB");

/// An AVI file by its parts, each of which a test may replace.
struct AviParts {
  Bytes mainHeader = Chunk("avih", MainHeader());
  std::vector<Bytes> streams = {VideoStream(), AudioStream()};
  Bytes beforeMovi;
  Bytes movi = List("movi", Chunk("00dc", "frame0") + Chunk("01wb", "sound0"));
  Bytes index = Chunk("idx1", Bytes(16, '\0'));
  Bytes behindIndex;
  Bytes behindRiff;

  Bytes HeaderList() const;
  Bytes Build() const;
};

}  // namespace qmf::test
