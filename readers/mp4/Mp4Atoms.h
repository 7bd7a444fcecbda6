#pragma once

#include <cstdint>
#include <memory_resource>
#include <optional>
#include <span>
#include <vector>

#include "readers/mp4/Mp4SampleDescription.h"
#include "readers/mp4/Mp4Table.h"

namespace qmf {

/// Bytes of an atom's payload that are read when somebody asks.
struct CMP4Bytes {
  std::uint64_t begin = 0;
  std::uint64_t size = 0;
};

/// What an edit list says in sum: where the media starts and how long the track is presented.
struct CMP4EditListAtom {
  bool present = false;
  std::uint64_t delay = 0;      ///< Empty time in front, in the movie's timescale.
  std::int64_t mediaStart = 0;  ///< Media time that is presented first, in the media's timescale.
  std::uint64_t duration = 0;   ///< Of all edits, in the movie's timescale; 0 for "all of the media".
};

/// Samples and the ticks that they last together.
struct CMP4SampleTotals {
  std::uint64_t samples = 0;
  std::uint64_t duration = 0;
  std::uint64_t first = 0;  ///< Ticks of the first sample; 0 when unknown.
};

/// Adds up rows of {samples, ticks each}. Ends before a sum that no file can mean.
CMP4SampleTotals SumOfRuns(std::span<const std::uint8_t> rows);

/// 'stbl': only what tells format and rate; the other tables are found when blocks are read.
struct CMP4SampleTableAtom {
  std::uint64_t begin = 0;  ///< Children of the atom.
  std::uint64_t end = 0;
  CMP4SampleDescription description;
  CMP4Table timeToSample;                  ///< Rows of {samples, ticks each}, 32 bits both.
  std::optional<CMP4SampleTotals> totals;  ///< Of the rows, where they are few.
};

/// 'trak'.
struct CMP4TrackAtom {
  std::uint32_t id = 0;
  bool enabled = false;
  std::uint64_t duration = 0;  ///< Movie timescale; 0 when unknown.
  std::uint32_t displayWidth = 0;
  std::uint32_t displayHeight = 0;
  std::uint32_t mediaTimescale = 0;
  std::uint64_t mediaDuration = 0;  ///< Media timescale; 0 when unknown.
  std::uint64_t mediaAtomEnd = 0;   ///< Where 'mdia' ends in the file.
  FourCC handler = 0;               ///< 'vide', 'soun', 'text' ...
  CMP4Bytes handlerName;
  CMP4Bytes userData;
  CMP4EditListAtom edits;
  std::uint64_t externalData = 0;  ///< Bit n: data reference n + 1 names another file.
  CMP4SampleTableAtom sampleTable;
};

/// 'trex': what a track's fragments leave out.
struct CMP4TrackExtendsAtom {
  std::uint32_t trackId = 0;
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
  std::uint32_t flags = 0;
};

/// 'moov'.
struct CMP4MovieAtom {
  /// More tracks than this are not looked at.
  static constexpr std::size_t kMaxTracks = 1024;

  explicit CMP4MovieAtom(std::pmr::memory_resource* memory)
      : tracks(memory), extends(memory), chapterTracks(memory) {}

  FileReader* file = nullptr;  ///< Holds the atom: the file itself, or the movie inflated from it.
  std::uint32_t timescale = 0;
  std::uint64_t duration = 0;  ///< 0 when unknown.
  std::pmr::vector<CMP4TrackAtom> tracks;
  bool fragmented = false;
  std::uint64_t fragmentDuration = 0;              ///< 'mehd', movie timescale; 0 when absent.
  std::pmr::vector<CMP4TrackExtendsAtom> extends;  ///< By track: every part of every fragment asks for one.
  std::pmr::vector<std::uint32_t> chapterTracks;   ///< Ids of the tracks that name chapters of another.
  CMP4Bytes userData;
  CMP4Bytes metadata;      ///< 'meta' of the movie itself, with its header.
  CMP4Bytes compressed;    ///< Payload of 'cmvd'.
  std::uint64_t next = 0;  ///< Offset of the atom after 'moov'.

  const CMP4TrackAtom* FindTrack(std::uint32_t id) const;
  CMP4TrackExtendsAtom ExtendsOf(std::uint32_t trackId) const;
};

/// Reads the movie header of `file`: the first 'moov' at the top, without its long tables. False when there
/// is none, or none with a movie header, unless it is compressed.
bool ReadMovieAtom(FileReader& file, CMP4MovieAtom& movie);

}  // namespace qmf
