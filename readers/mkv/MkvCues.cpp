#include "readers/mkv/MkvCues.h"

#include <algorithm>
#include <utility>

#include "readers/mkv/EbmlRules.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {
namespace {

// An index of more entries is used as far as this.
constexpr EbmlLimits kLimits = {.elements = 4'000'000, .bytesRead = 64U << 20, .bytesKept = 16U << 20};

struct CueList {
  const MkvSegment& segment;
  MkvCues& cues;
};

// The time of the list's latest entries.
struct CuePoint {
  CueList& list;
  std::uint64_t time = 0;
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
  const std::uint64_t base = point.list.segment.element.payload;
  if (position.cluster >= reader.FileSize() || base >= reader.FileSize() - position.cluster) return QMF_OK;
  QMF_RETURN_IF_NONZERO(reader.Keep(sizeof(MkvCuePoint)));
  point.list.cues.points.push_back({0, position.track, base + position.cluster});
  return QMF_OK;
}

constexpr EbmlRule<CuePoint> kPointRules[] = {
    {Element::CueTime, ReadInto<&CuePoint::time>},
    {Element::CueTrackPositions, ReadPosition},
};

// The time may stand behind the positions. A point that is not whole is none.
QMFResult ReadPoint(CueList& list, EbmlReader& reader, const EbmlElement& element) {
  auto& points = list.cues.points;
  const std::size_t before = points.size();
  CuePoint point{list};
  const QMFResult result = WalkInto<kPointRules>(point, reader, element);
  if (result != QMF_OK) points.resize(before);
  for (std::size_t i = before; i < points.size(); ++i) points[i].time = point.time;
  return result;
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

using Place = std::pair<std::uint64_t, std::uint64_t>;

Place PlaceOf(const MkvCuePoint& point) {
  return {point.track, point.time};
}

}  // namespace

const MkvCues& MkvCuesOf(MkvSegment& segment) {
  if (segment.cues) return *segment.cues;
  MkvCues cues(segment.memory);  // Kept when it is whole: memory may end on the way.
  EbmlReader reader(*segment.file, segment.memory, kLimits);
  cues.result = ReadIndex<kCuesRules>(segment, reader, kSectionCues, QMF_ERR_QF3_PARSE_CUES, cues);
  if (cues.points.empty() && cues.result == QMF_ERR_END_OF_STREAM) {
    cues.result = ReadIndex<kIndexRules>(segment, reader, kSectionHierarchicalIndex,
                                         QMF_ERR_QF3_PARSE_HIERARCHICAL, cues);
  }
  if (!std::ranges::is_sorted(cues.points, {}, PlaceOf)) std::ranges::stable_sort(cues.points, {}, PlaceOf);
  return segment.cues.emplace(std::move(cues));
}

const MkvCuePoint* CueBefore(const MkvCues& cues, std::uint64_t track, std::uint64_t time) {
  const auto behind = std::ranges::upper_bound(cues.points, Place(track, time), {}, PlaceOf);
  return behind != cues.points.begin() && behind[-1].track == track ? &behind[-1] : nullptr;
}

const MkvCuePoint* CueFrom(const MkvCues& cues, std::uint64_t track, std::uint64_t time) {
  const auto point = std::ranges::lower_bound(cues.points, Place(track, time), {}, PlaceOf);
  return point != cues.points.end() && point->track == track ? &*point : nullptr;
}

}  // namespace qmf
