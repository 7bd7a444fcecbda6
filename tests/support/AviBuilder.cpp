#include "tests/support/AviBuilder.h"

namespace qmf::test {

Bytes Le(std::uint64_t value, std::size_t width) {
  Bytes out;
  for (std::size_t i = 0; i < width; ++i) out.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
  return out;
}

Bytes Chunk(std::string_view id, const Bytes& payload, std::int64_t declaredSize) {
  const auto size = declaredSize < 0 ? payload.size() : static_cast<std::uint64_t>(declaredSize);
  return Bytes(id) + Le(size, 4) + payload + Bytes(payload.size() & 1, '\0');
}

Bytes List(std::string_view form, const Bytes& children) {
  return Chunk("LIST", Bytes(form) + children);
}

Bytes Riff(std::string_view form, const Bytes& children) {
  return Chunk("RIFF", Bytes(form) + children);
}

Bytes MainHeader(std::uint32_t suggestedBufferSize) {
  return Bytes(28, '\0') + Le(suggestedBufferSize, 4) + Bytes(24, '\0');
}

Bytes Strh(const StreamHeader& header) {
  return Chunk("strh", header.type + header.handler + Bytes(12, '\0') + Le(header.scale, 4) +
                           Le(header.rate, 4) + Le(header.start, 4) + Le(header.length, 4) + Le(0, 4) +
                           Le(0, 4) + Le(header.sampleSize, 4) + Bytes(8, '\0'));
}

Bytes VideoStrf(const VideoFormat& format) {
  return Chunk("strf", Le(40, 4) + Le(format.width, 4) + Le(format.height, 4) + Le(1, 2) +
                           Le(format.bitCount, 2) + format.compression + Le(format.imageSize, 4) +
                           Le(format.xPixelsPerMetre, 4) + Le(format.yPixelsPerMetre, 4) + Bytes(8, '\0'));
}

Bytes AudioStrf(const AudioFormat& format) {
  Bytes payload = Le(format.tag, 2) + Le(format.channels, 2) + Le(format.samplesPerSec, 4) +
                  Le(format.avgBytesPerSec, 4) + Le(format.blockAlign, 2) + Le(format.bitsPerSample, 2);
  if (format.extraSize >= 0) payload += Le(static_cast<std::uint32_t>(format.extraSize), 2) + format.extra;
  return Chunk("strf", payload);
}

Bytes VideoStream(const StreamHeader& header, const VideoFormat& format, const Bytes& more) {
  return List("strl", Strh(header) + VideoStrf(format) + more);
}

Bytes AudioStream(StreamHeader header, const AudioFormat& format, const Bytes& more) {
  header.type = "auds";
  return List("strl", Strh(header) + AudioStrf(format) + more);
}

Bytes SubtitleStream(const std::string& compression) {
  return VideoStream({}, {.width = 720, .compression = compression});
}

Bytes AviParts::HeaderList() const {
  Bytes children = mainHeader;
  for (const Bytes& stream : streams) children += stream;
  return List("hdrl", children);
}

Bytes AviParts::Build() const {
  return Riff("AVI ", HeaderList() + beforeMovi + movi + index + behindIndex) + behindRiff;
}

}  // namespace qmf::test
