#include "readers/mkv/MkvTitle.h"

#include "framework/InfoRecords.h"

namespace qmf {
namespace {

// 0 for numbers that are no block type.
std::uint32_t TrackTypeOf(std::uint32_t blockType) {
  switch (blockType) {
    case kBlockAudio:
      return kTrackAudio;
    case kBlockVideo:
    case kBlockVideoAlternate:
      return kTrackVideo;
    case kBlockSubtitle:
    case kBlockSubtitleAlternate:
      return kTrackSubtitle;
    default:
      return 0;
  }
}

}  // namespace

MkvTrack* MkvTitle::FindStream(std::uint32_t blockType, std::uint32_t stream) const {
  const std::uint32_t type = TrackTypeOf(blockType);
  if (type == 0 || Current() == nullptr) return nullptr;
  auto& tracks = Current()->tracks.Of(type);
  return stream < tracks.size() ? &tracks[stream] : nullptr;
}

}  // namespace qmf
