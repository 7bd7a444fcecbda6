#include "readers/es/SeekIndex.h"

#include <algorithm>
#include <new>

namespace qmf {

void SeekIndex::Learn(const Point& point) {
  if (!m_points.empty() && point.ticks <= m_points.back().ticks + m_spacing) return;
  if (m_points.size() == kMaxPoints) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_points.size(); i += 2) m_points[kept++] = m_points[i];
    m_points.resize(kept);
    m_spacing = (m_points.back().ticks - m_points.front().ticks) / kept;
  }
  try {
    m_points.push_back(point);
  } catch (const std::bad_alloc&) {
    // Seeks then go on from an earlier point.
  }
}

SeekIndex::Point SeekIndex::Before(std::uint64_t ticks, const Point& start) const {
  const auto behind = std::ranges::upper_bound(m_points, ticks, {}, &Point::ticks);
  return behind == m_points.begin() ? start : *std::prev(behind);
}

}  // namespace qmf
