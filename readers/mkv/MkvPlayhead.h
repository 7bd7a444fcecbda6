#pragma once

#include <cstdint>
#include <optional>

#include "readers/mkv/MkvFrameReader.h"
#include "readers/mkv/MkvTitle.h"

namespace qmf {

/// A stream of a title, as callers number it: by kind (QMFBlockType) and number.
struct MkvStream {
  std::uint32_t blockType = 0;
  std::uint32_t number = 0;

  bool operator==(const MkvStream&) const = default;
};

/// A place in a title's time from which blocks are read, part after part. Stream n of a kind is track n of
/// that kind in every segment.
class MkvPlayhead {
 public:
  /// Reads the blocks of `only`, or with none those of the active streams. A title must be arranged.
  MkvPlayhead(MkvTitle& title, std::optional<MkvStream> only)
      : m_title(title), m_only(only), m_passed(title.singleSegment->memory) {}

  /// Makes sure that there is a frame to take. Results as of MkvFrameReader::Load.
  QMFResult Load();

  // Of the frame that is loaded.
  MkvFrameReader& Reader() { return *m_reader; }
  const MkvTrack& Track() const { return *m_track; }
  const MkvStream& Stream() const { return m_stream; }
  const MkvPart& Part() const { return m_title.parts[m_part]; }

  /// The block at `offset` was delivered with the one before it: it is passed when it is met.
  void PassBlockAt(std::uint64_t offset) { m_passed.push_back(offset); }

  /// Stands where decoding of `stream` starts for `time` (100-ns units of the part's segment).
  struct Start {
    MkvPlace place;
    MkvStream stream;
    std::int64_t time;
  };
  void MoveTo(std::uint32_t part, const Start& start);

 private:
  const MkvTrack* Wanted(MkvSegment& segment, std::uint64_t number);
  std::optional<MkvStream> FirstActive(std::uint32_t type) const;
  std::optional<MkvStream> Lead() const;
  void Enter();
  bool Plays(std::int64_t time) const;
  MkvCursor::Verdict Judge(const MkvFoundBlock& block);
  QMFResult LoadInPart();

  MkvTitle& m_title;
  const std::optional<MkvStream> m_only;
  std::uint32_t m_part = 0;
  std::optional<MkvFrameReader> m_reader;  ///< Of the part; empty before it is entered.
  std::optional<Start> m_start;
  const MkvTrack* m_track = nullptr;
  MkvStream m_stream;
  std::pmr::vector<std::uint64_t> m_passed;
};

/// Bounds what one call looks at in parts that have no block for it: a small file can play itself thousands
/// of times, and each time be searched to its end. Films are passed many times over within it.
class MkvPartsBudget {
 public:
  /// What `search()` gives; its looks at `file`, which is the part's, are counted.
  template <class Search>
  QMFResult Spend(const FileReader& file, Search&& search) {
    const std::uint64_t before = file.Looks();
    const QMFResult result = search();
    m_looks += file.Looks() - before;
    m_spent = m_looks > kFewLooks + file.Size() / kBytesALook;
    return result;
  }
  bool IsSpent() const { return m_spent; }

 private:
  static constexpr std::uint64_t kFewLooks = 1U << 20;
  static constexpr std::uint64_t kBytesALook = 4;

  std::uint64_t m_looks = 0;
  bool m_spent = false;
};

/// Finds where decoding of `stream` starts to show `time` (100-ns units of the part's segment): its key frame
/// at or before that, or its first. QMF_ERR_SEEK_FAILURE when the part's segment has none.
QMFResult FindStart(MkvTitle& title, const MkvPart& part, const MkvStream& stream, std::int64_t time,
                    MkvPlayhead::Start& start);

}  // namespace qmf
