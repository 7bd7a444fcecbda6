#pragma once

#include <cstdint>
#include <vector>

#include "framework/InfoRecords.h"
#include "readers/mkv/MkvCursor.h"
#include "readers/mkv/MkvPlaylist.h"

namespace qmf {

/// Reads the frames of blocks one after the other: what lacing joined is taken apart and what the writer
/// transformed is restored.
class MkvFrameReader {
 public:
  /// Gives times as those of the title that plays `part` of the segment.
  MkvFrameReader(const MkvSegment& segment, const MkvPart& part);

  MkvCursor& Cursor() { return m_cursor; }
  const MkvFoundBlock& Block() const { return m_block; }
  /// The sizes of the current block's frames in the file, in order.
  std::span<const std::uint64_t> FrameSizes() const { return m_frames; }

  /// Stands before the element at `place`.
  void MoveTo(const MkvPlace& place);

  /// Makes sure that there is a frame to take, from the next block that `judge` takes (see MkvCursor::Next).
  /// A block whose lacing is broken is passed with QMF_ERR_BLOCK_READ_FAILURE.
  template <class Judge>
  QMFResult Load(Judge&& judge) {
    if (m_frame < m_frames.size() && judge(std::as_const(m_block)) == MkvCursor::kTake) return QMF_OK;
    m_frames.clear();
    QMF_RETURN_IF_NONZERO(m_cursor.Next(judge, m_block));
    return CutIntoFrames();
  }

  /// Where the frame that is loaded starts, in nanoseconds of its segment.
  std::int64_t FrameStart(const MkvTrack& track) const;
  /// Goes behind that frame without taking it.
  void PassFrame() { m_offset += m_frames[m_frame++]; }

  /// Makes the frame that was taken last the next one again.
  void PutBack() { m_frame = m_takenFrame, m_offset = m_takenOffset; }

  /// Takes the frame, or with `whole` all frames of the block that are left, into the caller's buffer. With
  /// QMF_ERR_BLOCK_BUFFER_TOO_SMALL it is still there to take; with every other failure it is passed.
  QMFResult Take(const MkvTrack& track, bool whole, QMFBlock& block);

 private:
  QMFResult CutIntoFrames();
  QMFResult ReadBytes(const MkvTrack& track, std::uint64_t size, QMFBlock& block);
  QMFResult ReadEncoded(const MkvTrack& track, std::size_t size, QMFBlock& block);
  std::uint64_t FrameDuration(const MkvTrack& track) const;
  std::uint64_t BlockDuration() const { return m_block.duration.value_or(0) * m_segment.TickLength(); }
  void SetTimes(const MkvTrack& track, bool whole, QMFBlock& block) const;

  const MkvSegment& m_segment;
  const MkvPart& m_part;
  MkvCursor m_cursor;
  MkvFoundBlock m_block;
  std::pmr::vector<std::uint64_t> m_frames;
  std::size_t m_frame = 0;     ///< The next to take.
  std::uint64_t m_offset = 0;  ///< Of its first byte.
  std::size_t m_takenFrame = 0;
  std::uint64_t m_takenOffset = 0;
  std::pmr::vector<std::uint8_t> m_encoded;
};

/// The time of a block in nanoseconds: its ticks, scaled for its track, after its cluster's.
std::int64_t MkvBlockTime(const MkvSegment& segment, const MkvTrack& track, const MkvFoundBlock& block);

}  // namespace qmf
