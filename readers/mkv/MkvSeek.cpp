#include "readers/mkv/MkvSeek.h"

#include <algorithm>

#include "readers/mkv/MkvFrameReader.h"

namespace qmf {
namespace {

constexpr std::int64_t kNanosecondsPerUnit = 100;
// Closer than this, reading on is cheaper than cutting into halves.
constexpr std::uint64_t kSmallestHalf = 256U << 10;

class KeyFrameSearch {
 public:
  KeyFrameSearch(MkvSegment& segment, const MkvTrack& track, bool isVideo, std::int64_t time)
      : m_segment(segment), m_track(track), m_isVideo(isVideo), m_time(time), m_cursor(segment) {}

  QMFResult Run(MkvPlace& place, std::int64_t& found) {
    for (MkvPlace start = Start(); !m_found; start = Earlier(start)) {
      Scan(start);
      if (start.at <= First()) break;
    }
    if (!m_found) return QMF_ERR_SEEK_FAILURE;
    place = m_place;
    found = m_foundTime;
    return QMF_OK;
  }

 private:
  std::uint64_t First() const { return m_segment.FirstCluster(); }

  MkvPlace Start() {
    const std::uint64_t ticks = m_segment.TickAt(m_time);
    if (const MkvCuePoint* const cue = CueBefore(MkvCuesOf(m_segment), m_track.number, ticks)) {
      return {.at = std::max(cue->cluster, First())};
    }
    return ClusterBefore(ticks);
  }

  // The last cluster that begins at or before `ticks`, roughly: an earlier one near it will do.
  MkvPlace ClusterBefore(std::uint64_t ticks) {
    MkvPlace low{.at = First()};
    std::uint64_t high = std::min(m_segment.element.end, m_segment.file->Size());
    while (high > low.at && high - low.at > kSmallestHalf) {
      const std::uint64_t middle = low.at + (high - low.at) / 2;
      MkvPlace place;
      std::uint64_t time = 0;
      if (m_cursor.FindCluster(middle, high, place, time) == QMF_OK && time <= ticks) {
        low = place;
      } else {
        high = middle;
      }
    }
    return low;
  }

  // Twice as far before the last start as the one before it was.
  MkvPlace Earlier(const MkvPlace& start) {
    m_back = std::max(kSmallestHalf, m_back * 2);
    MkvPlace place{.at = First()};
    std::uint64_t time = 0;
    if (start.at - First() <= m_back) return place;
    if (m_cursor.FindCluster(start.at - m_back, start.at, place, time) != QMF_OK) place = {.at = First()};
    return place;
  }

  // Remembers the last key frame at or before the time; at the first cluster also the first one behind it.
  void Scan(const MkvPlace& start) {
    m_cursor.MoveTo(start);
    const auto wanted = [&](const MkvFoundBlock& each) {
      return each.header.track == m_track.number ? MkvCursor::kTake : MkvCursor::kPass;
    };
    MkvFoundBlock block;
    while (m_cursor.Next(wanted, block) == QMF_OK) {
      const std::int64_t time = MkvBlockTime(m_segment, m_track, block) / kNanosecondsPerUnit;
      const bool isKey = block.keyFrame || !m_isVideo;
      if (time > m_time && (m_found || start.at > First())) break;
      if (isKey) Remember(block.place, time);
      if (m_found && time > m_time) break;
    }
  }

  void Remember(const MkvPlace& place, std::int64_t time) {
    m_found = true;
    m_place = place;
    m_foundTime = time;
  }

  MkvSegment& m_segment;
  const MkvTrack& m_track;
  const bool m_isVideo;
  const std::int64_t m_time;
  MkvCursor m_cursor;
  std::uint64_t m_back = 0;
  bool m_found = false;
  MkvPlace m_place;
  std::int64_t m_foundTime = 0;
};

}  // namespace

QMFResult FindKeyFrame(MkvSegment& segment, const MkvTrack& track, bool isVideo, std::int64_t time,
                       MkvPlace& place, std::int64_t& found) {
  return KeyFrameSearch(segment, track, isVideo, time).Run(place, found);
}

}  // namespace qmf
