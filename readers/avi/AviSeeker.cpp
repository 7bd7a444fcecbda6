#include "readers/avi/AviSeeker.h"

#include "readers/avi/AviIndex.h"
#include "readers/avi/AviKeyFrames.h"
#include "readers/avi/AviTime.h"

namespace qmf {

AviSeeker::AviSeeker(FileReader& file, const AviTitle& title, AviSeekTable& table, QMFAllocator* memory)
    : m_file(file),
      m_title(title),
      m_table(table),
      m_memory(memory),
      m_movi(file, title, memory),
      m_leader(title.hasVideo ? 0 : kMaxAviVideoStreams) {
  m_table.Clear();  // Of an earlier try that ran out of memory.
  m_table.Reserve(title.Video().header.Length());
  if (title.hasIndex) LoadIndex();
}

bool AviSeeker::Find(std::uint64_t offset, AviMediaChunk& chunk) {
  const bool reachesFrontier = offset <= m_frontier.offset;
  if (!m_movi.Next(offset, chunk)) {
    m_complete = m_complete || reachesFrontier;
    return false;
  }
  if (reachesFrontier && chunk.Next() > m_frontier.offset) {
    Note(chunk, chunk.place == m_leader && Detect(chunk) == QMFBlock::kKey);
  }
  return true;
}

void AviSeeker::Note(const AviMediaChunk& chunk, bool isKey) {
  m_frontier.offset = chunk.offset;
  // Nothing can be decoded from a frame that was left out, whatever an index says.
  if (chunk.place == m_leader) m_table.Note(m_frontier, isKey && chunk.size > 0);
  m_frontier.counts[chunk.place] += m_title.streams[chunk.place].CountOf(chunk.size);
  m_frontier.offset = chunk.Next();
}

QMFBlock::KeyState AviSeeker::Detect(const AviMediaChunk& chunk) {
  const AviStream& stream = m_title.streams[chunk.place];
  if (stream.kind != kStreamVideo) return QMFBlock::kKey;
  const std::size_t count = std::min<std::size_t>(chunk.size, kAviKeyFrameBytes);
  return DetectAviKeyFrame(stream.video.Compression(), m_file.View(chunk.Payload(), count));
}

QMFBlock::KeyState AviSeeker::KeyStateOf(const AviMediaChunk& chunk, std::uint64_t count) {
  if (chunk.place != m_leader || count >= m_indexedFrames) return Detect(chunk);
  return m_table.IsKey(count) ? QMFBlock::kKey : QMFBlock::kNotKey;
}

void AviSeeker::LoadIndex() {
  if (!FillFromIndexes()) {
    RejectIndex();
    return;
  }
  m_indexedFrames = m_table.FrameCount();
  m_leavesOut = LeavesOutStreams();
  // An index usually ends with the file, sometimes with its first RIFF.
  AviMediaChunk behind;
  (void)Find(m_frontier.offset, behind);
}

void AviSeeker::RejectIndex() {
  m_table.Clear();
  m_frontier = {};
  m_indexedFrames = 0;
  m_leavesOut = false;
  m_badIndex = true;
  m_complete = false;
}

bool AviSeeker::FillFromIndexes() {
  if (m_title.hasOpenDmlIndex && AviOpenDmlIndex::IsWhole(m_title)) {
    const FileReader::Limit limit = LimitOfAviIndexes(m_file);
    AviOpenDmlIndex index(m_file, m_title, m_memory);
    if (FillFrom(index) && !index.IsBad()) return true;
    RejectIndex();
  }
  if (m_title.legacyIndexOffset == 0) return false;
  AviLegacyIndex index(m_file, m_title, m_movi);
  return FillFrom(index);
}

// Whether each block of the leader is one from which decoding can start, as far as its codec tells.
bool AviSeeker::HasKeysOnly() const {
  return !m_title.hasVideo || DetectAviKeyFrame(m_title.Video().video.Compression(), {}) == QMFBlock::kKey;
}

// An index is believed when its first and last block stand where it says, in file order between them, and it
// knows a key frame: some writers set no flags, also for codecs that have nothing but key frames.
template <class Index>
bool AviSeeker::FillFrom(Index& index) {
  AviIndexEntry entry;
  if (!index.Next(entry) || !m_movi.Holds(entry.chunk)) return false;
  const bool keysOnly = HasKeysOnly();
  AviMediaChunk last;
  do {
    // One byte back where a pad byte is missing.
    if (entry.chunk.offset + 1 < m_frontier.offset) return false;
    Note(entry.chunk, entry.isKey || keysOnly);
    last = entry.chunk;
  } while (index.Next(entry));
  return m_movi.Holds(last) && m_table.KeyFrom(0).has_value();
}

// Whether a stream that says it has blocks is in none of the index's entries.
bool AviSeeker::LeavesOutStreams() const {
  for (std::size_t place = 0; place < kMaxAviStreams; ++place) {
    const AviStream& stream = m_title.streams[place];
    const bool hasBlocks = stream.kind != kStreamNone && stream.header.Length() > 0;
    if (hasBlocks && m_frontier.counts[place] == 0) return true;
  }
  return false;
}

// What comes before `position`, of streams that the index leaves out too.
void AviSeeker::CountAnew(AviPosition& position) {
  AviPosition at;
  for (AviMediaChunk chunk; Find(at.offset, chunk) && chunk.offset < position.offset;) {
    at.counts[chunk.place] += m_title.streams[chunk.place].CountOf(chunk.size);
    at.offset = chunk.Next();
  }
  position.counts = at.counts;
}

void AviSeeker::NoteUntil(std::uint64_t frame) {
  AviMediaChunk chunk;
  while (m_table.FrameCount() <= frame && !IsComplete() && Find(m_frontier.offset, chunk)) {
  }
}

bool AviSeeker::Locate(std::size_t place, std::int64_t time, AviPosition& position) {
  const AviStream& stream = m_title.streams[place];
  const std::optional<std::uint64_t> count = AviCountAt(stream, time);
  if (stream.kind != kStreamVideo) return LocateBlock(place, count, position);
  return LocateKeyFrame(count.value_or(0), position);
}

bool AviSeeker::LocateKeyFrame(std::uint64_t frame, AviPosition& position) {
  NoteUntil(frame);
  const std::uint64_t key = m_table.KeyAtOrBefore(frame).value_or(0);
  const AviPosition* const noted = m_table.Before(key);
  position = noted != nullptr ? *noted : AviPosition{};
  AviMediaChunk chunk;
  if (noted != nullptr && m_indexedFrames > 0 &&
      (!Find(noted->offset, chunk) || chunk.offset != noted->offset || chunk.place != m_leader)) {
    RejectIndex();
    return LocateKeyFrame(frame, position);
  }
  const bool found = WalkTo(m_leader, key, position);
  if (found && m_leavesOut) CountAnew(position);
  return found;
}

bool AviSeeker::LocateBlock(std::size_t place, std::optional<std::uint64_t> count, AviPosition& position) {
  const AviPosition* const noted = count && !m_leavesOut ? m_table.BeforeCount(place, *count) : nullptr;
  position = noted != nullptr ? *noted : AviPosition{};
  return WalkTo(place, count, position);
}

// Goes on to the last block of a stream that starts at `count` or before, or to the first one.
bool AviSeeker::WalkTo(std::size_t place, std::optional<std::uint64_t> count, AviPosition& position) {
  std::optional<AviPosition> found;
  AviPosition at = position;
  for (AviMediaChunk chunk; Find(at.offset, chunk); at.offset = chunk.Next()) {
    at.offset = chunk.offset;
    if (chunk.place == place) {
      if (found && (!count || at.counts[place] > *count)) break;
      found = at;
      if (!count || at.counts[place] >= *count) break;
    }
    at.counts[chunk.place] += m_title.streams[chunk.place].CountOf(chunk.size);
  }
  if (found) position = *found;
  return found.has_value();
}

}  // namespace qmf
