#include "readers/mkv/MkvFrames.h"

namespace qmf {
namespace {

constexpr std::uint64_t kNanosecondsPerUnit = 100;

// In nanoseconds; 0 when unknown or beyond what a title can last.
std::uint64_t FrameDuration(const MkvTrack& track) {
  const std::uint64_t fields = track.combineFields && track.fieldsCombinable ? 2 : 1;
  constexpr std::uint64_t kLongest = ~std::uint64_t{0} / kNanosecondsPerUnit / 2;
  return track.defaultDuration < kLongest ? track.defaultDuration * fields : 0;
}

// time * 100 / frameDuration with the remainder, in 64 bits.
std::uint64_t WholeFrames(std::uint64_t time, std::uint64_t frameDuration, std::uint64_t& remainder) {
  const std::uint64_t tail = time % frameDuration * kNanosecondsPerUnit;
  remainder = tail % frameDuration;
  return time / frameDuration * kNanosecondsPerUnit + tail / frameDuration;
}

}  // namespace

std::uint32_t MkvFrameCount(const MkvTrack& track, std::uint64_t duration) {
  const std::uint64_t frameDuration = FrameDuration(track);
  if (frameDuration == 0) return 0;
  std::uint64_t remainder = 0;
  const std::uint64_t frames = WholeFrames(duration, frameDuration, remainder);
  return static_cast<std::uint32_t>(frames + (remainder >= frameDuration - remainder ? 1 : 0));
}

std::uint64_t MkvMiddleOfFrame(const MkvTrack& track, std::uint32_t frame) {
  const std::uint64_t frameDuration = FrameDuration(track);
  return frameDuration / kNanosecondsPerUnit * frame +
         (frameDuration % kNanosecondsPerUnit * frame + frameDuration / 2) / kNanosecondsPerUnit;
}

QMFResult MkvFrameFromTime(const MkvTrack& track, std::uint64_t time, std::uint32_t& frame) {
  const std::uint64_t frameDuration = FrameDuration(track);
  if (frameDuration == 0) return QMF_FAILURE;
  std::uint64_t remainder = 0;
  frame = static_cast<std::uint32_t>(WholeFrames(time, frameDuration, remainder));
  return QMF_OK;
}

}  // namespace qmf
