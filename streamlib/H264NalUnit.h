#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "streamlib/BitstreamReader.h"

namespace SPL_H264 {

/// nal_unit_type values, ITU-T H.264 table 7-1.
enum NalUnitType : std::uint8_t {
  kNalNonIdrSlice = 1,
  kNalPartitionA = 2,
  kNalPartitionB = 3,
  kNalPartitionC = 4,
  kNalIdrSlice = 5,
  kNalSei = 6,
  kNalSps = 7,
  kNalPps = 8,
  kNalAccessUnitDelimiter = 9,
  kNalEndOfSequence = 10,
  kNalEndOfStream = 11,
  kNalFiller = 12,
  kNalSpsExtension = 13,
  kNalPrefix = 14,
  kNalReserved18 = 18,
};

/// The first byte of a NAL unit.
struct NalHeader {
  bool forbiddenZeroBit;
  std::uint8_t refIdc;
  std::uint8_t type;

  constexpr explicit NalHeader(std::uint8_t byte)
      : forbiddenZeroBit(byte >> 7 != 0), refIdc(byte >> 5 & 3), type(byte & 0x1F) {}
};

/// Whether a unit of this type begins with a slice header.
constexpr bool IsSlice(std::uint8_t type) {
  return type == kNalNonIdrSlice || type == kNalPartitionA || type == kNalIdrSlice;
}

/// Name of a unit type (0 to 31) for logs.
const char* NalUnitTypeName(std::uint8_t type);

/// A reader of the payload of `unit`, which begins with the NAL header byte, without emulation-prevention
/// bytes. A unit of the header alone underruns at once.
inline SPL::BitstreamReader PayloadReader(std::span<const std::uint8_t> unit) {
  SPL::BitstreamReader bits(true);
  if (unit.size() < 2) return bits;
  const std::size_t size = unit.size() - 1;
  constexpr std::size_t kMost = SPL::BitstreamReader::kMaxSize;
  bits.Init(unit.data() + 1, static_cast<std::int32_t>(size < kMost ? size : kMost));
  return bits;
}

inline std::uint8_t ReadFlag(SPL::BitstreamReader& bits) {
  return bits.ReadBit() ? 1 : 0;
}

}  // namespace SPL_H264
