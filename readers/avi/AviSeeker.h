#pragma once

#include <cstdint>
#include <optional>

#include "framework/InfoRecords.h"
#include "readers/avi/AviMovi.h"
#include "readers/avi/AviSeekTable.h"
#include "readers/avi/AviTitle.h"

namespace qmf {

/// Finds blocks of a title: by going through them in file order, and by time with the seek table, which it
/// fills from the file's index where that can be believed and from the blocks it comes past otherwise.
class AviSeeker {
 public:
  /// Reads the file's index. Throws std::bad_alloc when there is no memory for the seek table.
  AviSeeker(FileReader& file, const AviTitle& title, AviSeekTable& table, QMFAllocator* memory);

  /// Finds the first block at or behind `offset`; false at the end. Blocks that were never seen before are
  /// noted in the seek table.
  bool Find(std::uint64_t offset, AviMediaChunk& chunk);

  /// Whether the file has an index that cannot be believed.
  bool HasBadIndex() const { return m_badIndex; }
  /// Whether the seek table knows all that it ever will.
  bool IsComplete() const { return m_complete || m_table.IsFull(); }

  /// Whether decoding can start at `chunk`, before which `count` blocks of its stream came.
  QMFBlock::KeyState KeyStateOf(const AviMediaChunk& chunk, std::uint64_t count);

  /// Goes to the block of the stream in `place` that starts at or before `time`: the closest key frame of
  /// video, the closest block otherwise; the first one when all are later. False without any block.
  bool Locate(std::size_t place, std::int64_t time, AviPosition& position);

  /// The stream whose blocks are the frames of the seek table: the video, or the first audio stream.
  std::size_t Leader() const { return m_leader; }

 private:
  void LoadIndex();
  template <class Index>
  bool FillFrom(Index& index);
  bool FillFromIndexes();
  void Note(const AviMediaChunk& chunk, bool isKey);
  void RejectIndex();
  bool HasKeysOnly() const;
  bool LeavesOutStreams() const;
  void CountAnew(AviPosition& position);
  void NoteUntil(std::uint64_t frame);
  bool LocateKeyFrame(std::uint64_t frame, AviPosition& position);
  bool LocateBlock(std::size_t place, std::optional<std::uint64_t> count, AviPosition& position);
  bool WalkTo(std::size_t place, std::optional<std::uint64_t> count, AviPosition& position);
  QMFBlock::KeyState Detect(const AviMediaChunk& chunk);

  FileReader& m_file;
  const AviTitle& m_title;
  AviSeekTable& m_table;
  QMFAllocator* const m_memory;
  AviMovi m_movi;
  const std::size_t m_leader;
  AviPosition m_frontier;  ///< Everything before it is noted.
  std::uint64_t m_indexedFrames = 0;
  bool m_leavesOut = false;  ///< The index knows no block of some stream: its entries' counts lack them.
  bool m_badIndex = false;
  bool m_complete = false;
};

}  // namespace qmf
