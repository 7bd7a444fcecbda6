#include "readers/avi/AviBlocks.h"

#include "framework/ReturnIf.h"

namespace qmf {
namespace {

AviStream* FindStream(AviTitle& title, std::uint32_t blockType, std::uint32_t stream) {
  switch (blockType) {
    case kBlockVideo:
    case kBlockVideoAlternate:
      return stream < (title.hasVideo ? 1U : 0U) ? &title.Video() : nullptr;
    case kBlockAudio:
      return stream < title.admittedAudio ? &title.Audio()[stream] : nullptr;
    case kBlockSubtitle:
    case kBlockSubtitleAlternate:
      return stream < title.admittedSubtitles ? &title.Subtitles()[stream] : nullptr;
    default:
      return nullptr;
  }
}

}  // namespace

QMFResult SetAviStreamActive(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                             bool active) {
  if (container.currentTitle == AviContainer::kNoTitle) return QMF_FAILURE;
  AviStream* const found = FindStream(container.title, blockType, stream);
  if (found == nullptr) return QMF_ERR_INVALID_STREAM;
  found->read.active = active;
  return QMF_OK;
}

}  // namespace qmf
