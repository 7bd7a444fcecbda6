#include "propertyhandler/PropertyIds.h"

#include <array>

namespace qmf {

const char* PropertyName(PropertyId property) {
  static constexpr std::array<const char*, kPropertyCount> kNames = {
      "System.Media.Duration",   "System.Video.FrameWidth",   "System.Video.FrameHeight",
      "System.Video.FrameRate",  "System.Audio.ChannelCount", "System.Audio.SampleRate",
      "System.Audio.SampleSize",
  };
  return kNames[property];
}

}  // namespace qmf
