#include "readers/mkv/MkvSegment.h"

#include <algorithm>
#include <utility>

#include "framework/WideArithmetic.h"
#include "readers/mkv/EbmlRules.h"
#include "readers/mkv/MkvHeader.h"

namespace qmf {
namespace {

constexpr Element kSectionElements[kSectionCount] = {
    Element::SegmentInfo, Element::Tracks, Element::SeekHead,    Element::Cues,    Element::HierarchicalIndex,
    Element::Chapters,    Element::Tags,   Element::Attachments, Element::Cluster,
};

// Seek heads that name further ones.
constexpr int kMostSeekHeads = 8;

// Keeps where a section stands: the first cluster, else the latest finding. Seek heads are read when met.
void NoteSection(MkvSegment& segment, const EbmlElement& element) {
  const auto kind = std::ranges::find_if(kSectionElements, [&](Element each) { return element.Is(each); });
  if (kind == std::end(kSectionElements) || element.Is(Element::SeekHead)) return;
  std::uint64_t& position = segment.sections[static_cast<std::size_t>(kind - kSectionElements)];
  if (position == 0 || !element.Is(Element::Cluster)) position = element.start;
}

struct SeekEntry {
  std::uint32_t id = 0;
  std::uint64_t position = 0;  ///< From the segment's first byte of payload.
};

constexpr EbmlRule<SeekEntry> kSeekRules[] = {
    {Element::SeekId, ReadInto<&SeekEntry::id>},
    {Element::SeekPosition, ReadInto<&SeekEntry::position>},
};

// Clusters are found by walking: a seek head lists any of them.
QMFResult ReadSeek(MkvSegment& segment, EbmlReader& reader, const EbmlElement& element) {
  SeekEntry entry;
  QMF_RETURN_IF_NONZERO(WalkInto<kSeekRules>(entry, reader, element));
  const std::uint64_t base = segment.element.payload;
  if (base >= reader.FileSize() || entry.position >= reader.FileSize() - base) return QMF_OK;
  for (std::size_t section = 0; section < kSectionCluster; ++section) {
    std::uint64_t& position = segment.sections[section];
    if (entry.id == ElementId(kSectionElements[section]) && position == 0) position = base + entry.position;
  }
  return QMF_OK;
}

constexpr EbmlRule<MkvSegment> kSeekHeadRules[] = {
    {Element::Seek, ReadSeek},
};

QMFResult ReadSeekHead(MkvSegment& segment, EbmlReader& reader, const EbmlElement& element) {
  segment.hasSeekHead = true;
  const QMFResult result = WalkInto<kSeekHeadRules>(segment, reader, element);
  return result == QMF_FAILURE ? QMF_ERR_QF3_PARSE_SEEKHEAD : QMF_OK;
}

// Of repeated elements the first counts.
QMFResult ReadInfo(MkvSegment& segment, EbmlReader& reader, const EbmlElement& element) {
  if (segment.info) return QMF_OK;
  return ReadMkvInfo(reader, element, segment.info.emplace(segment.memory));
}

QMFResult ReadTracks(MkvSegment& segment, EbmlReader& reader, const EbmlElement& element) {
  if (segment.hasTracks) return QMF_OK;
  segment.hasTracks = true;
  return ReadMkvTracks(reader, element, segment.tracks);
}

constexpr EbmlRule<MkvSegment> kSectionRules[] = {
    {Element::SeekHead, ReadSeekHead},
    {Element::SegmentInfo, ReadInfo},
    {Element::Tracks, ReadTracks},
};

bool IsComplete(const MkvSegment& segment) {
  return segment.info && segment.hasTracks;
}

bool HasInfo(const MkvSegment& segment) {
  return segment.info.has_value();
}

QMFResult ApplySectionRule(MkvSegment& segment, EbmlReader& reader, const EbmlElement& element) {
  for (const auto& rule : kSectionRules) {
    if (element.Is(rule.kind)) return rule.read(segment, reader, element);
  }
  return QMF_OK;
}

// Reads the element that a seek head promised; a wrong promise is passed over.
QMFResult ReadSectionAt(MkvSegment& segment, EbmlReader& reader, MkvSection section, std::uint64_t at) {
  EbmlElement element;
  if (at == 0 || reader.ReadHeader(at, EbmlElement::kOpenEnd, element) != QMF_OK) return QMF_OK;
  if (!element.Is(kSectionElements[section])) return QMF_OK;
  return ApplySectionRule(segment, reader, element);
}

// Reads the seek heads that others named.
QMFResult ReadFurtherSeekHeads(MkvSegment& segment, EbmlReader& reader) {
  for (int i = 0; i < kMostSeekHeads && segment.sections[kSectionSeekHead] != 0; ++i) {
    const std::uint64_t next = std::exchange(segment.sections[kSectionSeekHead], 0);
    QMF_RETURN_IF_NONZERO(ReadSectionAt(segment, reader, kSectionSeekHead, next));
  }
  return QMF_OK;
}

QMFResult FollowSeekHead(MkvSegment& segment, EbmlReader& reader) {
  QMF_RETURN_IF_NONZERO(ReadFurtherSeekHeads(segment, reader));
  QMF_RETURN_IF_NONZERO(ReadSectionAt(segment, reader, kSectionInfo, segment.sections[kSectionInfo]));
  return ReadSectionAt(segment, reader, kSectionTracks, segment.sections[kSectionTracks]);
}

// Where the parent's size is unknown, these end it.
bool StartsNextDocument(const EbmlElement& element) {
  return element.Is(Element::Ebml) || element.Is(Element::Segment);
}

// Passes one child of the segment. False at the segment's end and where nothing readable follows.
bool NextSection(MkvSegment& segment, EbmlReader& reader, EbmlElement& child) {
  if (segment.scannedTo >= segment.element.end) return false;
  if (reader.ReadHeader(segment.scannedTo, segment.element.end, child) != QMF_OK) return false;
  if (StartsNextDocument(child)) return false;
  segment.scannedTo = child.end == EbmlElement::kOpenEnd ? child.payload : child.end;
  return true;
}

// Walks the segment's children until enough of them is known. At the first cluster the seek head is
// asked for what is missing; without its help the walk goes on from cluster to cluster, by their headers. The
// children of a cluster of unknown size are met here as well.
QMFResult ScanSections(MkvSegment& segment, EbmlReader& reader, bool (*isEnough)(const MkvSegment&)) {
  segment.scannedTo = segment.element.payload;
  EbmlElement child;
  while (!isEnough(segment) && NextSection(segment, reader, child)) {
    const bool firstCluster = child.Is(Element::Cluster) && segment.sections[kSectionCluster] == 0;
    NoteSection(segment, child);
    if (firstCluster) QMF_RETURN_IF_NONZERO(FollowSeekHead(segment, reader));
    QMF_RETURN_IF_NONZERO(ApplySectionRule(segment, reader, child));
  }
  return isEnough(segment) ? QMF_OK : FollowSeekHead(segment, reader);
}

// Goes on to the first cluster, noting what stands before it.
void ScanToClusters(MkvSegment& segment, EbmlReader& reader) {
  EbmlElement child;
  while (segment.sections[kSectionCluster] == 0 && NextSection(segment, reader, child)) {
    NoteSection(segment, child);
    (void)ApplySectionRule(segment, reader, child);
  }
}

}  // namespace

std::uint64_t MkvSegment::TickAt(std::int64_t time) const {
  const std::uint64_t length = TickLength();
  if (time < 0 || length == 0) return 0;
  // To the end of the unit that `time` names: TimeOf cuts what ticks have beyond it.
  return MultiplyDivide(static_cast<std::uint64_t>(time), 100, length, 99);
}

QMFResult ReadMkvSegment(MkvSegment& segment) {
  segment.wasRead = true;
  EbmlReader reader(*segment.file, segment.memory, segment.limits.header);
  QMF_RETURN_IF_NONZERO(ReadMkvHeader(reader, segment));
  return ScanSections(segment, reader, IsComplete);
}

QMFResult ReadMkvSegmentInfo(MkvSegment& segment, const EbmlLimits& limits) {
  EbmlReader reader(*segment.file, segment.memory, limits);
  QMF_RETURN_IF_NONZERO(ReadMkvHeader(reader, segment));
  return ScanSections(segment, reader, HasInfo);
}

QMFResult FindMkvSection(MkvSegment& segment, EbmlReader& reader, MkvSection section, EbmlElement& element) {
  // Who writes a seek head lists these sections there.
  if (segment.sections[section] == 0 && !segment.hasSeekHead) ScanToClusters(segment, reader);
  if (segment.sections[section] == 0) (void)ReadFurtherSeekHeads(segment, reader);
  const std::uint64_t at = segment.sections[section];
  if (at == 0 || reader.ReadHeader(at, EbmlElement::kOpenEnd, element) != QMF_OK)
    return QMF_ERR_END_OF_STREAM;
  return element.Is(kSectionElements[section]) ? QMF_OK : QMF_ERR_END_OF_STREAM;
}

}  // namespace qmf
