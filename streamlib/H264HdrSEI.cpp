#include "streamlib/H264HdrSEI.h"

#include <algorithm>

#include "streamlib/H264NalUnit.h"

namespace SPL_H264 {
namespace {

constexpr std::uint32_t kPictureTiming = 1;
constexpr std::uint32_t kRecoveryPoint = 6;

// Types and sizes: 255 for each byte of ones, plus the byte that ends them.
std::uint32_t ReadStretched(SPL::BitstreamReader& bits) {
  std::uint32_t value = 0;
  std::uint32_t byte = 0;
  do {
    byte = bits.ReadBits(8);
    value += byte;
  } while (byte == 0xFF);
  return value;
}

void SkipTo(SPL::BitstreamReader& bits, std::int64_t remaining) {
  while (bits.BitsRemaining() > remaining) {
    bits.SkipBits(static_cast<std::uint32_t>(std::min<std::int64_t>(32, bits.BitsRemaining() - remaining)));
  }
}

}  // namespace

bool H264HdrSEI::Parse(const std::uint8_t* nal, std::int32_t size, const H264Stream& stream) {
  *this = H264HdrSEI();
  if (size < 1) return false;
  const NalHeader header(nal[0]);
  nal_unit_type = header.type;
  if (header.type != kNalSei || header.forbiddenZeroBit) return false;
  SPL::BitstreamReader bits = PayloadReader({nal, static_cast<std::size_t>(size)});
  while (ParseMessage(bits, stream)) valid = true;
  return valid;
}

// The end is found by running out: trailing bits, and zeros that stand for removed bytes, read as messages of
// no known type.
bool H264HdrSEI::ParseMessage(SPL::BitstreamReader& bits, const H264Stream& stream) {
  const std::uint32_t type = ReadStretched(bits);
  const std::uint32_t size = ReadStretched(bits);
  const std::int64_t behind = std::int64_t{bits.BitsRemaining()} - std::int64_t{8} * size;
  if (bits.IsUnderrun() || behind < 0) return false;
  const H264Stream::Sequence* const sequence = stream.ActiveSequence();
  if (type == kRecoveryPoint && size > 0) ParseRecoveryPoint(bits);
  if (type == kPictureTiming && sequence != nullptr) ParsePictureTiming(bits, *sequence);
  SkipTo(bits, behind);
  return !bits.IsUnderrun();
}

void H264HdrSEI::ParseRecoveryPoint(SPL::BitstreamReader& bits) {
  recovery_frame_cnt = bits.ReadUE();
  exact_match_flag = ReadFlag(bits);
  broken_link_flag = ReadFlag(bits);
  changing_slice_group_idc = static_cast<std::uint8_t>(bits.ReadBits(2));
  recovery_point_present = !bits.IsUnderrun();
}

void H264HdrSEI::ParsePictureTiming(SPL::BitstreamReader& bits, const H264Stream::Sequence& sequence) {
  if (sequence.delaysPresent) {
    cpb_removal_delay = bits.ReadBits(sequence.cpbRemovalDelayBits);
    dpb_output_delay = bits.ReadBits(sequence.dpbOutputDelayBits);
  }
  if (sequence.picStructPresent) pic_struct = static_cast<std::uint8_t>(bits.ReadBits(4));
  pic_timing_present = !bits.IsUnderrun();
}

}  // namespace SPL_H264
