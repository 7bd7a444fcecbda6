#include "readers/avi/AviHeaderScan.h"

#include <algorithm>
#include <iterator>

#include "readers/avi/AviChunks.h"
#include "readers/avi/AviStreamList.h"

namespace qmf {
namespace {

constexpr std::uint32_t kMaxPictureSize = 4U << 20;

class HeaderScan {
 public:
  explicit HeaderScan(AviContainer& container)
      : m_container(container), m_title(container.title), m_chunks(*container.file) {}

  QMFResult ScanTitle(std::uint16_t index, std::uint64_t riffOffset);
  QMFResult ScanBehindExtensions();

 private:
  using Row = AviChunkRow<HeaderScan>;

  QMFResult WalkList(const AviChunk& list, std::span<const Row> rows, QMFResult unreadable);
  QMFResult OnHeaderList(const AviChunk& list);
  QMFResult OnMainHeader(const AviChunk& chunk);
  QMFResult OnStreamList(const AviChunk& list);
  QMFResult OnMovi(const AviChunk& list);
  QMFResult OnLegacyIndex(const AviChunk& chunk);
  QMFResult OnInfo(const AviChunk& list);
  template <AviText AviTexts::*text>
  QMFResult OnText(const AviChunk& chunk);
  QMFResult OnResources(const AviChunk& list);
  QMFResult OnPicture(const AviChunk& chunk);
  QMFResult ScanBehind(std::uint64_t at);

  static const Row kTitleRows[];
  static const Row kHeaderRows[];
  static const Row kInfoRows[];
  static const Row kMetaRows[];
  static const Row kResourceRows[];

