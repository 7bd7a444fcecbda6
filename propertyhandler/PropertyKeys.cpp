#include "propertyhandler/PropertyKeys.h"

namespace qmf {
namespace {

// The published format ids of the audio and video summaries. Written out, since the toolchain's propkey.h
// misspells the audio one ({...-8B80-...}).
constexpr GUID kAudio = {0x64440490, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}};
constexpr GUID kVideo = {0x64440491, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}};

constexpr ShellProperty kProperties[kPropertyCount] = {
    {{kAudio, 3}, VT_UI8},  // kMediaDuration
    {{kVideo, 3}, VT_UI4},  // kVideoFrameWidth
    {{kVideo, 4}, VT_UI4},  // kVideoFrameHeight
    {{kVideo, 6}, VT_UI4},  // kVideoFrameRate
    {{kAudio, 7}, VT_UI4},  // kAudioChannelCount
    {{kAudio, 5}, VT_UI4},  // kAudioSampleRate
    {{kAudio, 6}, VT_UI4},  // kAudioSampleSize
};

}  // namespace

const ShellProperty& ShellPropertyOf(PropertyId property) {
  return kProperties[property];
}

}  // namespace qmf
