#pragma once

#include <cstdint>
#include <span>

#include "readers/mp4/Mp4SampleDescription.h"

namespace qmf {

/// The decoder-configuration descriptor inside an elementary-stream descriptor (ISO/IEC 14496-1, 7.2.6).
struct DecoderDescriptor {
  CMP4ElementaryStreamAtom stream;
  std::uint32_t specificOffset = 0;  ///< Of the decoder-specific bytes, from the start of `bytes`.
  std::uint32_t specificSize = 0;
};

/// Finds it in the descriptors of an 'esds' atom. False when there is none.
bool ReadDecoderDescriptor(std::span<const std::uint8_t> bytes, DecoderDescriptor& decoder);

}  // namespace qmf
