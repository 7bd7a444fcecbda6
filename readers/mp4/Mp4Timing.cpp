#include "readers/mp4/Mp4Timing.h"

#include <algorithm>

#include "readers/mp4/Mp4Fragments.h"
#include "readers/mp4/Mp4Indexes.h"
#include "readers/mp4/Mp4SampleTable.h"

namespace qmf {
namespace {

// After so many fragments of a file without index its last ones are looked for instead.
constexpr int kWalkedFragments = 4;

// A table of more runs than this is not summed: over an hour of video whose every frame lasts differently.
// One read gets that many.
constexpr std::uint64_t kMaxSummedRuns = 131'072;

// The first samples of fragments tell the rate once they are so many; so many fragments are looked at.
constexpr std::uint64_t kEnoughSamples = 8;
constexpr int kRateFragments = 64;

std::int64_t DelayOf(const CMP4MovieAtom& movie, const CMP4TrackAtom& track) {
  return ToTimeUnits(ToTicks(track.edits.delay), movie.timescale);
}

std::int64_t MediaStartOf(const CMP4TrackAtom& track) {
  return ToTimeUnits(track.edits.mediaStart, track.mediaTimescale);
}

// From the media's timeline to the movie's.
std::int64_t PresentationEnd(const CMP4MovieAtom& movie, const CMP4TrackAtom& track, std::int64_t mediaEnd) {
  return AddTimes(ToTimeUnits(mediaEnd, track.mediaTimescale),
                  AddTimes(DelayOf(movie, track), -MediaStartOf(track)));
}

bool AnyEnabled(const CMP4MovieAtom& movie) {
  return std::ranges::any_of(movie.tracks, &CMP4TrackAtom::enabled);
}

// The longest enabled track; where none is enabled, the longest of all.
template <class Length>
std::int64_t Longest(const CMP4MovieAtom& movie, Length&& length) {
  const bool enabledOnly = AnyEnabled(movie);
  std::int64_t longest = 0;
  for (const CMP4TrackAtom& track : movie.tracks) {
    if (track.enabled || !enabledOnly) longest = std::max(longest, length(track));
  }
  return longest;
}

// Where a track is before some fragment, in media ticks.
struct TrackEnd {
  std::uint32_t trackId = 0;
  std::int64_t decodeTime = 0;
  std::int64_t shown = 0;           // Where the sample to be shown last ends, of those in fragments.
  std::uint64_t firstFragment = 0;  // Fragments before this offset are part of it.
};
using TrackEnds = std::pmr::vector<TrackEnd>;

// Goes by the fragment's parts, not by the movie's tracks: there may be a thousand of these and a hundred
// thousand fragments of none. Of tracks that share an id the first one goes on.
void Continue(CMP4MovieFragmentAtom& fragment, TrackEnds& ends) {
  for (CMP4TrackFragmentAtom& part : fragment.tracks) {
    const auto end = std::ranges::find(ends, part.defaults.trackId, &TrackEnd::trackId);
    if (end == ends.end() || fragment.start < end->firstFragment) continue;
    end->shown = std::max(end->shown, ResolveRuns(part, end->decodeTime));
  }
}

// An edit list starts at a time of presentation, which reordered frames reach later than decoding does.
std::int64_t MediaEndOf(const CMP4TrackAtom& track, const TrackEnd& end) {
  return track.edits.present ? std::max(end.decodeTime, end.shown) : end.decodeTime;
}

bool TellsTimes(const CMP4MovieFragmentAtom& fragment) {
  return std::ranges::all_of(fragment.tracks, &CMP4TrackFragmentAtom::hasDecodeTime);
}

// Where the longest track ends that is at `ends` before the fragment at `begin`.
std::int64_t WalkFragments(FileReader& file, const CMP4MovieAtom& movie, TrackEnds& ends, std::uint64_t begin,
                           std::uint64_t end) {
  std::pmr::memory_resource* const memory = ends.get_allocator().resource();
  CMP4AtomWalker walker(file);
  CMP4MovieFragmentAtom fragment(movie, memory);
  for (int walked = 0; ReadMovieFragment(walker, begin, end, fragment); ++walked) {
    Continue(fragment, ends);
    begin = fragment.next;
    if (walked == kWalkedFragments && TellsTimes(fragment)) {
      begin = std::max(begin, FindLateFragment(file, begin, memory));
    }
  }
  return Longest(movie, [&](const CMP4TrackAtom& track) {
    const TrackEnd& trackEnd = ends[static_cast<std::size_t>(&track - movie.tracks.data())];
    return PresentationEnd(movie, track, MediaEndOf(track, trackEnd));
  });
}

bool IsFragmentPart(FourCC type) {
  return type == MakeFourCC("moof") || type == MakeFourCC("styp") || type == MakeFourCC("sidx");
}

// Where what a segment index covers ends. Some writers count from where the edit list starts, others are with
// the media.
std::int64_t PresentationEnd(const CMP4MovieAtom& movie, const CMP4TrackAtom& track,
                             const CMP4SegmentIndexAtom& index, std::uint64_t endTime) {
  const std::int64_t start = MediaStartOf(track);
  const bool ofMedia = ToTimeUnits(ToTicks(index.start), index.timescale) >= start;
  return AddTimes(ToTimeUnits(ToTicks(endTime), index.timescale),
                  AddTimes(DelayOf(movie, track), ofMedia ? -start : 0));
}

// A segment index in front may cover just the first fragment: it tells the duration when no fragment follows
// what it covers.
std::int64_t IndexedEnd(FileReader& file, const CMP4MovieAtom& movie, const CMP4FragmentIndexes& indexes,
                        std::pmr::memory_resource* memory) {
  std::int64_t end = 0;
  for (const CMP4SegmentIndexAtom& index : indexes.segments) {
    const CMP4SegmentTotals totals = TotalsOf(index, memory);
    CMP4Atom behind{};
    if (ReadAtomHeader(file, totals.end, file.Size(), true, behind) && IsFragmentPart(behind.type)) return 0;
    const CMP4TrackAtom* const track = movie.FindTrack(index.trackId);
    if (track == nullptr) continue;
    end = std::max(end, PresentationEnd(movie, *track, index, totals.endTime));
  }
  return end;
}

// The earliest of the tracks' last indexed fragments, with the tracks put to the times that the index gives;
// `fallback` when there is no index.
std::uint64_t LastIndexedFragment(const CMP4MovieAtom& movie, const CMP4FragmentIndexes& indexes,
                                  std::uint64_t fallback, TrackEnds& ends) {
  std::uint64_t first = UINT64_MAX;
  for (const CMP4FragmentAccessAtom& access : indexes.accesses) {
    const CMP4TrackAtom* const track = movie.FindTrack(access.trackId);
    CMP4TableWindow entries(access.entries, ends.get_allocator().resource());
    if (track == nullptr || entries.Count() == 0) continue;
    CMP4Fields last = entries.Entry(entries.Count() - 1);
    const std::uint64_t time = last.Sized(access.wide);
    const std::uint64_t offset = last.Sized(access.wide);
    if (last.Failed()) continue;
    first = std::min(first, offset);
    TrackEnd& end = ends[static_cast<std::size_t>(track - movie.tracks.data())];
    end = {track->id, ToTicks(std::min(time, kMaxMediaTime)), 0, offset};
  }
  return first == UINT64_MAX ? fallback : first;
}

std::int64_t FragmentsEnd(FileReader& file, const CMP4MovieAtom& movie, std::pmr::memory_resource* memory) {
  if (movie.fragmentDuration > 0) return ToTimeUnits(ToTicks(movie.fragmentDuration), movie.timescale);
  CMP4FragmentIndexes indexes(memory);
  ReadSegmentIndexes(file, movie.next, indexes);
  const std::int64_t indexed = IndexedEnd(file, movie, indexes, memory);
  if (indexed > 0 || indexes.firstFragment == 0) return indexed;
  ReadFragmentAccesses(file, indexes);
  TrackEnds ends(movie.tracks.size(), TrackEnd{}, memory);
  for (std::size_t i = 0; i < ends.size(); ++i) {
    ends[i].trackId = movie.tracks[i].id;
    ends[i].decodeTime = ToTicks(TotalsOf(movie.tracks[i], memory).duration);
  }
  const std::uint64_t begin = LastIndexedFragment(movie, indexes, indexes.firstFragment, ends);
  return WalkFragments(file, movie, ends, begin, indexes.fragmentsEnd);
}

void AddRuns(const CMP4MovieFragmentAtom& fragment, std::uint32_t trackId, CMP4SampleTotals& totals) {
  std::pmr::memory_resource* const memory = fragment.tracks.get_allocator().resource();
  for (const CMP4TrackFragmentAtom& part : fragment.tracks) {
    if (part.defaults.trackId != trackId) continue;
    for (const CMP4TrackRunAtom& run : part.runs) {
      const CMP4RunTotals ofRun = TotalsOf(run, memory);
      if (CMP4Sample sample; totals.samples == 0 && CMP4RunReader(run, memory).Next(sample)) {
        totals.first = sample.duration;
      }
      totals.samples += ofRun.samples;
      totals.duration += ofRun.duration;
    }
  }
}

// The first samples of a track that fragments continue. These may begin with other tracks' or hold one frame
// each. The very first is left out when there are others: writers stretch it where the tracks do not start
// together.
CMP4SampleTotals FirstSamples(FileReader& file, const CMP4MovieAtom& movie, const CMP4TrackAtom& track,
                              std::pmr::memory_resource* memory) {
  CMP4SampleTotals totals = TotalsOf(track, memory);
  CMP4MovieFragmentAtom fragment(movie, memory);
  CMP4AtomWalker walker(file);
  fragment.next = movie.next;
  for (int walked = 0; walked < kRateFragments && totals.samples <= kEnoughSamples; ++walked) {
    if (!ReadMovieFragment(walker, fragment.next, file.Size(), fragment)) break;
    AddRuns(fragment, track.id, totals);
  }
  if (totals.samples <= 1) return totals;
  return {totals.samples - 1, totals.duration - std::min(totals.first, totals.duration)};
}

}  // namespace

std::int64_t TrackDuration(const CMP4MovieAtom& movie, const CMP4TrackAtom& track) {
  if (track.edits.present && track.edits.duration > 0) {
    return ToTimeUnits(ToTicks(track.edits.duration), movie.timescale);
  }
  if (track.mediaDuration > 0) {
    return PresentationEnd(movie, track, ToTicks(track.mediaDuration));
  }
  return ToTimeUnits(ToTicks(track.duration), movie.timescale);
}

std::int64_t TitleDuration(FileReader& file, const CMP4MovieAtom& movie, std::pmr::memory_resource* memory) {
  const FileReader::Limit limit = kDurationBudget.For(file);
  std::int64_t duration =
      Longest(movie, [&](const CMP4TrackAtom& track) { return TrackDuration(movie, track); });
  if (duration == 0) duration = ToTimeUnits(ToTicks(movie.duration), movie.timescale);
  if (movie.fragmented) duration = std::max(duration, FragmentsEnd(file, movie, memory));
  return duration;
}

CMP4SampleTotals TotalsOf(const CMP4TrackAtom& track, std::pmr::memory_resource* memory) {
  const CMP4SampleTableAtom& samples = track.sampleTable;
  if (samples.totals) return *samples.totals;
  if (samples.timeToSample.count > kMaxSummedRuns) {
    return {CountSamples(samples, *samples.timeToSample.file), track.mediaDuration};
  }
  return SumOfRuns(ReadWhole(samples.timeToSample, memory));
}

Fraction AverageRate(FileReader& file, const CMP4MovieAtom& movie, const CMP4TrackAtom& track,
                     std::pmr::memory_resource* memory) {
  const CMP4SampleTotals totals =
      movie.fragmented ? FirstSamples(file, movie, track, memory) : TotalsOf(track, memory);
  return Reduce(totals.samples * track.mediaTimescale, totals.duration);
}

}  // namespace qmf
