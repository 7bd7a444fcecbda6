#pragma once

#include <cstdint>
#include <map>
#include <memory_resource>
#include <span>
#include <vector>

#include "framework/InfoRecords.h"
#include "readers/mkv/MkvFields.h"
#include "readers/mkv/MkvPlayhead.h"

namespace qmf {

/// Delivers a title's media blocks. Reading in order and reading of each single stream have places of their
/// own. Streams are numbered by kind; `blockType` is a QMFBlockType.
class MkvBlocks {
 public:
  /// Of an arranged title.
  explicit MkvBlocks(MkvTitle& title);

  /// The next frame of the active streams: in file order, part after part.
  QMFResult ReadNext(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block);

  /// The next frame of one stream, active or not; others' payloads are not read.
  QMFResult ReadNextByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block);

  /// Moves both reading in order and reading of this stream to its key frame at or before `time` (100-ns
  /// units), or to its first one, and writes the time of that. QMF_ERR_SEEK_FAILURE for a stream without any.
  QMFResult SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time);

  /// The sizes of the frames that the block last delivered of a stream holds in the file.
  std::span<const std::uint32_t> LaceOf(std::uint32_t blockType, std::uint32_t stream) const;

 private:
  MkvPlayhead& HeadOf(const MkvStream& stream);
  QMFResult Take(MkvPlayhead& head, QMFBlock& block);
  void NoteLace(MkvPlayhead& head);
  QMFResult MoveInto(std::uint32_t part, const MkvStream& stream, std::int64_t& time);

  MkvTitle& m_title;
  MkvPlayhead m_inOrder;
  std::pmr::map<std::uint64_t, MkvPlayhead> m_byStream;  ///< Made when first read.
  MkvStream m_laced;
  std::pmr::vector<std::uint32_t> m_lace;
  MkvFieldJoiner m_fields;
};

}  // namespace qmf