  AviContainer& m_container;
  AviTitle& m_title;
  AviChunkReader m_chunks;
  AviScanFlags m_flags;
  std::uint64_t m_end = 0;  ///< Of the list being walked: a child cannot reach beyond its parent.
  bool m_streamListSeen = false;
  std::uint16_t m_index = 0;
  AviStreamCounts m_counts;
};

const HeaderScan::Row HeaderScan::kTitleRows[] = {
    {kFccList, kFccHdrl, &HeaderScan::OnHeaderList}, {kFccList, kFccMovi, &HeaderScan::OnMovi},
    {kFccIdx1, 0, &HeaderScan::OnLegacyIndex},       {kFccAlternateIdx, 0, &HeaderScan::OnLegacyIndex},
    {kFccList, kFccINFO, &HeaderScan::OnInfo},
};
const HeaderScan::Row HeaderScan::kHeaderRows[] = {
    {kFccAvih, 0, &HeaderScan::OnMainHeader},
    {kFccList, kFccStrl, &HeaderScan::OnStreamList},
};
const HeaderScan::Row HeaderScan::kInfoRows[] = {
    {kFccISFT, 0, &HeaderScan::OnText<&AviTexts::software>},
    {kFccIQFV, 0, &HeaderScan::OnText<&AviTexts::version>},
    {kFccIQPN, 0, &HeaderScan::OnText<&AviTexts::product>},
};
// A list of resources among the title's own children is skipped: nothing that is answered stands in it.
const HeaderScan::Row HeaderScan::kMetaRows[] = {{kFccList, kFccQXRL, &HeaderScan::OnResources}};
const HeaderScan::Row HeaderScan::kResourceRows[] = {{kFccDpic, 0, &HeaderScan::OnPicture}};

QMFResult HeaderScan::ScanTitle(std::uint16_t index, std::uint64_t riffOffset) {
  m_index = index;
  AviChunk riff;
  if (m_chunks.Read(riffOffset, riff) && riff.End() > riff.Children()) {
    m_end = riff.End();
    // A file cut off behind its headers is read as far as it goes.
    QMF_RETURN_IF_NONZERO(
        m_chunks.Walk(riff.Children(), m_end, std::span<const Row>(kTitleRows), *this, QMF_OK));
    // An odd size gets no pad byte here, unlike in the search for a menu: writers of the extensions keep
    // their RIFFs even, and readers agree on nothing else.
    QMF_RETURN_IF_NONZERO(ScanBehind(riff.End()));
  }
  m_flags.indexSeen = m_title.hasIndex;
  return AviScanVerdict(m_flags);
}

QMFResult HeaderScan::WalkList(const AviChunk& list, std::span<const Row> rows, QMFResult unreadable) {
  const std::uint64_t parentEnd = m_end;
  m_end = std::min(parentEnd, list.End());
  const QMFResult result = m_chunks.Walk(list.Children(), m_end, rows, *this, unreadable);
  m_end = parentEnd;
  return result;
}

QMFResult HeaderScan::OnHeaderList(const AviChunk& list) {
  m_flags.hdrlSeen = true;
  QMF_RETURN_IF_NONZERO(WalkList(list, kHeaderRows, QMF_ERR_FILE_CORRUPT));
  if (!m_streamListSeen) return QMF_ERR_STRL_NOT_FOUND;
  m_title.admittedAudio = m_counts.audio;
  m_title.admittedSubtitles = m_counts.subtitles;
  m_container.currentTitle = m_index;
  m_flags.headersDone = true;
  return QMF_OK;
}

QMFResult HeaderScan::OnMainHeader(const AviChunk& chunk) {
  return ReadAviRecord(*m_container.file, chunk.Payload(), chunk.size, m_title.mainHeader.bytes);
}

QMFResult HeaderScan::OnStreamList(const AviChunk& list) {
  m_streamListSeen = true;
  return ReadAviStreamList(m_container, m_chunks, list, std::min(m_end, list.End()), m_counts);
}

QMFResult HeaderScan::OnMovi(const AviChunk& list) {
  m_title.moviOffset = list.offset;
  m_title.moviSize = list.size;
  m_flags.moviFound = true;
  return QMF_OK;
}

QMFResult HeaderScan::OnLegacyIndex(const AviChunk& chunk) {
  m_title.legacyIndexOffset = chunk.offset;
  m_title.hasIndex = true;
  return QMF_OK;
}

QMFResult HeaderScan::OnInfo(const AviChunk& list) {
  return WalkList(list, kInfoRows, QMF_OK);
}

template <AviText AviTexts::*text>
QMFResult HeaderScan::OnText(const AviChunk& chunk) {
  ReadAviText(*m_container.file, chunk, m_container.texts.*text);
  return QMF_OK;
}

// The RIFFs behind the title's own. The chain of extensions is followed by those who need it: each of them is
// a read far away, and the title's properties stand in none.
QMFResult HeaderScan::ScanBehind(std::uint64_t at) {
  for (AviChunk riff; m_chunks.Read(at, riff); at = riff.Next()) {
    if (IsAviExtension(riff)) {
      m_title.extensionsOffset = at;
      m_container.onTheFlyIndex = false;
      return QMF_OK;
    }
    if (riff.IsRiff(kFormMenu)) {
      m_container.menu.hasRiff = true;
      continue;
    }
    m_end = riff.End();
    return riff.IsRiff(kFccMETA) ? WalkList(riff, kMetaRows, QMF_OK) : QMF_OK;
  }
  return QMF_OK;
}

QMFResult HeaderScan::ScanBehindExtensions() {
  std::uint64_t at = m_title.extensionsOffset;
  AviChunk riff;
  while (m_chunks.Read(at, riff) && IsAviExtension(riff)) at = riff.Next();
  return at == m_title.extensionsOffset ? QMF_OK : ScanBehind(at);
}

QMFResult HeaderScan::OnResources(const AviChunk& list) {
  return WalkList(list, kResourceRows, QMF_OK);
}

// A picture that the file does not hold whole is left out, as everything cut off behind the headers is.
QMFResult HeaderScan::OnPicture(const AviChunk& chunk) {
  const QMFResult kept = KeepAviBytes(*m_container.file, chunk, kMaxPictureSize, m_title.protection2);
  return kept == QMF_ERR_FILE_CORRUPT ? QMF_OK : kept;
}

}  // namespace

QMFResult AviScanVerdict(const AviScanFlags& flags) {
  if (!flags.hdrlSeen) return QMF_ERR_HDRL_NOT_FOUND;
  if (!flags.moviFound) return QMF_ERR_MOVI_NOT_FOUND;
  if (!flags.indexSeen) return QMF_ERR_NO_INDEX_FOUND;
  return flags.headersDone ? QMF_OK : QMF_ERR_BAD_STRUCTURE;
}

QMFResult ScanAviHeaders(AviContainer& container, std::uint32_t index) {
  if (index == container.currentTitle) return QMF_OK;
  const std::optional<std::uint64_t> riffOffset = FindAviTitle(container, index);
  if (!riffOffset) return QMF_OK;
  container.currentTitle = AviContainer::kNoTitle;
  container.title = AviTitle(container.memory);
  container.texts = {};
  container.seeker.reset();
  container.seekTable.Release();
  return HeaderScan(container).ScanTitle(static_cast<std::uint16_t>(index), *riffOffset);
}

QMFResult ScanAviExtensionsForMeta(AviContainer& container) {
  return HeaderScan(container).ScanBehindExtensions();
}

}  // namespace qmf
