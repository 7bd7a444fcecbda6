#include "readers/mkv/MkvBlocks.h"

#include <algorithm>

#include "readers/mkv/MkvEncodings.h"

namespace qmf {
namespace {

// The kinds that have two numbers become the first of them.
MkvStream StreamOf(std::uint32_t blockType, std::uint32_t stream) {
  if (blockType == kBlockVideoAlternate) blockType = kBlockVideo;
  if (blockType == kBlockSubtitleAlternate) blockType = kBlockSubtitle;
  return {blockType, stream};
}

}  // namespace

MkvBlocks::MkvBlocks(MkvTitle& title)
    : m_title(title),
      m_inOrder(title, std::nullopt),
      m_byStream(title.singleSegment->memory),
      m_lace(title.singleSegment->memory),
      m_fields(title.singleSegment->memory) {}

MkvPlayhead& MkvBlocks::HeadOf(const MkvStream& stream) {
  const std::uint64_t key = std::uint64_t{stream.blockType} << 32 | stream.number;
  return m_byStream.try_emplace(key, m_title, stream).first->second;
}

// What the writer transformed it transformed frame by frame, so such blocks are always taken apart.
QMFResult MkvBlocks::Take(MkvPlayhead& head, QMFBlock& block) {
  const bool whole = !m_title.delace && !IsEncoded(head.Track(), kScopeBlocks);
  QMF_RETURN_IF_NONZERO(head.Reader().Take(head.Track(), whole, block));
  NoteLace(head);
  const MkvStream& stream = head.Stream();
  const MkvTrack* const own = m_title.singleSegment->tracks.FindStream(stream.blockType, stream.number);
  if (!own->combineFields || head.Reader().FrameSizes().size() != 1) return QMF_OK;
  return m_fields.AddSecondField(m_title.Segment(head.Part().segment), head, block);
}

void MkvBlocks::NoteLace(MkvPlayhead& head) {
  m_laced = head.Stream();
  m_lace.clear();
  for (const std::uint64_t size : head.Reader().FrameSizes())
    m_lace.push_back(static_cast<std::uint32_t>(size));
}

QMFResult MkvBlocks::ReadNext(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block) {
  if (!m_title.singleSegment->tracks.AnyActive()) return QMF_ERR_END_OF_STREAM;
  QMF_RETURN_IF_NONZERO(m_inOrder.Load());
  blockType = m_inOrder.Stream().blockType;
  stream = m_inOrder.Stream().number;
  return Take(m_inOrder, block);
}

QMFResult MkvBlocks::ReadNextByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block) {
  if (m_title.singleSegment->tracks.FindStream(blockType, stream) == nullptr) return QMF_ERR_INVALID_STREAM;
  MkvPlayhead& head = HeadOf(StreamOf(blockType, stream));
  QMF_RETURN_IF_NONZERO(head.Load());
  return Take(head, block);
}

QMFResult MkvBlocks::MoveInto(std::uint32_t part, const MkvStream& stream, std::int64_t& time) {
  const MkvPart& played = m_title.parts[part];
  MkvPlayhead::Start start;
  QMF_RETURN_IF_NONZERO(FindStart(m_title, played, stream, played.ToSegment(played.Clamp(time)), start));
  if (start.time > played.Last(m_title.Segment(played.segment).HalfTick())) return QMF_ERR_SEEK_FAILURE;
  m_inOrder.MoveTo(part, start);
  HeadOf(stream).MoveTo(part, start);
  // Only pictures before the part are delivered with it.
  const bool isVideo = stream.blockType == kBlockVideo;
  time = played.ToTitle(isVideo ? start.time : std::max(start.time, played.from));
  return QMF_OK;
}

// Where the part has no block of the stream, the nearest one before it that does, else the next one.
QMFResult MkvBlocks::SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time) {
  if (m_title.singleSegment->tracks.FindStream(blockType, stream) == nullptr) return QMF_ERR_INVALID_STREAM;
  const MkvStream wanted = StreamOf(blockType, stream);
  const std::uint32_t at = PartAt(m_title, time);
  MkvPartsBudget budget;
  const auto moveInto = [&](std::uint32_t part) {
    const FileReader& file = *m_title.Segment(m_title.parts[part].segment).file;
    return budget.Spend(file, [&] { return MoveInto(part, wanted, time); }) == QMF_OK;
  };
  for (std::uint32_t part = at; part <= at && !budget.IsSpent(); --part) {
    if (moveInto(part)) return QMF_OK;
  }
  for (std::uint32_t part = at + 1; part < m_title.parts.size() && !budget.IsSpent(); ++part) {
    if (moveInto(part)) return QMF_OK;
  }
  return QMF_ERR_SEEK_FAILURE;
}

std::span<const std::uint32_t> MkvBlocks::LaceOf(std::uint32_t blockType, std::uint32_t stream) const {
  return StreamOf(blockType, stream) == m_laced ? std::span<const std::uint32_t>(m_lace)
                                                : std::span<const std::uint32_t>();
}

}  // namespace qmf
