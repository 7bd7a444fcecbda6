#include "readers/mp4/Mp4SampleCursor.h"

#include <algorithm>
#include <iterator>

#include "readers/mp4/Mp4CodecTable.h"
#include "readers/mp4/Mp4Time.h"

namespace qmf {
namespace {

// A block of uncompressed sound: a fiftieth of a second at 48 kHz, and what other readers deliver.
constexpr std::uint32_t kSoundBlock = 1024;
// Samples of a chunk whose sizes are added up to reach a later one of them.
constexpr std::uint64_t kMaxSamplesPassed = 1U << 20;
// Units of more samples than this are frames of a coding, each a block.
constexpr std::uint32_t kFrameUnit = 160;

// Packets of QuickTime's old codings, which sample entries of version 0 leave out.
struct KnownPacket {
  FourCC type;
  std::uint32_t samples;
  std::uint32_t bytesOfChannel;
};
constexpr KnownPacket kKnownPackets[] = {
    {MakeFourCC("ima4"), 64, 34},
    {MakeFourCC("MAC3"), 6, 2},
    {MakeFourCC("MAC6"), 6, 1},
    {MakeFourCC("agsm"), 160, 33},
};

// The units that sound of constant rate comes in.
CMP4Packing UnitsOf(const CMP4SampleDescription& description, std::uint32_t uniformSize) {
  const auto* const known = std::ranges::find(kKnownPackets, description.format, &KnownPacket::type);
  if (description.samplesPerPacket == 0 && known != std::end(kKnownPackets)) {
    return {0, known->samples, known->bytesOfChannel * description.channels};
  }
  if (description.samplesPerPacket > 1) return {0, description.samplesPerPacket, description.bytesPerPacket};
  const std::uint32_t pcm = PcmFrameBytes(description);
  return {0, 1, pcm != 0 ? pcm : uniformSize};
}

}  // namespace

bool CMP4RunLengths::NextRow() {
  CMP4Fields row = m_rows.Entry(m_row);
  const std::uint32_t samples = row.U32();
  const std::uint32_t value = row.U32();
  if (row.Failed()) return false;
  ++m_row;
  m_left = samples;
  m_value = value;
  return true;
}

std::uint32_t CMP4RunLengths::Next() {
  for (int idle = 0; m_left == 0 && idle < kMaxIdleRows && NextRow(); ++idle) continue;
  if (m_left > 0) --m_left;
  return m_value;
}

std::uint64_t CMP4RunLengths::SkipFromStart(std::uint64_t samples) {
  m_row = 0;
  m_left = 0;
  std::uint64_t sum = 0;
  int idle = 0;
  while (samples > 0 && idle < kMaxIdleRows && NextRow()) {
    idle = m_left == 0 ? idle + 1 : 0;
    const std::uint64_t passed = std::min(samples, m_left);
    sum += std::min(passed * m_value, kMaxMediaTime - sum);
    m_left -= passed;
    samples -= passed;
  }
  return sum;
}

std::uint64_t CMP4RunLengths::SampleAt(std::uint64_t time) {
  m_row = 0;
  std::uint64_t sample = 0;
  int idle = 0;
  while (idle < kMaxIdleRows && NextRow()) {
    idle = m_left == 0 ? idle + 1 : 0;
    const std::uint64_t duration = m_left * m_value;
    if (time < duration) return sample + time / m_value;
    time -= duration;
    sample += m_left;
  }
  return sample > 0 ? sample - 1 : 0;
}

// The number of the first chunk of row `row`; past the last chunk when there is no such row.
std::uint64_t CMP4Chunks::FirstOf(std::uint64_t row) {
  CMP4Fields fields = m_rows.Entry(row);
  const std::uint32_t first = fields.U32();
  return fields.Failed() ? m_offsets.Count() + 1 : first;
}

bool CMP4Chunks::Next(CMP4Chunk& chunk) {
  for (int idle = 0; idle < kMaxIdleRows; ++idle) {
    const std::uint64_t number = m_chunk + 1;
    const std::uint64_t next = FirstOf(m_row + 1);
    if (next <= number && m_row + 1 < m_rows.Count()) {
      ++m_row;
      continue;
    }
    CMP4Fields row = m_rows.Entry(m_row);
    const std::uint64_t first = row.U32();
    chunk.samples = row.U32();
    if (row.Failed()) return false;
    if (first <= number && chunk.samples > 0) {
      CMP4Fields offset = m_offsets.Entry(m_chunk);
      chunk.offset = offset.Number(m_offsetSize);
      ++m_chunk;
      return !offset.Failed();
    }
    m_chunk = std::max(number, first > number ? first : next) - 1;
    if (m_chunk >= m_offsets.Count()) return false;
  }
  return false;
}

std::uint64_t CMP4Chunks::MoveTo(std::uint64_t sample) {
  std::uint64_t before = 0;
  const std::uint64_t end = m_offsets.Count() + 1;
  int idle = 0;
  for (m_row = 0; m_row < m_rows.Count() && idle < kMaxIdleRows; ++m_row) {
    CMP4Fields row = m_rows.Entry(m_row);
    const std::uint64_t first = std::max<std::uint32_t>(row.U32(), 1);
    const std::uint64_t samples = row.U32();
    if (row.Failed()) break;
    const std::uint64_t next = std::min(FirstOf(m_row + 1), end);
    const std::uint64_t chunks = next > first ? next - first : 0;
    idle = chunks * samples == 0 ? idle + 1 : 0;
    if (samples > 0 && (sample - before) / samples < chunks) {
      const std::uint64_t skipped = (sample - before) / samples;
      m_chunk = first - 1 + skipped;
      return before + skipped * samples;
    }
    before += chunks * samples;
  }
  m_row = 0;
  m_chunk = m_offsets.Count();
  return sample;
}

CMP4Packing PackingOf(const CMP4TrackAtom& track, const CMP4SampleTables& tables,
                      std::pmr::memory_resource* memory) {
  if (track.handler != MakeFourCC("soun") || tables.timeToSample.count != 1) return {};
  CMP4TableWindow times(tables.timeToSample, memory);
  CMP4Fields row = times.Entry(0);
  row.Skip(4);
  if (row.U32() != 1) return {};
  CMP4Packing packing = UnitsOf(track.sampleTable.description, tables.uniformSize);
  if (packing.bytesPerUnit == 0) return {};
  const bool unitIsFrame = packing.samplesPerUnit >= kFrameUnit;
  packing.samplesPerBlock =
      unitIsFrame ? packing.samplesPerUnit : kSoundBlock / packing.samplesPerUnit * packing.samplesPerUnit;
  return packing;
}

CMP4SampleCursor::CMP4SampleCursor(const CMP4SampleTables& tables, const CMP4Packing& packing,
                                   std::pmr::memory_resource* memory)
    : m_tables(tables),
      m_packing(packing),
      m_durations(tables.timeToSample, memory),
      m_offsets(tables.compositionOffsets, memory),
      m_chunks(tables, memory),
      m_sizes(tables.sizes, memory),
      m_syncs(tables.syncSamples, memory),
      m_partialSyncs(tables.partialSyncSamples, memory) {}

bool CMP4SampleCursor::EnterChunk() {
  if (m_leftInChunk > 0) return true;
  CMP4Chunk chunk;
  if (!m_chunks.Next(chunk)) return false;
  m_position = chunk.offset;
  m_leftInChunk = chunk.samples;
  return true;
}

bool CMP4SampleCursor::SizeOf(std::uint64_t sample, std::uint32_t& size) {
  size = m_tables.uniformSize;
  if (size != 0) return true;
  const bool halves = m_tables.sizeBits == 4;
  CMP4Fields entry = m_sizes.Entry(halves ? sample / 2 : sample);
  size = static_cast<std::uint32_t>(entry.Number(halves ? 1 : m_tables.sizeBits / 8));
  if (halves) size = sample % 2 == 0 ? size >> 4 : size & 0xF;
  return !entry.Failed();
}

bool CMP4SampleCursor::IsSync(std::uint64_t sample) {
  return !m_tables.hasSyncSamples || m_syncs.Has(sample) || m_partialSyncs.Has(sample);
}

bool CMP4SampleCursor::Next(CMP4Sample& sample) {
  if (m_packing.samplesPerBlock > 0) return NextPacked(sample);
  if (m_sample >= m_tables.sampleCount || !EnterChunk() || !SizeOf(m_sample, sample.size)) return false;
  sample.offset = m_position;
  sample.decodeTime = m_time;
  sample.duration = m_durations.Next();
  sample.compositionOffset = static_cast<std::int32_t>(m_offsets.Next());
  sample.sync = IsSync(m_sample);
  m_position += sample.size;
  m_time += sample.duration;
  --m_leftInChunk;
  ++m_sample;
  return true;
}

bool CMP4SampleCursor::NextPacked(CMP4Sample& sample) {
  if (!EnterChunk()) return false;
  const std::uint32_t samples = std::min(m_packing.samplesPerBlock, m_leftInChunk);
  const std::uint32_t units = (samples + m_packing.samplesPerUnit - 1) / m_packing.samplesPerUnit;
  const std::uint64_t size = std::uint64_t{units} * m_packing.bytesPerUnit;
  if (size > UINT32_MAX) return false;
  sample = {m_position, static_cast<std::uint32_t>(size), m_time, samples, 0, true};
  m_position += size;
  m_time += samples;
  m_leftInChunk -= samples;
  m_sample += samples;
  return true;
}

void CMP4SampleCursor::MoveTo(std::uint64_t sample) {
  m_time = ToTicks(m_durations.SkipFromStart(sample));
  m_offsets.SkipFromStart(sample);
  m_syncs.MoveTo(sample);
  m_partialSyncs.MoveTo(sample);
  m_leftInChunk = 0;
  m_sample = m_chunks.MoveTo(sample);
  if (!EnterChunk()) return;
  const std::uint64_t skipped = sample - m_sample;
  if (m_packing.samplesPerBlock > 0) {
    m_position += skipped / m_packing.samplesPerUnit * m_packing.bytesPerUnit;
  } else if (m_tables.uniformSize != 0) {
    m_position += skipped * m_tables.uniformSize;
  } else {
    const std::uint64_t passed = std::min(skipped, kMaxSamplesPassed);
    std::uint32_t size = 0;
    for (std::uint64_t i = 0; i < passed && SizeOf(m_sample + i, size); ++i) m_position += size;
  }
  m_leftInChunk -= static_cast<std::uint32_t>(std::min<std::uint64_t>(skipped, m_leftInChunk));
  m_sample = sample;
}

std::uint64_t CMP4SampleCursor::SyncBefore(std::uint64_t sample) {
  if (m_tables.sampleCount == 0) return kNone;
  sample = std::min(sample, m_tables.sampleCount - 1);
  if (!m_tables.hasSyncSamples) return sample;
  const std::uint64_t whole = m_syncs.AtOrBefore(sample);
  const std::uint64_t partial = m_partialSyncs.AtOrBefore(sample);
  return whole == kNone || partial == kNone ? std::min(whole, partial) : std::max(whole, partial);
}

std::uint64_t CMP4SampleCursor::SyncAfter(std::uint64_t sample) {
  if (m_tables.sampleCount == 0 || sample >= m_tables.sampleCount - 1) return kNone;
  if (!m_tables.hasSyncSamples) return sample + 1;
  const std::uint64_t next = std::min(m_syncs.After(sample), m_partialSyncs.After(sample));
  return next < m_tables.sampleCount ? next : kNone;
}

std::uint64_t CMP4SampleCursor::SyncBehind(std::uint64_t time) {
  return SyncAfter(m_durations.SampleAt(time));
}

std::uint64_t CMP4SampleCursor::SyncAtOrBefore(std::uint64_t time) {
  const std::uint64_t sample = m_durations.SampleAt(time);
  if (m_packing.samplesPerBlock > 0) return sample - sample % m_packing.samplesPerUnit;
  const std::uint64_t sync = SyncBefore(sample);
  return sync == kNone ? 0 : sync;
}

}  // namespace qmf
