#pragma once

#include <cstdint>

#include "readers/mp4/Mp4Atoms.h"
#include "readers/mp4/Mp4Time.h"

namespace qmf {

/// How long the presentation lasts, in 100-ns units: its longest enabled track by its edit list or, without
/// one, its media; in a fragmented file together with the fragments.
std::int64_t TitleDuration(FileReader& file, const CMP4MovieAtom& movie, std::pmr::memory_resource* memory);

/// How long one track is presented by what the movie header says, without fragments.
std::int64_t TrackDuration(const CMP4MovieAtom& movie, const CMP4TrackAtom& track);

/// Average samples a second: timescale x samples / their durations, 0/0 when unknown. Fragmented files answer
/// from their first samples, the very first left out.
Fraction AverageRate(FileReader& file, const CMP4MovieAtom& movie, const CMP4TrackAtom& track,
                     std::pmr::memory_resource* memory);

/// Samples and ticks that a track's tables, without its fragments, tell.
CMP4SampleTotals TotalsOf(const CMP4TrackAtom& track, std::pmr::memory_resource* memory);

}  // namespace qmf
