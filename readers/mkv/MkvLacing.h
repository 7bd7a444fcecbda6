#pragma once

#include <cstdint>
#include <memory_resource>
#include <span>
#include <vector>

#include "framework/ResultCodes.h"

namespace qmf {

/// The start of a Block or SimpleBlock payload.
struct MkvBlockHeader {
  enum Lacing : std::uint8_t { kNone = 0, kXiph = 1, kFixed = 2, kEbml = 3 };

  std::uint64_t track = 0;  ///< TrackNumber.
  std::int16_t ticks = 0;   ///< After the cluster's time.
  bool keyFrame = false;    ///< Of a SimpleBlock.
  Lacing lacing = kNone;
  std::size_t length = 0;  ///< Bytes of the header.
};

/// Reads the header at the start of `bytes`; QMF_FAILURE when it is not whole.
QMFResult ReadMkvBlockHeader(std::span<const std::uint8_t> bytes, MkvBlockHeader& header);

/// Reads how a block is cut into frames. `bytes` begin behind the header and may end before the frames do;
/// `size` is what the block has there. Gives the frames' sizes, in order, and the bytes that telling them
/// took. QMF_FAILURE where they do not fit the block.
QMFResult ReadMkvLacing(std::span<const std::uint8_t> bytes, std::uint64_t size,
                        MkvBlockHeader::Lacing lacing, std::pmr::vector<std::uint64_t>& frames,
                        std::size_t& length);

}  // namespace qmf
