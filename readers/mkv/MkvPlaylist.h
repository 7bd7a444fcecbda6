#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace qmf {

struct MkvTitle;

/// A stretch of a title's time: what is played there, of which segment. Times are 100-ns units.
struct MkvPart {
  std::uint32_t segment = 0;  ///< In MkvTitle::segments.
  std::int64_t from = std::numeric_limits<std::int64_t>::min();
  std::int64_t to = std::numeric_limits<std::int64_t>::max();  ///< Behind the end.
  std::int64_t shift = 0;                                      ///< From the segment's times to the title's.

  /// Whether it is a segment as it is, from end to end.
  bool IsWhole() const { return to == std::numeric_limits<std::int64_t>::max(); }
  std::int64_t ToTitle(std::int64_t time) const { return Wrapped(time, shift); }
  std::int64_t ToSegment(std::int64_t time) const { return Wrapped(time, -shift); }
  /// Whether a time of the segment lies in it.
  bool Holds(std::int64_t time) const { return time >= from && time < to; }
  /// The last time of the segment that it still holds with `more` added.
  std::int64_t Last(std::int64_t more) const { return to - 1 - more; }
  /// The time of the title within the part that is nearest to `time`.
  std::int64_t Clamp(std::int64_t time) const {
    return IsWhole() ? time : std::clamp(time, ToTitle(from), ToTitle(to) - 1);
  }

 private:
  static std::int64_t Wrapped(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
  }
};

/// Finds out what the title plays, unless that is known: the enabled chapters of the selected edition where
/// it is ordered and its order is allowed, with segments of the files beside the title's own where chapters
/// name them; else its own segment as it is. What cannot be found is left out; an edition that plays nothing
/// counts as not ordered. The folder is looked at only for a chapter that names another segment.
void ArrangeMkvTitle(MkvTitle& title);

/// The part that is played at `time` (100-ns units of the title): the last one that has begun, else the
/// first.
std::uint32_t PartAt(const MkvTitle& title, std::int64_t time);

}  // namespace qmf
