#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "framework/ReturnIf.h"
#include "readers/mkv/EbmlReader.h"
#include "readers/mkv/MkvLacing.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {

/// A place in a segment's clusters: between two elements.
struct MkvPlace {
  std::uint64_t at = 0;           ///< Offset of the next element.
  std::uint64_t clusterEnd = 0;   ///< 0 outside clusters.
  std::uint64_t clusterTime = 0;  ///< Ticks.
};

/// A block as the walk over the clusters finds it.
struct MkvFoundBlock {
  MkvPlace place;       ///< Before the block, or the group that it is in.
  EbmlElement element;  ///< Of the block itself.
  MkvBlockHeader header;
  bool keyFrame = false;
  bool encrypted = false;
  std::optional<std::uint64_t> duration;  ///< Ticks.
  std::int64_t discardPadding = 0;        ///< Nanoseconds of what is not to be presented at the end.
};

/// Walks a segment's clusters from block to block, in file order.
class MkvCursor {
 public:
  /// Stands before the segment's first cluster.
  explicit MkvCursor(const MkvSegment& segment);

  const MkvPlace& Place() const { return m_place; }
  void MoveTo(const MkvPlace& place) { m_place = place, m_sound = place.at; }

  /// What is to be done with a block: to stop before it ends the walk.
  enum Verdict { kPass, kTake, kEnd };

  /// Goes behind the next block that `judge(block)` takes; other blocks are passed by their headers. Where
  /// bytes make no sense the walk goes on at the next cluster. QMF_ERR_END_OF_STREAM at the end of the
  /// segment, where the file is cut, where no cluster is near, and where the walk is ended.
  template <class Judge>
  QMFResult Next(Judge&& judge, MkvFoundBlock& block) {
    for (;;) {
      QMF_RETURN_IF_NONZERO(NextAny(block));
      const Verdict verdict = judge(std::as_const(block));
      if (verdict == kTake) return QMF_OK;
      if (verdict == kEnd) return QMF_ERR_END_OF_STREAM;
    }
  }

  /// Searches for the first cluster from `at` on that begins before `end`, gives the place before it and its
  /// time in ticks. QMF_ERR_END_OF_STREAM when there is none.
  QMFResult FindCluster(std::uint64_t at, std::uint64_t end, MkvPlace& place, std::uint64_t& ticks);

 private:
  QMFResult NextAny(MkvFoundBlock& block);
  QMFResult Step(MkvFoundBlock& block, bool& found);
  QMFResult StepInCluster(const EbmlElement& element, MkvFoundBlock& block, bool& found);
  QMFResult StepInSegment(const EbmlElement& element);
  bool TakeBlock(MkvFoundBlock& block);
  std::uint64_t SearchStart() const;
  QMFResult SearchClusterId(std::uint64_t at, std::uint64_t end, std::uint64_t& found);

  /// So many bytes are searched for clusters; a block, or a cluster's time, that is found renews them.
  static constexpr std::uint64_t kMostBytesSearched = 64U << 20;

  FileReader& m_file;
  EbmlReader m_reader;
  const std::uint64_t m_segmentEnd;
  MkvPlace m_place;
  std::uint64_t m_sound = m_place.at;  ///< Behind the last element that is known.
  std::uint64_t m_searchLeft = kMostBytesSearched;
};

}  // namespace qmf
