#pragma once

#include <cstdint>

#include "readers/mp4/Mp4SampleDescription.h"

namespace qmf {

struct CMP4VideoCodec {
  FourCC type;
  FourCC code;  ///< What the video record gives.
  const char* name;
};

struct CMP4AudioCodec {
  FourCC type;
  std::uint16_t tag;              ///< WAVEFORMATEX format tag.
  std::uint16_t samplesPerFrame;  ///< 1 for PCM, 0 where something else tells.
  std::uint16_t bitsPerSample;    ///< 0 where the sample entry tells.
  const char* name;
  const char* mime;

  bool IsPcm() const { return samplesPerFrame == 1; }
};

/// The coding of a video track. Unknown ones keep the sample entry's type and have an empty name.
CMP4VideoCodec VideoCodecOf(const CMP4SampleDescription& description);

/// The coding of an audio track. Unknown ones have tag 0 and an empty name.
CMP4AudioCodec AudioCodecOf(const CMP4SampleDescription& description);

/// Name of a text coding, empty when unknown.
const char* TextCodecName(FourCC type);

/// Bytes of one sample of all channels of a PCM track; 0 for other tracks.
std::uint32_t PcmFrameBytes(const CMP4SampleDescription& description);

}  // namespace qmf
