#include <cmath>

#include "readers/mkv/MkvTitle.h"

namespace qmf {
namespace {

// What is played of segment `index` in an order of its own, in ticks of the title's own segment; a tick of no
// length cannot measure it.
double PlayedTicks(const MkvTitle& title, std::uint32_t index) {
  const auto tick = static_cast<double>(title.singleSegment->TickLength());
  double nanoseconds = 0.0;
  for (const MkvPart& part : title.parts) {
    if (part.segment == index) nanoseconds += static_cast<double>(part.to - part.from) * 100;
  }
  return tick != 0 ? nanoseconds / tick : 0.0;
}

double SegmentTicks(const MkvTitle& title, std::uint32_t index) {
  if (!title.parts.front().IsWhole()) return PlayedTicks(title, index);
  const MkvSegment& segment = *title.segments[index];
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

std::uint64_t MkvTitleDuration(MkvTitle& title) {
  const MkvSegment* const primary = title.singleSegment.get();
  if (primary == nullptr || !primary->info) return 0;
  ArrangeMkvTitle(title);
  double ticks = 0.0;
  for (std::uint32_t index = 0; index < title.SegmentCount(); ++index) ticks += SegmentTicks(title, index);
  return WholeTicks(ticks) * primary->info->Scale100ns();
}

}  // namespace qmf
