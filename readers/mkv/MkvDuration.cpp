#include <cmath>

#include "readers/mkv/MkvTitle.h"

namespace qmf {
namespace {

bool PlaysOrdered(const MkvSegment& segment) {
  return segment.selectedPlaylist < segment.editions.size() &&
         (segment.editions[segment.selectedPlaylist].flags & MkvEdition::kOrdered) != 0 &&
         segment.allowOrdered;
}

// A playlist's duration in ticks; a tick of no length cannot measure it.
double PlaylistTicks(const MkvSegment& segment) {
  const std::uint64_t duration = segment.editions[segment.selectedPlaylist].OrderedDuration();
  const std::uint64_t length = segment.TickLength();
  return length != 0 ? static_cast<double>(duration) / static_cast<double>(length) : 0.0;
}

// Broken chapters play nothing in an order of theirs.
double SegmentTicks(MkvSegment& segment) {
  (void)ReadMkvChapters(segment);
  if (PlaysOrdered(segment)) return PlaylistTicks(segment);
  return segment.info ? segment.info->duration : 0.0;
}

// Over the full unsigned range; a negative sum wraps, what no integer can hold is 0.
std::uint64_t WholeTicks(double ticks) {
  constexpr double kSignedLimit = 9223372036854775808.0;     // 2^63
  constexpr double kUnsignedLimit = 18446744073709551616.0;  // 2^64
  if (ticks >= 0 && ticks < kUnsignedLimit) return static_cast<std::uint64_t>(ticks);
  if (std::abs(ticks) < kSignedLimit) return static_cast<std::uint64_t>(static_cast<std::int64_t>(ticks));
  return 0;
}

}  // namespace

std::uint64_t MkvTitleDuration(const MkvTitle& title) {
  const MkvSegment* const primary = title.singleSegment.get();
  if (primary == nullptr || !primary->info) return 0;
  double ticks = 0.0;
  for (const auto& segment : title.segments) ticks += SegmentTicks(*segment);
  return WholeTicks(ticks) * primary->info->Scale100ns();
}

}  // namespace qmf
