#include "readers/mkv/MkvCues.h"

#include <algorithm>
#include <functional>

#include "readers/mkv/EbmlRules.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {
namespace {

// An index of more entries is used as far as this.
constexpr EbmlLimits kLimits = {.elements = 4'000'000, .bytesRead = 64U << 20, .bytesKept = 16U << 20};

// A time and the positions of the tracks that have an entry there.
struct CuePoint {
  explicit CuePoint(const MkvSegment& of) : segment(of), positions(of.memory) {}

  const MkvSegment& segment;
  std::uint64_t time = 0;
  std::pmr::vector<MkvCuePoint> positions;
};

struct CuePosition {
  std::uint64_t track = 0;
  std::uint64_t cluster = 0;  ///< From the segment's first byte of payload.
};

constexpr EbmlRule<CuePosition> kPositionRules[] = {
    {Element::CueTrack, ReadInto<&CuePosition::track>},
    {Element::CueClusterPosition, ReadInto<&CuePosition::cluster>},
};

QMFResult ReadPosition(CuePoint& point, EbmlReader& reader, const EbmlElement& element) {
  CuePosition position;
  QMF_RETURN_IF_NONZERO(WalkInto<kPositionRules>(position, reader, element));
  const std::uint64_t base = point.segment.element.payload;
  if (position.cluster >= reader.FileSize() || base >= reader.FileSize() - position.cluster) return QMF_OK;
  point.positions.push_back({0, position.track, base + position.cluster});
  return QMF_OK;
}

constexpr EbmlRule<CuePoint> kPointRules[] = {
    {Element::CueTime, ReadInto<&CuePoint::time>},
    {Element::CueTrackPositions, ReadPosition},
};

struct CueList {
  const MkvSegment& segment;
  MkvCues& cues;
};

QMFResult ReadPoint(CueList& list, EbmlReader& reader, const EbmlElement& element) {
  CuePoint point(list.segment);
  QMF_RETURN_IF_NONZERO(WalkInto<kPointRules>(point, reader, element));
  for (MkvCuePoint& position : point.positions) {
    QMF_RETURN_IF_NONZERO(reader.Keep(sizeof(position)));
    position.time = point.time;
    list.cues.points.push_back(position);
  }
  return QMF_OK;
}

constexpr EbmlRule<CueList> kCuesRules[] = {
    {Element::CuePoint, ReadPoint},
};

// The hierarchical index says where, from the segment's first byte of payload, a cue point stands.
QMFResult ReadCuePosition(CueList& list, EbmlReader& reader, const EbmlElement& element) {
  std::uint64_t position = 0;
  QMF_RETURN_IF_NONZERO(reader.Read(element, position));
  const std::uint64_t base = list.segment.element.payload;
  EbmlElement point;
  if (position >= reader.FileSize() ||
      reader.ReadHeader(base + position, EbmlElement::kOpenEnd, point) != QMF_OK ||
      !point.Is(Element::CuePoint)) {
    return QMF_OK;
  }
  return ReadPoint(list, reader, point);
}

constexpr EbmlRule<CueList> kIndexPositionRules[] = {
    {Element::HierarchicalIndexCuePos, ReadCuePosition},
};

constexpr EbmlRule<CueList> kIndexPointRules[] = {
    {Element::HierarchicalIndexPositions, WalkInto<kIndexPositionRules>},
};

constexpr EbmlRule<CueList> kIndexRules[] = {
    {Element::HierarchicalIndexPoint, WalkInto<kIndexPointRules>},
};

template <const auto& rules>
QMFResult ReadIndex(MkvSegment& segment, EbmlReader& reader, MkvSection section, QMFResult failure,
                    MkvCues& cues) {
  EbmlElement element;
  QMF_RETURN_IF_NONZERO(FindMkvSection(segment, reader, section, element));
  CueList list{segment, cues};
  return WalkInto<rules>(list, reader, element) == QMF_FAILURE ? failure : QMF_OK;
}

bool Earlier(const MkvCuePoint& a, const MkvCuePoint& b) {
  return a.time < b.time;
}

}  // namespace

const MkvCues& MkvCuesOf(MkvSegment& segment) {
  if (segment.cues) return *segment.cues;
  MkvCues& cues = segment.cues.emplace(segment.memory);
  EbmlReader reader(*segment.file, segment.memory, kLimits);
  cues.result = ReadIndex<kCuesRules>(segment, reader, kSectionCues, QMF_ERR_QF3_PARSE_CUES, cues);
  if (cues.points.empty() && cues.result == QMF_ERR_END_OF_STREAM) {
    cues.result = ReadIndex<kIndexRules>(segment, reader, kSectionHierarchicalIndex,
                                         QMF_ERR_QF3_PARSE_HIERARCHICAL, cues);
  }
  if (!std::ranges::is_sorted(cues.points, Earlier)) std::ranges::stable_sort(cues.points, Earlier);
  return cues;
}

const MkvCuePoint* CueBefore(const MkvCues& cues, std::uint64_t track, std::uint64_t time) {
  auto point = std::ranges::upper_bound(cues.points, time, {}, &MkvCuePoint::time);
  while (point != cues.points.begin()) {
    if ((--point)->track == track) return &*point;
  }
  return nullptr;
}

const MkvCuePoint* CueFrom(const MkvCues& cues, std::uint64_t track, std::uint64_t time) {
  const auto first = std::ranges::lower_bound(cues.points, time, {}, &MkvCuePoint::time);
  const auto point = std::ranges::find(first, cues.points.end(), track, &MkvCuePoint::track);
  return point == cues.points.end() ? nullptr : &*point;
}

}  // namespace qmf
