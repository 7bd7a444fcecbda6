#include "readers/mp4/Mp4Fragments.h"

#include <algorithm>

#include "readers/mp4/Mp4Time.h"

namespace qmf {
namespace {

// Limits of one fragment. Runs, and samples that have entries of their own: over an hour of sound.
constexpr std::uint32_t kMaxRuns = 16384;
constexpr std::uint64_t kMaxSamples = 1U << 18;
constexpr std::uint32_t kNotSync = 0x10000;  // sample_is_non_sync_sample

enum FragmentHeaderFlag : std::uint32_t {
  kBaseDataOffset = 0x1,
  kDescriptionIndex = 0x2,
  kDefaultDuration = 0x8,
  kDefaultSize = 0x10,
  kDefaultFlags = 0x20,
  kBaseIsFragment = 0x20000,
};

enum RunFlag : std::uint32_t {
  kDataOffset = 0x1,
  kFirstSampleFlags = 0x4,
  kDuration = 0x100,
  kSize = 0x200,
  kFlags = 0x400,
  kCompositionOffset = 0x800,
};

AtomVerdict BeginFragment(CMP4MovieFragmentAtom& fragment, CMP4Atom& atom) {
  fragment.start = atom.start;
  fragment.next = atom.end;
  fragment.tracks.clear();
  fragment.runs = 0;
  fragment.samples = 0;
  return AtomVerdict::kStop;
}

AtomVerdict BeginTrackFragment(CMP4MovieFragmentAtom& fragment, CMP4Atom&) {
  if (fragment.tracks.size() == CMP4MovieAtom::kMaxTracks) return AtomVerdict::kIgnored;
  fragment.tracks.emplace_back(fragment.tracks.get_allocator().resource());
  return AtomVerdict::kTaken;
}

void EndTrackFragment(CMP4MovieFragmentAtom& fragment, bool complete) {
  if (!complete) fragment.tracks.pop_back();
}

AtomVerdict ReadTrackFragmentHeader(CMP4MovieFragmentAtom& fragment, CMP4Atom& atom) {
  CMP4TrackFragmentAtom& track = fragment.tracks.back();
  CMP4Fields fields = atom.Fields();
  const std::uint32_t flags = fields.U32() & 0xFFFFFF;
  const std::uint32_t id = fields.U32();
  track.defaults = fragment.movie.ExtendsOf(id);
  track.defaults.trackId = id;
  track.hasBase = (flags & kBaseDataOffset) != 0;
  track.baseIsFragment = (flags & kBaseIsFragment) != 0;
  if (track.hasBase) track.base = fields.U64();
  if ((flags & kDescriptionIndex) != 0) fields.Skip(4);
  if ((flags & kDefaultDuration) != 0) track.defaults.duration = fields.U32();
  if ((flags & kDefaultSize) != 0) track.defaults.size = fields.U32();
  if ((flags & kDefaultFlags) != 0) track.defaults.flags = fields.U32();
  return fields.Failed() ? AtomVerdict::kIgnored : AtomVerdict::kTaken;
}

AtomVerdict ReadDecodeTime(CMP4MovieFragmentAtom& fragment, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  const bool wide = fields.U8() == 1;
  fields.Skip(3);
  const std::uint64_t time = fields.Sized(wide);
  if (fields.Failed() || time > kMaxMediaTime) return AtomVerdict::kIgnored;
  fragment.tracks.back().hasDecodeTime = true;
  fragment.tracks.back().decodeTime = static_cast<std::int64_t>(time);
  return AtomVerdict::kTaken;
}

AtomVerdict ReadRun(CMP4MovieFragmentAtom& fragment, CMP4Atom& atom) {
  CMP4TrackFragmentAtom& track = fragment.tracks.back();
  CMP4Fields fields = atom.Fields();
  CMP4TrackRunAtom run;
  run.flags = fields.U32() & 0xFFFFFF;
  run.count = fields.U32();
  run.defaults = track.defaults;
  run.hasDataOffset = (run.flags & kDataOffset) != 0;
  if (run.hasDataOffset) run.relativeOffset = static_cast<std::int32_t>(fields.U32());
  if ((run.flags & kFirstSampleFlags) != 0) run.firstSampleFlags = fields.U32();
  if (fields.Failed() || fragment.runs == kMaxRuns) return AtomVerdict::kIgnored;
  std::uint32_t entrySize = 0;
  for (const std::uint32_t field : {kDuration, kSize, kFlags, kCompositionOffset}) {
    if ((run.flags & field) != 0) entrySize += 4;
  }
  if (entrySize > 0) {
    const std::uint64_t header =
        8 + (run.hasDataOffset ? 4U : 0U) + ((run.flags & kFirstSampleFlags) != 0 ? 4U : 0U);
    run.entries = CMP4Table::InAtom(
        atom, header, std::min<std::uint64_t>(run.count, kMaxSamples - fragment.samples), entrySize);
    fragment.samples += run.entries.count;
    run.count = static_cast<std::uint32_t>(run.entries.count);
  } else {
    // Nothing but a count, which may claim anything: no more than the file has bytes for.
    const std::uint64_t most = run.defaults.size != 0 ? atom.file->Size() / run.defaults.size : 0;
    run.count = static_cast<std::uint32_t>(std::min<std::uint64_t>(run.count, most));
  }
  ++fragment.runs;
  track.runs.push_back(run);
  return AtomVerdict::kTaken;
}

using Row = AtomRow<CMP4MovieFragmentAtom>;
using enum AtomUse;

constexpr Row kTrackFragmentRows[] = {
    {MakeFourCC("tfhd"), kRequired, ReadTrackFragmentHeader},
    {MakeFourCC("tfdt"), kOptional, ReadDecodeTime},
    {MakeFourCC("trun"), kRepeated, ReadRun},
};
constexpr Row kFragmentRows[] = {
    {MakeFourCC("traf"), kRepeated, BeginTrackFragment, kTrackFragmentRows, EndTrackFragment}};
constexpr Row kFileRows[] = {{MakeFourCC("moof"), kRequired, BeginFragment, kFragmentRows}};

std::uint64_t EndOf(const CMP4TrackRunAtom& run, std::pmr::memory_resource* memory) {
  return run.dataOffset + TotalsOf(run, memory).size;
}

// A run without an offset starts where the data before it ends.
void PlaceRuns(CMP4MovieFragmentAtom& fragment) {
  std::pmr::memory_resource* const memory = fragment.tracks.get_allocator().resource();
  const CMP4TrackRunAtom* before = nullptr;
  for (CMP4TrackFragmentAtom& track : fragment.tracks) {
    if (!track.hasBase) {
      track.base = track.baseIsFragment || before == nullptr ? fragment.start : EndOf(*before, memory);
    }
    before = nullptr;
    for (CMP4TrackRunAtom& run : track.runs) {
      const std::uint64_t relative =
          track.base + static_cast<std::uint64_t>(std::int64_t{run.relativeOffset});
      run.dataOffset = run.hasDataOffset || before == nullptr ? relative : EndOf(*before, memory);
      before = &run;
    }
  }
}

}  // namespace

bool ReadMovieFragment(CMP4AtomWalker& walker, std::uint64_t begin, std::uint64_t end,
                       CMP4MovieFragmentAtom& fragment) {
  if (!walker.Walk<CMP4MovieFragmentAtom>(fragment, kFileRows, begin, end, true)) return false;
  PlaceRuns(fragment);
  return true;
}

std::int64_t ResolveRuns(CMP4TrackFragmentAtom& part, std::int64_t& decodeTime) {
  std::pmr::memory_resource* const memory = part.runs.get_allocator().resource();
  std::int64_t shownEnd = 0;
  if (part.hasDecodeTime) decodeTime = part.decodeTime;
  for (CMP4TrackRunAtom& run : part.runs) {
    const CMP4RunTotals totals = TotalsOf(run, memory);
    shownEnd = std::max(shownEnd, AddTimes(decodeTime, totals.shownEnd));
    run.decodeTime = decodeTime;
    decodeTime += ToTicks(std::min(totals.duration, kMaxMediaTime));
    decodeTime = std::min(decodeTime, ToTicks(kMaxMediaTime));
  }
  return shownEnd;
}

CMP4RunTotals TotalsOf(const CMP4TrackRunAtom& run, std::pmr::memory_resource* memory) {
  if ((run.flags & (kDuration | kSize | kCompositionOffset)) == 0) {
    const std::uint64_t duration = std::uint64_t{run.count} * run.defaults.duration;
    return {run.count, duration, std::uint64_t{run.count} * run.defaults.size, ToTicks(duration)};
  }
  CMP4RunTotals totals;
  CMP4RunReader reader(run, memory);
  for (CMP4Sample sample; reader.Next(sample);) {
    ++totals.samples;
    totals.duration += sample.duration;
    totals.size += sample.size;
    totals.shownEnd = std::max(totals.shownEnd, ToTicks(totals.duration) + sample.compositionOffset);
  }
  return totals;
}

bool CMP4RunReader::Next(CMP4Sample& sample) {
  if (m_index == m_run.count) return false;
  CMP4Fields entry = m_entries.Entry(m_index);
  std::uint32_t flags =
      m_index == 0 && (m_run.flags & kFirstSampleFlags) != 0 ? m_run.firstSampleFlags : m_run.defaults.flags;
  sample.duration = (m_run.flags & kDuration) != 0 ? entry.U32() : m_run.defaults.duration;
  sample.size = (m_run.flags & kSize) != 0 ? entry.U32() : m_run.defaults.size;
  if ((m_run.flags & kFlags) != 0) flags = entry.U32();
  sample.compositionOffset =
      (m_run.flags & kCompositionOffset) != 0 ? static_cast<std::int32_t>(entry.U32()) : 0;
  if (entry.Failed()) return false;
  sample.sync = (flags & kNotSync) == 0;
  sample.offset = m_offset;
  sample.decodeTime = m_time;
  m_offset += sample.size;
  m_time += sample.duration;
  ++m_index;
  return true;
}

}  // namespace qmf
