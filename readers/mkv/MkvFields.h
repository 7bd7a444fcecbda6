#pragma once

#include <cstdint>
#include <map>
#include <memory_resource>
#include <span>
#include <vector>

#include "readers/mkv/MkvPlayhead.h"
#include "streamlib/H264HdrSlice.h"

namespace qmf {

/// Tells pictures of an AVC track from each other by their first slices (ITU-T H.264 clause 7.3.3), units
/// being stored as the track's AVCDecoderConfigurationRecord says.
class MkvSliceParser {
 public:
  explicit MkvSliceParser(const MkvTrack& track);

  /// The first slice of a block's bytes; not valid where there is none or its parameter sets are unknown.
  SPL_H264::H264HdrSlice FirstSlice(std::span<const std::uint8_t> block) const;

 private:
  SPL_H264::H264Stream m_stream;
  std::size_t m_lengthSize;
};

/// Puts the two fields of a frame, which the file stores as a block each, into one.
class MkvFieldJoiner {
 public:
  explicit MkvFieldJoiner(QMFAllocator* memory) : m_parsers(memory), m_second(memory) {}

  /// `block` was just taken from `head`. Where it is the first field of a frame and the track's next block is
  /// the second, that is added and will be passed. QMF_ERR_BLOCK_BUFFER_TOO_SMALL where both do not fit; the
  /// first one is put back then.
  QMFResult AddSecondField(const MkvSegment& segment, MkvPlayhead& head, QMFBlock& block);

 private:
  QMFResult TakeSecond(MkvFrameReader& ahead, const MkvTrack& track, QMFBlock& second);
  bool FindSecond(const MkvSegment& segment, MkvPlayhead& head, const QMFBlock& first, QMFBlock& second);

  std::pmr::map<const MkvTrack*, MkvSliceParser> m_parsers;  ///< Made when first needed.
  std::pmr::vector<std::uint8_t> m_second;
  std::uint64_t m_secondOffset = 0;
};

}  // namespace qmf
