#include "readers/mkv/MkvFrames.h"

#include "framework/WideArithmetic.h"

namespace qmf {
namespace {

constexpr std::uint64_t kNanosecondsPerUnit = 100;

// In nanoseconds; 0 when unknown or beyond what a title can last.
std::uint64_t FrameDuration(const MkvTrack& track) {
  const std::uint64_t fields = track.combineFields && track.fieldsCombinable ? 2 : 1;
  constexpr std::uint64_t kLongest = ~std::uint64_t{0} / kNanosecondsPerUnit / 2;
  return track.defaultDuration < kLongest ? track.defaultDuration * fields : 0;
}

}  // namespace

std::uint32_t MkvFrameCount(const MkvTrack& track, std::uint64_t duration) {
  const std::uint64_t frameDuration = FrameDuration(track);
  if (frameDuration == 0) return 0;
  return static_cast<std::uint32_t>(
      MultiplyDivide(duration, kNanosecondsPerUnit, frameDuration, frameDuration / 2));
}

std::uint64_t MkvMiddleOfFrame(const MkvTrack& track, std::uint32_t frame) {
  const std::uint64_t frameDuration = FrameDuration(track);
  return MultiplyDivide(frameDuration, frame, kNanosecondsPerUnit, frameDuration / 2);
}

QMFResult MkvFrameFromTime(const MkvTrack& track, std::uint64_t time, std::uint32_t& frame) {
  const std::uint64_t frameDuration = FrameDuration(track);
  if (frameDuration == 0) return QMF_FAILURE;
  frame = static_cast<std::uint32_t>(MultiplyDivide(time, kNanosecondsPerUnit, frameDuration));
  return QMF_OK;
}

}  // namespace qmf
