#include "readers/mp4/Mp4Descriptors.h"

#include <algorithm>

namespace qmf {
namespace {

enum DescriptorTag : std::uint8_t {
  kElementaryStream = 3,
  kDecoderConfig = 4,
  kDecoderSpecific = 5,
};

// Enters the next descriptor, cutting `fields` to its bytes. Lengths are up to four groups of seven bits.
std::uint8_t EnterDescriptor(CMP4Fields& fields) {
  const std::uint8_t tag = fields.U8();
  std::size_t length = 0;
  for (int i = 0; i < 4; ++i) {
    const std::uint8_t byte = fields.U8();
    length = length << 7 | (byte & 0x7F);
    if ((byte & 0x80) == 0) break;
  }
  if (fields.Failed()) return 0;
  fields = CMP4Fields(fields.Take(std::min(length, fields.Rest().size())));
  return tag;
}

// What stands between an elementary-stream descriptor's header and its children.
void SkipStreamFields(CMP4Fields& fields) {
  fields.Skip(2);
  const std::uint8_t flags = fields.U8();
  if ((flags & 0x80) != 0) fields.Skip(2);
  if ((flags & 0x40) != 0) fields.Skip(fields.U8());
  if ((flags & 0x20) != 0) fields.Skip(2);
}

}  // namespace

bool ReadDecoderDescriptor(std::span<const std::uint8_t> bytes, DecoderDescriptor& decoder) {
  CMP4Fields fields(bytes);
  std::uint8_t tag = EnterDescriptor(fields);
  if (tag == kElementaryStream) {
    SkipStreamFields(fields);
    tag = EnterDescriptor(fields);
  }
  if (tag != kDecoderConfig) return false;
  decoder.stream.objectType = fields.U8();
  fields.Skip(1 + 3);
  decoder.stream.maxBitrate = fields.U32();
  decoder.stream.avgBitrate = fields.U32();
  if (fields.Failed()) return false;
  if (EnterDescriptor(fields) == kDecoderSpecific) {
    decoder.specificOffset = static_cast<std::uint32_t>(fields.Rest().data() - bytes.data());
    decoder.specificSize = static_cast<std::uint32_t>(fields.Rest().size());
  }
  return true;
}

}  // namespace qmf
