#include "readers/mkv/MkvPlaylist.h"

#include <algorithm>
#include <map>
#include <utility>

#include "readers/mkv/MkvTitle.h"

namespace qmf {
namespace {

constexpr std::size_t kMostParts = 16384;
// Chapters and editions that are looked at.
constexpr std::size_t kMostLooks = 100'000;
// Editions inside editions.
constexpr std::size_t kMostNested = 8;
// Editions of other segments: each costs reading that file's tracks and chapters.
constexpr int kMostEditionsOfOthers = 4;
constexpr std::uint64_t kNanosecondsPerUnit = 100;
// A sum of two does not overflow.
constexpr std::int64_t kLongest = std::numeric_limits<std::int64_t>::max() / 2;

std::int64_t UnitsOf(std::uint64_t nanoseconds) {
  return static_cast<std::int64_t>(nanoseconds / kNanosecondsPerUnit);
}

// A stretch of time in 100-ns units.
struct Span {
  std::int64_t from = 0;
  std::int64_t to = kLongest;

  std::int64_t Length() const { return std::max<std::int64_t>(to - from, 0); }
  // What of it lies in `window` when it begins at `clock`.
  Span Inside(const Span& window, std::int64_t clock) const {
    return {from + std::max<std::int64_t>(window.from - clock, 0), std::min(to, from + window.to - clock)};
  }
};

// Follows an edition's chapters into parts.
class Arranger {
 public:
  explicit Arranger(MkvTitle& title)
      : m_title(title),
        m_own(title.singleSegment),
        m_others(m_own->memory),
        m_playing(m_own->memory),
        m_segments(m_own->memory),
        m_parts(m_own->memory) {}

  void Run() {
    (void)ReadMkvChapters(*m_own);
    const MkvEdition* const edition = m_own->SelectedEdition();
    if (edition != nullptr && edition->IsOrdered() && m_own->allowOrdered) Play(m_own, *edition, {});
    if (m_parts.empty()) m_parts.emplace_back();
    m_title.currentSegment = IndexOf(m_own);
    m_title.segments = std::move(m_segments);
    m_title.parts = std::move(m_parts);
  }

 private:
  using Segment = std::shared_ptr<MkvSegment>;

  // Segments are listed in the order in which they are first played, the title's own in any case.
  std::uint32_t IndexOf(const Segment& segment) {
    const auto found = std::ranges::find(m_segments, segment);
    const auto index = static_cast<std::uint32_t>(found - m_segments.begin());
    if (found == m_segments.end()) m_segments.push_back(segment);
    return index;
  }

  // Plays what lies in `window` of the edition's time and gives how long the whole of it is.
  std::int64_t Play(const Segment& segment, const MkvEdition& edition, const Span& window) {
    m_playing.push_back(&edition);
    std::int64_t clock = 0;
    for (const MkvChapter& chapter : edition.chapters) {
      if (!Look(1)) break;
      if (chapter.level != 0 || !chapter.enabled || clock > kLongest / 2) continue;
      const Segment target = TargetOf(segment, chapter);
      if (target != nullptr) clock += PlayChapter(target, chapter, window, clock);
    }
    m_playing.pop_back();
    return clock;
  }

  std::int64_t PlayChapter(const Segment& target, const MkvChapter& chapter, const Span& window,
                           std::int64_t clock) {
    const MkvEdition* const nested = EditionOf(*target, chapter.segmentEdition);
    if (m_looksLeft == 0) return 0;
    Span span{UnitsOf(chapter.start), nested != nullptr ? kLongest : 0};
    if (chapter.end) span.to = UnitsOf(*chapter.end);
    if (nested == nullptr) {
      Append(target, span.Inside(window, clock));
    } else {
      span.to = std::min(span.to, Play(target, *nested, span.Inside(window, clock)));
    }
    return span.Length();
  }

  // The segment that a chapter plays; null when it is not there.
  Segment TargetOf(const Segment& segment, const MkvChapter& chapter) {
    const MkvSegmentUid uid = chapter.segmentUid.value_or(MkvSegmentUid{});
    if (uid == MkvSegmentUid{}) return segment;
    if (m_own->info && uid == m_own->info->segmentUid) return m_own;
    const auto known = m_others.find(uid);
    return known != m_others.end() ? known->second : m_others.emplace(uid, Find(uid)).first->second;
  }

  Segment Find(const MkvSegmentUid& uid) {
    if (m_others.size() + 1 >= MkvTitle::kMaxSegments) return nullptr;
    MkvNeighbours& neighbours = m_title.Neighbours();
    const MkvNeighbours::File* const file = neighbours.FindUid(uid);
    const auto opened = file != nullptr ? neighbours.Open(*file) : nullptr;
    if (opened == nullptr) return nullptr;
    return std::allocate_shared<MkvSegment>(std::pmr::polymorphic_allocator<MkvSegment>(m_own->memory),
                                            opened, m_own->memory, kMkvLinkedLimits);
  }

  // The ordered edition that is to be played instead of the segment itself; null for none, and for one that
  // is being played already.
  const MkvEdition* EditionOf(MkvSegment& segment, std::uint64_t uid) {
    if (uid == 0 || m_playing.size() >= kMostNested) return nullptr;
    if (!segment.chaptersResult && m_editionsLeft-- <= 0) return nullptr;
    EnsureMkvSegment(segment);
    (void)ReadMkvChapters(segment);
    if (!Look(segment.editions.size())) return nullptr;
    const auto edition = std::ranges::find(segment.editions, uid, &MkvEdition::uid);
    if (edition == segment.editions.end() || !edition->IsOrdered()) return nullptr;
    return std::ranges::find(m_playing, &*edition) == m_playing.end() ? &*edition : nullptr;
  }

  // Chapters can play editions over and over, so a small file could ask for much.
  bool Look(std::size_t count) {
    const bool may = count <= m_looksLeft;
    m_looksLeft = may ? m_looksLeft - count : 0;
    return may;
  }

  // Stretches that follow each other in their segment become one, which is read on through.
  void Append(const Segment& target, const Span& span) {
    if (span.Length() == 0 || m_parts.size() >= kMostParts) return;
    const std::uint32_t segment = IndexOf(target);
    if (!m_parts.empty() && m_parts.back().segment == segment && m_parts.back().to == span.from) {
      m_parts.back().to = span.to;
    } else {
      m_parts.push_back({segment, span.from, span.to, m_clock - span.from});
    }
    m_clock += span.Length();
  }

  MkvTitle& m_title;
  const Segment m_own;
  std::pmr::map<MkvSegmentUid, Segment> m_others;  ///< Null for those that are not there.
  std::pmr::vector<const MkvEdition*> m_playing;
  std::pmr::vector<Segment> m_segments;
  std::pmr::vector<MkvPart> m_parts;
  std::int64_t m_clock = 0;
  std::size_t m_looksLeft = kMostLooks;
  int m_editionsLeft = kMostEditionsOfOthers;
};

}  // namespace

void ArrangeMkvTitle(MkvTitle& title) {
  if (title.parts.empty()) Arranger(title).Run();
}

std::uint32_t PartAt(const MkvTitle& title, std::int64_t time) {
  const auto begin = [](const MkvPart& part) { return part.IsWhole() ? part.from : part.ToTitle(part.from); };
  const auto behind = std::ranges::upper_bound(title.parts, time, {}, begin);
  return behind == title.parts.begin() ? 0 : static_cast<std::uint32_t>(behind - title.parts.begin() - 1);
}

}  // namespace qmf
