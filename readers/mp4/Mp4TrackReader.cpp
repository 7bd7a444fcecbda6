#include "readers/mp4/Mp4TrackReader.h"

#include <algorithm>

#include "readers/mp4/Mp4Indexes.h"
#include "readers/mp4/Mp4Time.h"
#include "readers/mp4/Mp4Timing.h"

namespace qmf {
namespace {

CMP4SampleTables TablesOf(const CMP4TrackContext& context) {
  CMP4SampleTables tables;
  LocateSampleTables(context.track.sampleTable, *context.movie.file, tables);
  return tables;
}

}  // namespace

CMP4TrackReader::CMP4TrackReader(const CMP4TrackContext& context)
    : m_context(context),
      m_fragmented(context.movie.fragmented && context.movie.FindTrack(context.track.id) == &context.track),
      m_tables(TablesOf(context)),
      m_cursor(m_tables, PackingOf(context.track, m_tables, context.memory), context.memory),
      m_nextFragment(context.movie.next),
      m_runs(context.memory) {
  if (m_fragmented) m_tablesEnd = ToTicks(TotalsOf(context.track, context.memory).duration);
  m_time = m_tablesEnd;
}

void CMP4TrackReader::Load() {
  if (m_state != State::kUnknown) return;
  if (m_inTables && m_cursor.Next(m_sample)) {
    m_state = State::kLoaded;
    return;
  }
  m_inTables = false;
  if (!m_fragmented) {
    m_state = State::kEnded;
  } else if (NextOfFragment()) {
    m_state = State::kLoaded;
  } else if (!EnterFragment()) {
    m_state = State::kEnded;
  }
}

bool CMP4TrackReader::LoadNext() {
  while (m_state == State::kUnknown) Load();
  return m_state == State::kLoaded;
}

bool CMP4TrackReader::NextOfFragment() {
  for (; m_run < m_runs.size(); ++m_run, m_reader.reset()) {
    if (!m_reader) m_reader.emplace(m_runs[m_run], m_context.memory);
    if (m_reader->Next(m_sample)) {
      ++m_place.sample;
      return true;
    }
  }
  return false;
}

// Reads the next fragment's runs, of which there may be none for the track. False behind the last fragment.
bool CMP4TrackReader::EnterFragment() {
  m_runs.clear();
  m_run = 0;
  m_reader.reset();
  CMP4AtomWalker walker(m_context.file);
  CMP4MovieFragmentAtom fragment(m_context.movie, m_context.memory);
  if (!ReadMovieFragment(walker, m_nextFragment, m_context.file.Size(), fragment)) return false;
  m_place = {fragment.start, m_time, 0};
  for (CMP4TrackFragmentAtom& part : fragment.tracks) {
    if (part.defaults.trackId != m_context.track.id) continue;
    ResolveRuns(part, m_time);
    m_runs.insert(m_runs.end(), part.runs.begin(), part.runs.end());
  }
  m_nextFragment = fragment.next;
  return true;
}

void CMP4TrackReader::GoTo(const FragmentPlace& place) {
  m_inTables = false;
  m_nextFragment = place.fragment;
  m_time = place.decodeTime;
  m_state = State::kUnknown;
  if (!EnterFragment()) return;
  while (m_place.sample < place.sample && NextOfFragment()) continue;
}

void CMP4TrackReader::ToTables(std::uint64_t sample) {
  m_inTables = true;
  m_nextFragment = m_context.movie.next;
  m_time = m_tablesEnd;
  m_runs.clear();
  m_cursor.MoveTo(sample);
  m_state = State::kUnknown;
}

// Where the file's indexes let the walk to `time` begin.
std::optional<CMP4TrackReader::FragmentPlace> CMP4TrackReader::IndexedPlace(std::int64_t time) const {
  CMP4FragmentIndexes indexes(m_context.memory);
  ReadSegmentIndexes(m_context.file, m_context.movie.next, indexes);
  ReadFragmentAccesses(m_context.file, indexes);
  CMP4IndexedFragment fragment;
  const CMP4TrackAtom& track = m_context.track;
  if (!FindIndexedFragment(indexes, track.id, track.mediaTimescale, time, fragment)) return std::nullopt;
  return FragmentPlace{fragment.offset, fragment.time, 0};
}

// Walks the fragments from `start` up to `time` and gives the last sync sample on the way.
std::optional<CMP4TrackReader::FragmentPlace> CMP4TrackReader::SyncFragment(const FragmentPlace& start,
                                                                            std::int64_t time,
                                                                            std::uint32_t most) {
  std::optional<FragmentPlace> found;
  GoTo(start);
  for (std::uint32_t passed = 0; passed < most && LoadNext(); ++passed) {
    if (m_sample.decodeTime > time) break;
    if (m_sample.sync) found = {m_place.fragment, m_place.decodeTime, m_place.sample - 1};
    Advance();
  }
  return found;
}

bool CMP4TrackReader::Seek(std::int64_t time, std::uint32_t most) {
  most = std::min(most, kMaxSamplesSought);
  if (m_fragmented && (time >= m_tablesEnd || m_tables.sampleCount == 0)) {
    std::optional<FragmentPlace> place = IndexedPlace(time);
    if (place) place = SyncFragment(*place, time, most);
    if (!place) place = SyncFragment({m_context.movie.next, m_tablesEnd, 0}, time, most);
    if (place) {
      GoTo(*place);
      return LoadNext();
    }
  }
  ToTables(m_cursor.SyncAtOrBefore(time > 0 ? static_cast<std::uint64_t>(time) : 0));
  return LoadNext();
}

bool CMP4TrackReader::SeekAfter(std::int64_t time) {
  const std::uint64_t sample = m_cursor.SyncBehind(time > 0 ? static_cast<std::uint64_t>(time) : 0);
  if (time < 0 && Seek(time) && m_sample.sync) return true;
  if (sample != CMP4SampleCursor::kNone) {
    ToTables(sample);
    return LoadNext();
  }
  if (!m_fragmented) return false;
  if (!Seek(std::max(time, m_tablesEnd))) return false;
  for (std::uint32_t passed = 0; passed < kMaxSamplesSought && LoadNext(); ++passed) {
    if (m_sample.sync && m_sample.decodeTime > time) return true;
    Advance();
  }
  return false;
}

}  // namespace qmf
