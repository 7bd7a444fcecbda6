#include "readers/mkv/MkvCursor.h"

#include <algorithm>
#include <array>

#include "readers/mkv/EbmlRules.h"

namespace qmf {
namespace {

// Blocks are read for as long as the file goes on.
constexpr EbmlLimits kUnlimited = {~std::uint64_t{0}, ~std::uint64_t{0}, ~std::uint64_t{0}};
// So far back a search for a cluster begins.
constexpr std::uint64_t kMostSearchedBack = 64U << 10;
// A track number of 8 bytes, 2 bytes of time, 1 of flags.
constexpr std::size_t kLongestBlockHeader = 11;
// A cluster's time is its first child, behind its checksum and a filler at most. Whatever looks like a
// cluster in a search could have fillers to the end of the file.
constexpr int kMostBeforeTimecode = 16;

bool IsOneOf(const EbmlElement& element, std::initializer_list<Element> kinds) {
  return std::ranges::any_of(kinds, [&](Element kind) { return element.Is(kind); });
}

// These stand beside clusters; one met inside a cluster of unknown size ends it.
bool IsSection(const EbmlElement& element) {
  return IsOneOf(element,
                 {Element::Cues, Element::SeekHead, Element::SegmentInfo, Element::Tracks, Element::Chapters,
                  Element::Attachments, Element::Tags, Element::HierarchicalIndex});
}

QMFResult NoteBlock(MkvFoundBlock& block, EbmlReader&, const EbmlElement& element) {
  block.element = element;
  return QMF_OK;
}

QMFResult NoteEncryptedBlock(MkvFoundBlock& block, EbmlReader&, const EbmlElement& element) {
  block.element = element;
  block.encrypted = true;
  return QMF_OK;
}

// A block of a group is a key frame unless it refers to others.
QMFResult NoteReference(MkvFoundBlock& block, EbmlReader&, const EbmlElement&) {
  block.keyFrame = false;
  return QMF_OK;
}

constexpr EbmlRule<MkvFoundBlock> kGroupRules[] = {
    {Element::Block, NoteBlock},
    {Element::EncryptedBlock, NoteEncryptedBlock},
    {Element::BlockDuration, ReadInto<&MkvFoundBlock::duration>},
    {Element::ReferenceBlock, NoteReference},
    {Element::DiscardPadding, ReadInto<&MkvFoundBlock::discardPadding>},
};

}  // namespace

MkvCursor::MkvCursor(const MkvSegment& segment)
    : m_file(*segment.file),
      m_reader(*segment.file, segment.memory, kUnlimited),
      m_segmentEnd(segment.element.end),
      m_place{.at = segment.FirstCluster()} {}

QMFResult MkvCursor::NextAny(MkvFoundBlock& block) {
  for (bool found = false; !found;) {
    const QMFResult result = Step(block, found);
    if (result == QMF_FAILURE) {
      const std::uint64_t at = SearchStart();
      m_place = {};
      QMF_RETURN_IF_NONZERO(SearchClusterId(at, m_segmentEnd, m_place.at));
      m_sound = m_place.at + 1;
    } else if (result != QMF_OK) {
      return result;
    }
  }
  m_searchLeft = kMostBytesSearched;
  return QMF_OK;
}

// What was passed as unknown may have been broken bytes and the head of a cluster.
std::uint64_t MkvCursor::SearchStart() const {
  const std::uint64_t next = m_place.at + 1;
  return m_sound < next && next - m_sound <= kMostSearchedBack ? m_sound : next;
}

// Passes one element, entering clusters.
QMFResult MkvCursor::Step(MkvFoundBlock& block, bool& found) {
  if (m_place.at >= m_place.clusterEnd) m_place.clusterEnd = 0;
  if (m_place.at >= m_segmentEnd) return QMF_ERR_END_OF_STREAM;
  const bool inCluster = m_place.clusterEnd != 0;
  EbmlElement element;
  QMF_RETURN_IF_NONZERO(
      m_reader.ReadHeader(m_place.at, inCluster ? m_place.clusterEnd : m_segmentEnd, element));
  if (IsOneOf(element, {Element::Ebml, Element::Segment})) return QMF_ERR_END_OF_STREAM;
  if (element.Is(Element::Cluster)) {
    m_place = {element.payload, std::min(element.end, m_segmentEnd), 0};
    m_sound = m_place.at;
    return QMF_OK;
  }
  if (inCluster && !IsSection(element)) return StepInCluster(element, block, found);
  return StepInSegment(element);
}

QMFResult MkvCursor::StepInSegment(const EbmlElement& element) {
  if (!IsSection(element) && !IsOneOf(element, {Element::Void, Element::Crc})) return QMF_FAILURE;
  m_place = {.at = element.end};
  m_sound = m_place.at;
  return QMF_OK;
}

QMFResult MkvCursor::StepInCluster(const EbmlElement& element, MkvFoundBlock& block, bool& found) {
  const MkvPlace before = m_place;
  m_place.at = element.end;
  if (element.Is(Element::Timecode)) {
    return m_reader.Read(element, m_place.clusterTime);
  }
  if (!IsOneOf(element, {Element::SimpleBlock, Element::BlockGroup, Element::EncryptedBlock})) return QMF_OK;
  if (element.end > m_reader.FileSize()) return QMF_ERR_END_OF_STREAM;
  block = {};
  block.place = before;
  block.element = element;
  block.encrypted = element.Is(Element::EncryptedBlock);
  if (element.Is(Element::BlockGroup)) {
    block.element = {};
    block.keyFrame = true;
    if (WalkInto<kGroupRules>(block, m_reader, element) != QMF_OK) return QMF_OK;
  }
  found = TakeBlock(block);
  if (found) m_sound = m_place.at;
  if (element.Is(Element::SimpleBlock)) block.keyFrame = block.header.keyFrame;
  return QMF_OK;
}

// False for a block without a whole header: nobody can tell whose it is.
bool MkvCursor::TakeBlock(MkvFoundBlock& block) {
  const auto size =
      static_cast<std::size_t>(std::min<std::uint64_t>(kLongestBlockHeader, block.element.Size()));
  return ReadMkvBlockHeader(m_file.View(block.element.payload, size), block.header) == QMF_OK;
}

QMFResult MkvCursor::SearchClusterId(std::uint64_t at, std::uint64_t end, std::uint64_t& found) {
  constexpr std::uint32_t kId = ElementId(Element::Cluster);
  constexpr std::array<std::uint8_t, 4> kBytes = {kId >> 24, kId >> 16 & 0xFF, kId >> 8 & 0xFF, kId & 0xFF};
  end = std::min({end, m_segmentEnd, m_reader.FileSize()});
  while (at < end && m_searchLeft > 0) {
    const auto bytes = m_file.View(at, FileReader::kWindowSize);
    m_searchLeft -= std::min<std::uint64_t>(bytes.size(), m_searchLeft);
    const auto hit = std::search(bytes.begin(), bytes.end(), kBytes.begin(), kBytes.end());
    if (hit != bytes.end()) {
      found = at + static_cast<std::uint64_t>(hit - bytes.begin());
      return found < end ? QMF_OK : QMF_ERR_END_OF_STREAM;
    }
    if (bytes.size() < kBytes.size()) break;
    at += bytes.size() - (kBytes.size() - 1);
  }
  return QMF_ERR_END_OF_STREAM;
}

QMFResult MkvCursor::FindCluster(std::uint64_t at, std::uint64_t end, MkvPlace& place, std::uint64_t& ticks) {
  while (SearchClusterId(at, end, place.at) == QMF_OK) {
    at = place.at + 1;
    EbmlElement cluster;
    if (m_reader.ReadHeader(place.at, m_segmentEnd, cluster) != QMF_OK) continue;
    EbmlElement child;
    std::uint64_t next = cluster.payload;
    for (int left = kMostBeforeTimecode; left > 0 && m_reader.ReadHeader(next, cluster.end, child) == QMF_OK;
         --left, next = child.end) {
      if (child.Is(Element::Timecode)) {
        m_searchLeft = kMostBytesSearched;
        return m_reader.Read(child, ticks);
      }
      if (!IsOneOf(child, {Element::Void, Element::Crc})) break;
    }
  }
  return QMF_ERR_END_OF_STREAM;
}

}  // namespace qmf
