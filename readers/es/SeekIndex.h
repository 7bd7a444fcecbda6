#pragma once

#include <cstdint>
#include <vector>

#include "framework/Allocator.h"

namespace qmf {

/// Where reading can start, learned while walking a stream that has no index of its own. It holds at most
/// kMaxPoints: when full, every second one goes, and from then on they are kept farther apart.
class SeekIndex {
 public:
  struct Point {
    std::uint64_t offset;  ///< In the file.
    std::uint64_t ticks;   ///< Of the stream's clock, since its start.
  };
  static constexpr std::size_t kMaxPoints = 4096;

  explicit SeekIndex(QMFAllocator* memory) : m_points(memory) {}

  /// Takes a point beyond all that it has, as long as there is memory; others are known already.
  void Learn(const Point& point);

  /// The last known point at or before `ticks`; `start` before any.
  Point Before(std::uint64_t ticks, const Point& start) const;

 private:
  std::pmr::vector<Point> m_points;
  std::uint64_t m_spacing = 0;  // Ticks that a new point must be beyond the last.
};

}  // namespace qmf
