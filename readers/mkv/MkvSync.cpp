#include "readers/mkv/MkvSync.h"

#include "readers/mkv/MkvCues.h"
#include "readers/mkv/MkvSyncWalk.h"

namespace qmf {
namespace {

using FindCue = const MkvCuePoint* (*)(const MkvCues& cues, std::uint64_t track, std::uint64_t tick);

// Asks the current segment, whichever that is when it is called.
auto Asking(MkvTitle& title, std::uint32_t stream, FindCue find, std::uint64_t& time) {
  return [&title, stream, find, &time] {
    MkvSegment* const segment = title.Current();
    if (segment == nullptr || stream >= segment->tracks.Of(kTrackVideo).size()) return QMF_ERR_INVALID_STREAM;
    const std::uint64_t track = segment->tracks.Of(kTrackVideo)[stream].number;
    const std::uint64_t tick = segment->TickAt(static_cast<std::int64_t>(time));
    const MkvCuePoint* const cue = find(MkvCuesOf(*segment), track, tick);
    if (cue == nullptr) return QMF_ERR_END_OF_STREAM;
    time = static_cast<std::uint64_t>(segment->TimeOf(cue->time));
    return QMF_OK;
  };
}

}  // namespace

QMFResult PreviousSyncTime(MkvTitle& title, std::uint32_t stream, std::uint64_t& time) {
  return WalkSyncBackward(title.SegmentCount(), title.currentSegment, Asking(title, stream, CueBefore, time));
}

QMFResult NextSyncTime(MkvTitle& title, std::uint32_t stream, std::uint64_t& time) {
  return WalkSyncForward(title.SegmentCount(), title.currentSegment, Asking(title, stream, CueBehind, time));
}

}  // namespace qmf
