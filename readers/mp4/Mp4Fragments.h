#pragma once

#include <cstdint>
#include <memory_resource>
#include <vector>

#include "readers/mp4/Mp4Atoms.h"

namespace qmf {

/// Where one sample (access unit) lies and when it is decoded, in ticks of the media.
struct CMP4Sample {
  std::uint64_t offset = 0;  ///< In the file.
  std::uint32_t size = 0;
  std::int64_t decodeTime = 0;
  std::uint32_t duration = 0;
  std::int32_t compositionOffset = 0;
  bool sync = false;
};

/// 'trun': consecutive samples of a fragment. Fields that it leaves out have the defaults.
struct CMP4TrackRunAtom {
  std::uint32_t count = 0;
  std::uint32_t flags = 0;
  CMP4Table entries;  ///< Empty when the defaults say it all.
  std::uint32_t firstSampleFlags = 0;
  CMP4TrackExtendsAtom defaults;
  bool hasDataOffset = false;
  std::int32_t relativeOffset = 0;
  std::uint64_t dataOffset = 0;  ///< Of the first sample, in the file.
  std::int64_t decodeTime = 0;   ///< Of the first sample.
};

/// 'traf': one track's part of a fragment.
struct CMP4TrackFragmentAtom {
  explicit CMP4TrackFragmentAtom(std::pmr::memory_resource* memory) : runs(memory) {}

  CMP4TrackExtendsAtom defaults;
  bool hasBase = false;
  bool baseIsFragment = false;
  std::uint64_t base = 0;
  bool hasDecodeTime = false;
  std::int64_t decodeTime = 0;  ///< 'tfdt'.
  std::pmr::vector<CMP4TrackRunAtom> runs;
};

/// 'moof'.
struct CMP4MovieFragmentAtom {
  CMP4MovieFragmentAtom(const CMP4MovieAtom& ofMovie, std::pmr::memory_resource* memory)
      : movie(ofMovie), tracks(memory) {}

  const CMP4MovieAtom& movie;
  std::uint64_t start = 0;
  std::uint64_t next = 0;  ///< Offset of the atom behind it.
  std::pmr::vector<CMP4TrackFragmentAtom> tracks;
  std::uint32_t runs = 0;     ///< Of all tracks.
  std::uint64_t samples = 0;  ///< With entries of their own.
};

/// Finds the first 'moof' in [begin, end) of the file's top level. False when there is none.
bool ReadMovieFragment(CMP4AtomWalker& walker, std::uint64_t begin, std::uint64_t end,
                       CMP4MovieFragmentAtom& fragment);

/// Gives the runs of a track's part their times and tells where the last of their samples to be shown ends, 0
/// for no runs. `decodeTime` is where the track is when the fragment does not say; afterwards it is the end
/// of the last run.
std::int64_t ResolveRuns(CMP4TrackFragmentAtom& part, std::int64_t& decodeTime);

/// Samples and media ticks of a track's runs.
struct CMP4RunTotals {
  std::uint64_t samples = 0;
  std::uint64_t duration = 0;
  std::uint64_t size = 0;
  std::int64_t shownEnd = 0;  ///< Of the sample that is shown last, from the run's first decoding time.
};
CMP4RunTotals TotalsOf(const CMP4TrackRunAtom& run, std::pmr::memory_resource* memory);

/// Reads a run's samples front to back.
class CMP4RunReader {
 public:
  CMP4RunReader(const CMP4TrackRunAtom& run, std::pmr::memory_resource* memory)
      : m_run(run), m_entries(run.entries, memory), m_offset(run.dataOffset), m_time(run.decodeTime) {}

  /// The next sample; false at the end of the run or of what the file holds of it.
  bool Next(CMP4Sample& sample);

 private:
  CMP4TrackRunAtom m_run;
  CMP4TableWindow m_entries;
  std::uint32_t m_index = 0;
  std::uint64_t m_offset;
  std::int64_t m_time;
};

}  // namespace qmf
