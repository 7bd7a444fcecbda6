#include "streamlib/H264HdrFiller.h"

#include "streamlib/H264NalUnit.h"

namespace SPL_H264 {

bool H264HdrFiller::Parse(const std::uint8_t* nal, std::int32_t size) {
  *this = H264HdrFiller();
  if (size < 1) return false;
  const NalHeader header(nal[0]);
  nal_unit_type = header.type;
  if (header.type != kNalFiller || header.forbiddenZeroBit) return false;
  constexpr std::uint32_t kTrailingBits = 0x80;
  SPL::BitstreamReader bits = PayloadReader({nal, static_cast<std::size_t>(size)});
  std::uint32_t byte = bits.ReadBits(8);
  for (; byte == 0xFF; byte = bits.ReadBits(8)) ++filler_bytes;
  valid = byte == kTrailingBits && !bits.IsUnderrun();
  return valid;
}

}  // namespace SPL_H264
