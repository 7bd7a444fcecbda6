#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qmf::test {

/// Bytes of a file under construction.
using Bytes = std::string;

/// Little-endian number of `width` bytes.
inline Bytes Le(std::uint64_t value, std::size_t width) {
  Bytes out;
  for (std::size_t i = 0; i < width; ++i) out.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
  return out;
}

/// A chunk with its pad byte; `declaredSize` overrides the size that is written.
inline Bytes Chunk(std::string_view id, const Bytes& payload, std::int64_t declaredSize = -1) {
  const auto size = declaredSize < 0 ? payload.size() : static_cast<std::uint64_t>(declaredSize);
  return Bytes(id) + Le(size, 4) + payload + Bytes(payload.size() & 1, '\0');
}

inline Bytes List(std::string_view form, const Bytes& children) {
  return Chunk("LIST", Bytes(form) + children);
}

inline Bytes Riff(std::string_view form, const Bytes& children) {
  return Chunk("RIFF", Bytes(form) + children);
}

struct StreamHeader {
  std::string type = "vids";
  std::string handler = "H264";
  std::uint32_t scale = 1;
  std::uint32_t rate = 25;
  std::uint32_t start = 0;
  std::uint32_t length = 250;
  std::uint32_t sampleSize = 0;
};
inline Bytes Strh(const StreamHeader& header) {
  return Chunk("strh", header.type + header.handler + Bytes(12, '\0') + Le(header.scale, 4) +
                           Le(header.rate, 4) + Le(header.start, 4) + Le(header.length, 4) + Bytes(8, '\0') +
                           Le(header.sampleSize, 4) + Bytes(8, '\0'));
}

struct VideoFormat {
  std::uint32_t width = 1920;
  std::string compression = "H264";
};
inline Bytes VideoStrf(const VideoFormat& format) {
  return Chunk("strf", Le(40, 4) + Le(format.width, 4) + Le(1080, 4) + Le(1, 2) + Le(24, 2) +
                           format.compression + Le(6220800, 4) + Le(2835, 4) + Le(2836, 4) + Bytes(8, '\0'));
}

struct AudioFormat {
  std::uint16_t channels = 2;
  Bytes extra = {};  ///< The size of the extra bytes, and they.
};

/// Stream lists of the usual kinds, with `more` behind their format.
inline Bytes VideoStream(const StreamHeader& header = {}, const VideoFormat& format = {},
                         const Bytes& more = {}) {
  return List("strl", Strh(header) + VideoStrf(format) + more);
}

inline Bytes AudioStream(StreamHeader header = {}, const AudioFormat& format = {}, const Bytes& more = {}) {
  header.type = "auds";
  const Bytes basic =
      Le(0x55, 2) + Le(format.channels, 2) + Le(48000, 4) + Le(16000, 4) + Le(1152, 2) + Le(16, 2);
  return List("strl", Strh(header) + Chunk("strf", basic + format.extra) + more);
}

/// An AVI file by its parts, each of which a test may replace.
struct AviParts {
  Bytes mainHeader = Chunk("avih", Bytes(28, '\0') + Le(0x1234, 4) + Bytes(24, '\0'));
  std::vector<Bytes> streams = {VideoStream(), AudioStream()};
  Bytes beforeMovi = {};
  Bytes movi = List("movi", Chunk("00dc", "frame0") + Chunk("01wb", "sound0"));
  Bytes index = Chunk("idx1", Bytes(16, '\0'));
  Bytes behindRiff = {};

  Bytes HeaderList() const {
    Bytes children = mainHeader;
    for (const Bytes& stream : streams) children += stream;
    return List("hdrl", children);
  }
  Bytes Build() const { return Riff("AVI ", HeaderList() + beforeMovi + movi + index) + behindRiff; }
};

}  // namespace qmf::test
