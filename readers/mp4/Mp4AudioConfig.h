#pragma once

#include <span>

#include "readers/mp4/Mp4CodecTable.h"
#include "readers/mp4/Mp4Formats.h"

namespace qmf {

/// What a decoder of the track puts out.
struct CMP4AudioParameters {
  std::uint32_t channels = 0;
  std::uint32_t sampleRate = 0;      ///< Hz.
  std::uint32_t bytesPerSecond = 0;  ///< Of the coded stream; 0 when unknown.
  std::uint32_t blockAlign = 0;      ///< PCM: bytes of one sample of all channels; else samples a frame.
  std::uint32_t bitsPerSample = 0;
};

/// Reads them from the decoder configuration where that tells and from the sample entry where it does not.
CMP4AudioParameters AudioParametersOf(const CMP4TrackContext& context, const CMP4AudioCodec& codec,
                                      std::span<const std::uint8_t> config);

}  // namespace qmf
