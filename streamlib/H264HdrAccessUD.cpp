#include "streamlib/H264HdrAccessUD.h"

#include "streamlib/H264NalUnit.h"

namespace SPL_H264 {

bool H264HdrAccessUD::Parse(const std::uint8_t* nal, std::int32_t size) {
  *this = H264HdrAccessUD();
  if (size < 1) return false;
  const NalHeader header(nal[0]);
  nal_unit_type = header.type;
  if (header.type != kNalAccessUnitDelimiter || header.forbiddenZeroBit) return false;
  SPL::BitstreamReader bits = PayloadReader({nal, static_cast<std::size_t>(size)});
  primary_pic_type = static_cast<std::uint8_t>(bits.ReadBits(3));
  valid = !bits.IsUnderrun();
  return valid;
}

}  // namespace SPL_H264
