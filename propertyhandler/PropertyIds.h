#pragma once

#include <cstddef>

namespace qmf {

/// The Shell properties, in the order in which they are written.
enum PropertyId : std::size_t {
  kMediaDuration,
  kVideoFrameWidth,
  kVideoFrameHeight,
  kVideoFrameRate,
  kAudioChannelCount,
  kAudioSampleRate,
  kAudioSampleSize,
  kPropertyCount,
};

/// The canonical name that the Shell gives to a property ("System.Media.Duration").
const char* PropertyName(PropertyId property);

}  // namespace qmf
