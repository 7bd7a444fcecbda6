#include "readers/mkv/MkvFrameReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <utility>

#include "readers/mkv/MkvEncodings.h"

namespace qmf {
namespace {

// A block of more bytes, as stored or restored, is not read.
constexpr std::uint64_t kMaxBlockSize = 256U << 20;
constexpr std::int64_t kNanosecondsPerUnit = 100;

std::int64_t Add(std::int64_t a, std::uint64_t b) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + b);
}

// A track may stretch the ticks within a cluster.
std::int64_t ScaledTicks(const MkvTrack& track, std::int16_t ticks) {
  if (!track.timecodeScale) return ticks;
  const float scale = *track.timecodeScale;
  if (!(scale > 0 && scale < 65536)) return ticks;
  return static_cast<std::int64_t>(std::lround(static_cast<float>(ticks) * scale));
}

}  // namespace

std::int64_t MkvBlockTime(const MkvSegment& segment, const MkvTrack& track, const MkvFoundBlock& block) {
  const auto ticks = static_cast<std::uint64_t>(ScaledTicks(track, block.header.ticks));
  return static_cast<std::int64_t>((block.place.clusterTime + ticks) * segment.TickLength());
}

MkvFrameReader::MkvFrameReader(const MkvSegment& segment, const MkvPart& part)
    : m_segment(segment),
      m_part(part),
      m_cursor(segment),
      m_frames(segment.memory),
      m_encoded(segment.memory) {}

void MkvFrameReader::MoveTo(const MkvPlace& place) {
  m_cursor.MoveTo(place);
  m_frames.clear();
}

QMFResult MkvFrameReader::CutIntoFrames() {
  const std::uint64_t start = m_block.element.payload + m_block.header.length;
  const std::uint64_t size = m_block.element.end - start;
  m_frame = 0;
  std::span<const std::uint8_t> bytes;
  if (m_block.header.lacing != MkvBlockHeader::kNone) {
    bytes = m_segment.file->View(
        start, static_cast<std::size_t>(std::min<std::uint64_t>(size, FileReader::kWindowSize)));
  }
  std::size_t length = 0;
  if (ReadMkvLacing(bytes, size, m_block.header.lacing, m_frames, length) != QMF_OK) {
    m_frames.clear();
    return QMF_ERR_BLOCK_READ_FAILURE;
  }
  m_offset = start + length;
  return QMF_OK;
}

QMFResult MkvFrameReader::ReadEncoded(const MkvTrack& track, std::size_t size, QMFBlock& block) {
  m_encoded.resize(size);
  if (m_segment.file->ReadAt(m_offset, m_encoded.data(), size) != size) return QMF_ERR_END_OF_STREAM;
  std::size_t left = kMaxBlockSize;
  QMF_RETURN_IF_NONZERO(UndoEncodings(track, kScopeBlocks, left, m_encoded));
  block.required = static_cast<std::uint32_t>(m_encoded.size());
  if (block.required > block.capacity) return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  if (!m_encoded.empty()) std::memcpy(block.data, m_encoded.data(), m_encoded.size());
  return QMF_OK;
}

QMFResult MkvFrameReader::ReadBytes(const MkvTrack& track, std::uint64_t size, QMFBlock& block) {
  if (m_block.encrypted) return QMF_ERR_CODEC_UNSUPPORTED;
  if (size > kMaxBlockSize) return QMF_ERR_BLOCK_READ_FAILURE;
  const auto bytes = static_cast<std::size_t>(size);
  if (IsEncoded(track, kScopeBlocks)) return ReadEncoded(track, bytes, block);
  block.required = static_cast<std::uint32_t>(size);
  if (block.required > block.capacity) return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  return m_segment.file->ReadAt(m_offset, block.data, bytes) == bytes ? QMF_OK : QMF_ERR_END_OF_STREAM;
}

// Frames of a lace follow each other by the frame duration; where it is unknown, by their share of the
// block's.
std::uint64_t MkvFrameReader::FrameDuration(const MkvTrack& track) const {
  return track.defaultDuration != 0 ? track.defaultDuration : BlockDuration() / m_frames.size();
}

std::int64_t MkvFrameReader::FrameStart(const MkvTrack& track) const {
  return Add(MkvBlockTime(m_segment, track, m_block), FrameDuration(track) * m_frame);
}

// Writers count no padding in a block's duration, while DefaultDuration is of whole frames. What is below 0
// is padding before the frame.
void MkvFrameReader::SetTimes(const MkvTrack& track, bool whole, QMFBlock& block) const {
  const std::uint64_t left = m_frames.size() - m_frame;
  const std::int64_t time = FrameStart(track);
  const bool last = whole || left == 1;
  std::int64_t end = Add(time, FrameDuration(track) * (whole ? left : 1));
  if (last && m_block.duration) {
    end = Add(MkvBlockTime(m_segment, track, m_block), BlockDuration());
  } else if (last) {
    end = Add(end, -static_cast<std::uint64_t>(std::max<std::int64_t>(m_block.discardPadding, 0)));
  }
  block.time = m_part.ToTitle(time / kNanosecondsPerUnit);
  block.endTime = end <= time ? 0 : m_part.ToTitle(std::min(end / kNanosecondsPerUnit, m_part.to));
}

QMFResult MkvFrameReader::Take(const MkvTrack& track, bool whole, QMFBlock& block) {
  const auto left = m_frames.begin() + static_cast<std::ptrdiff_t>(m_frame);
  const std::uint64_t size = whole ? std::accumulate(left, m_frames.end(), std::uint64_t{0}) : *left;
  const QMFResult result = ReadBytes(track, size, block);
  if (result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL) return result;
  if (result == QMF_OK) {
    block.size = block.required;
    block.key = m_block.keyFrame ? QMFBlock::kKey : QMFBlock::kNotKey;
    block.compositionOffset = 0;
    SetTimes(track, whole, block);
  }
  m_takenOffset = std::exchange(m_offset, m_offset + size);
  m_takenFrame = m_frame;
  m_frame = whole ? m_frames.size() : m_frame + 1;
  return result;
}

}  // namespace qmf
