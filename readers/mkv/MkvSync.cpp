#include "readers/mkv/MkvSync.h"

#include <algorithm>
#include <optional>

#include "readers/mkv/MkvCues.h"
#include "readers/mkv/MkvSyncWalk.h"

namespace qmf {
namespace {

enum class Direction { Backward, Forward };

struct Question {
  std::uint32_t stream;
  std::int64_t time;  ///< Of the title.
  Direction direction;
};

const MkvCuePoint* FindCue(MkvSegment& segment, std::uint32_t stream, std::int64_t time,
                           Direction direction) {
  const MkvCues& cues = MkvCuesOf(segment);
  const std::uint64_t track = segment.tracks.Of(kTrackVideo)[stream].number;
  if (direction == Direction::Backward) return CueBefore(cues, track, segment.TickAt(time));
  return CueFrom(cues, track, time < 0 ? 0 : segment.TickAt(time) + 1);
}

// The time, in the title's, of the index entry within `part` that is next in the direction.
std::optional<std::int64_t> TimeInPart(MkvSegment& segment, const MkvPart& part, const Question& asked) {
  std::int64_t time = std::min(part.ToSegment(part.Clamp(asked.time)), part.Last(segment.HalfTick()));
  // Whoever comes from an earlier part may land on the first entry of this one.
  const bool isAhead = asked.direction == Direction::Forward && part.Clamp(asked.time) > asked.time;
  if (isAhead) time -= segment.HalfTick() + 1;
  const MkvCuePoint* const cue = FindCue(segment, asked.stream, time, asked.direction);
  if (cue == nullptr) return std::nullopt;
  const std::int64_t found = segment.TimeOf(cue->time);
  const std::int64_t inTitle = part.ToTitle(found);
  const bool isBehind = inTitle > asked.time;
  if (!part.Holds(found + segment.HalfTick()) || isBehind != (asked.direction == Direction::Forward)) {
    return std::nullopt;
  }
  return inTitle;
}

QMFResult AskPart(MkvTitle& title, std::uint32_t part, const Question& asked, std::uint64_t& time) {
  title.currentSegment = title.parts[part].segment;
  MkvSegment& segment = *title.Current();
  if (asked.stream >= segment.tracks.Of(kTrackVideo).size()) return QMF_ERR_INVALID_STREAM;
  const auto found = TimeInPart(segment, title.parts[part], asked);
  if (!found) return QMF_ERR_END_OF_STREAM;
  time = static_cast<std::uint64_t>(*found);
  return QMF_OK;
}

// Walks over the title's parts, which are its segments in the order in which they are played, from the one on
// that is played at the time.
template <class Walk>
QMFResult Find(MkvTitle& title, const Question& asked, std::uint64_t& time, Walk&& walk) {
  if (title.singleSegment == nullptr) return QMF_ERR_END_OF_STREAM;
  ArrangeMkvTitle(title);
  std::uint32_t part = PartAt(title, asked.time);
  return walk(static_cast<std::uint32_t>(title.parts.size()), part,
              [&] { return AskPart(title, part, asked, time); });
}

}  // namespace

QMFResult PreviousSyncTime(MkvTitle& title, std::uint32_t stream, std::uint64_t& time) {
  return Find(title, {stream, static_cast<std::int64_t>(time), Direction::Backward}, time,
              [](auto&&... arguments) { return WalkSyncBackward(arguments...); });
}

QMFResult NextSyncTime(MkvTitle& title, std::uint32_t stream, std::uint64_t& time) {
  return Find(title, {stream, static_cast<std::int64_t>(time), Direction::Forward}, time,
              [](auto&&... arguments) { return WalkSyncForward(arguments...); });
}

}  // namespace qmf
