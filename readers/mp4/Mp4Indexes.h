#pragma once

#include <cstdint>
#include <memory_resource>
#include <vector>

#include "readers/mp4/Mp4Table.h"

namespace qmf {

/// 'sidx': the fragments that follow, with their sizes and durations.
struct CMP4SegmentIndexAtom {
  std::uint32_t trackId = 0;
  std::uint32_t timescale = 0;
  std::uint64_t start = 0;  ///< Presentation time of the first fragment, in its timescale.
  std::uint64_t first = 0;  ///< Offset of the first fragment.
  CMP4Table references;     ///< Rows of {type and size, duration, access points}, 32 bits each.
};

/// 'tfra': entries of {time, offset of the 'moof', three numbers}, in increasing time.
struct CMP4FragmentAccessAtom {
  std::uint32_t trackId = 0;
  bool wide = false;  ///< Time and offset have 64 bits, else 32.
  CMP4Table entries;
};

/// The indexes of a fragmented file. Both kinds are optional.
struct CMP4FragmentIndexes {
  explicit CMP4FragmentIndexes(std::pmr::memory_resource* memory) : segments(memory), accesses(memory) {}
  std::pmr::memory_resource* Memory() const { return segments.get_allocator().resource(); }

  std::pmr::vector<CMP4SegmentIndexAtom> segments;    ///< Those in front of the first fragment.
  std::pmr::vector<CMP4FragmentAccessAtom> accesses;  ///< Those of the file's end.
  std::uint64_t firstFragment = 0;                    ///< Offset of the first 'moof'; 0 when there is none.
  std::uint64_t fragmentsEnd = 0;                     ///< Where fragments end: the file's end, or 'mfra'.
};

/// Looks for segment indexes between the movie, which ends at `begin`, and the first fragment.
void ReadSegmentIndexes(FileReader& file, std::uint64_t begin, CMP4FragmentIndexes& indexes);

/// Looks for 'mfra' by the size that the file's last bytes give.
void ReadFragmentAccesses(FileReader& file, CMP4FragmentIndexes& indexes);

/// What a segment index sums to.
struct CMP4SegmentTotals {
  std::uint64_t end = 0;      ///< Offset behind its last fragment.
  std::uint64_t endTime = 0;  ///< In its timescale.
};
CMP4SegmentTotals TotalsOf(const CMP4SegmentIndexAtom& index, std::pmr::memory_resource* memory);

/// A fragment and where its track then is.
struct CMP4IndexedFragment {
  std::uint64_t offset = 0;
  std::int64_t time = 0;  ///< Media ticks; presentation time, so at or behind the decoding time.
};

/// The last fragment that the indexes put at or before `time`, in media ticks of a track of `timescale`.
/// False when they know none.
bool FindIndexedFragment(const CMP4FragmentIndexes& indexes, std::uint32_t trackId, std::uint32_t timescale,
                         std::int64_t time, CMP4IndexedFragment& fragment);

/// Looks for a fragment near the end of a file without index: the first 'moof' that begins with 'mfhd' in the
/// last part that holds one. At most kMaxTailSearch bytes are looked at. 0 when there is none.
inline constexpr std::uint64_t kMaxTailSearch = 4U << 20;
std::uint64_t FindLateFragment(FileReader& file, std::uint64_t begin, std::pmr::memory_resource* memory);

}  // namespace qmf
