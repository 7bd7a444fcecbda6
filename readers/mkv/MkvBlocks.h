#pragma once

#include <cstdint>
#include <map>
#include <memory_resource>

#include "framework/InfoRecords.h"
#include "readers/mkv/MkvFrameReader.h"

namespace qmf {

/// Delivers a segment's media blocks. Reading in file order and reading of each single stream have places of
/// their own. Streams are numbered by kind; `blockType` is a QMFBlockType.
class MkvBlocks {
 public:
  /// `delace` says, at any time, whether laced frames are delivered one by one or block by block.
  MkvBlocks(MkvSegment& segment, const bool& delace);

  const MkvSegment& Segment() const { return m_segment; }

  /// The next frame of the active streams in file order.
  QMFResult ReadNext(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block);

  /// The next frame of one stream, active or not; others' payloads are not read.
  QMFResult ReadNextByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block);

  /// Moves both reading in file order and reading of this stream to its key frame at or before `time` (100-ns
  /// units), or to its first one, and writes the time of that. QMF_ERR_SEEK_FAILURE for a stream without any.
  QMFResult SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time);

  /// The sizes of the frames that the block last delivered of a stream holds in the file.
  std::span<const std::uint32_t> LaceOf(std::uint32_t blockType, std::uint32_t stream) const;

 private:
  MkvFrameReader& ReaderOf(const MkvTrack& track);
  QMFResult Take(MkvFrameReader& reader, const MkvTrack& track, QMFBlock& block);
  void NoteLace(const MkvFrameReader& reader);

  MkvSegment& m_segment;
  MkvFrameReader m_inFileOrder;
  std::pmr::map<std::uint64_t, MkvFrameReader> m_byTrack;  ///< By track number, made when first read.
  const bool& m_delace;
  std::uint64_t m_lacedTrack = 0;
  std::pmr::vector<std::uint32_t> m_lace;
};

}  // namespace qmf
