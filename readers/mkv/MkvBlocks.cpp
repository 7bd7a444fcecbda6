#include "readers/mkv/MkvBlocks.h"

#include <algorithm>

#include "readers/mkv/MkvEncodings.h"
#include "readers/mkv/MkvSeek.h"

namespace qmf {

MkvBlocks::MkvBlocks(MkvSegment& segment, const bool& delace)
    : m_segment(segment),
      m_inFileOrder(segment),
      m_byTrack(segment.memory),
      m_delace(delace),
      m_lace(segment.memory) {}

MkvFrameReader& MkvBlocks::ReaderOf(const MkvTrack& track) {
  return m_byTrack.try_emplace(track.number, m_segment).first->second;
}

// What the writer transformed it transformed frame by frame, so such blocks are always taken apart.
QMFResult MkvBlocks::Take(MkvFrameReader& reader, const MkvTrack& track, QMFBlock& block) {
  const QMFResult result = reader.Take(track, !m_delace && !IsEncoded(track, kScopeBlocks), block);
  if (result == QMF_OK) NoteLace(reader);
  return result;
}

void MkvBlocks::NoteLace(const MkvFrameReader& reader) {
  m_lacedTrack = reader.Block().header.track;
  m_lace.clear();
  for (const std::uint64_t size : reader.FrameSizes()) m_lace.push_back(static_cast<std::uint32_t>(size));
}

QMFResult MkvBlocks::ReadNext(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block) {
  if (!m_segment.tracks.AnyActive()) return QMF_ERR_END_OF_STREAM;
  const MkvTrack* track = nullptr;
  QMF_RETURN_IF_NONZERO(m_inFileOrder.Load([&](std::uint64_t number) {
    track = m_segment.tracks.FindNumber(number, blockType, stream);
    return track != nullptr && track->active;
  }));
  return Take(m_inFileOrder, *track, block);
}

QMFResult MkvBlocks::ReadNextByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block) {
  const MkvTrack* const track = m_segment.tracks.FindStream(blockType, stream);
  if (track == nullptr) return QMF_ERR_INVALID_STREAM;
  MkvFrameReader& reader = ReaderOf(*track);
  QMF_RETURN_IF_NONZERO(reader.Load([&](std::uint64_t number) { return number == track->number; }));
  return Take(reader, *track, block);
}

QMFResult MkvBlocks::SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time) {
  const MkvTrack* const track = m_segment.tracks.FindStream(blockType, stream);
  if (track == nullptr) return QMF_ERR_INVALID_STREAM;
  const bool isVideo = track == m_segment.tracks.FindStream(kBlockVideo, stream);
  MkvPlace place;
  QMF_RETURN_IF_NONZERO(FindKeyFrame(m_segment, *track, isVideo, time, place, time));
  m_inFileOrder.MoveTo(place);
  ReaderOf(*track).MoveTo(place);
  return QMF_OK;
}

std::span<const std::uint32_t> MkvBlocks::LaceOf(std::uint32_t blockType, std::uint32_t stream) const {
  const MkvTrack* const track = m_segment.tracks.FindStream(blockType, stream);
  if (track == nullptr || track->number != m_lacedTrack) return {};
  return m_lace;
}

}  // namespace qmf
