#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "streamlib/H264HdrSeqParSet.h"
#include "tests/support/BitWriter.h"

namespace qmf::test {

using Bytes = std::vector<std::uint8_t>;

/// A NAL unit of `payload` with emulation-prevention bytes, ITU-T H.264 clause 7.4.1.
Bytes NalUnit(std::uint8_t header, std::span<const std::uint8_t> payload);

/// `unit` behind a start code of three or, with the zero byte, four bytes.
Bytes WithStartCode(std::span<const std::uint8_t> unit, bool zeroByte = true);

/// A sound set of the baseline profile: 64 by 48, progressive, 25 pictures a second, no VUI beyond timing.
SPL_H264::H264HdrSeqParSet PlainSps();

/// The NAL unit that states what `sps` says. HRD parameters, where flagged, have `hrdEntries` entries and the
/// field widths that `sps` keeps of them.
Bytes SpsUnit(const SPL_H264::H264HdrSeqParSet& sps, std::uint32_t hrdEntries = 1);

}  // namespace qmf::test
