#include <cmath>

#include "readers/mkv/MkvTitle.h"

namespace qmf {
namespace {

bool PlaysOrdered(const MkvSegment& segment) {
  return segment.selectedPlaylist < segment.editions.size() &&
         (segment.editions[segment.selectedPlaylist].flags & MkvEdition::kOrdered) != 0 &&
         segment.allowOrdered;
}

double SegmentTicks(const MkvSegment& segment) {
  if (PlaysOrdered(segment)) return segment.playlistDuration;
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
