#pragma once

#include <initializer_list>
#include <random>
#include <span>

#include "streamlib/H264HdrSeqParSet.h"
#include "tests/support/BitWriter.h"
#include "tests/support/Bytes.h"

namespace qmf::test {

/// A NAL unit of `payload` with emulation-prevention bytes, ITU-T H.264 clause 7.4.1.
Bytes NalUnit(std::uint8_t header, std::span<const std::uint8_t> payload);

/// `unit` behind a start code of three or, with the zero byte, four bytes.
Bytes WithStartCode(std::span<const std::uint8_t> unit, bool zeroByte = true);

/// A sound set of the baseline profile: 64 by 48, progressive, 25 pictures a second, no VUI beyond timing.
SPL_H264::H264HdrSeqParSet PlainSps();

/// The NAL unit that states what `sps` says. HRD parameters, where flagged, have one entry and the field
/// widths that `sps` keeps of them.
Bytes SpsUnit(SPL_H264::H264HdrSeqParSet sps);

/// Draws the members of a set in the ranges that its syntax can carry; the result is its NAL unit.
Bytes DrawSps(std::mt19937& random, SPL_H264::H264HdrSeqParSet& sps);

/// What the front of a slice header says, for streams with PlainSps and PpsUnit().
struct SliceFields {
  std::uint8_t type = 1;  ///< NAL unit type.
  std::uint8_t refIdc = 2;
  std::uint32_t firstMb = 0;
  std::uint32_t sliceType = 7;
  std::uint32_t ppsId = 0;
  std::uint32_t frameNum = 0;
  int field = -1;  ///< -1 without field syntax (frames only), 0 frame, 1 top, 2 bottom field.
  std::uint32_t idrPicId = 0;
  std::uint32_t orderLsb = 0;
  int redundant = -1;  ///< redundant_pic_cnt; -1 without.
};
Bytes SliceUnit(const SliceFields& fields);

/// A picture parameter set with one slice group and CAVLC.
Bytes PpsUnit(std::uint32_t id = 0, std::uint32_t spsId = 0, std::uint32_t sliceGroups = 1,
              bool redundant = false);

/// Recovery point SEI.
Bytes RecoveryPointUnit();

/// Units one behind the other, each with a start code of four bytes.
Bytes ByteStream(std::initializer_list<Bytes> units);

}  // namespace qmf::test
