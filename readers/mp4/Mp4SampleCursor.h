#pragma once

#include <cstdint>
#include <memory_resource>

#include "readers/mp4/Mp4Fragments.h"
#include "readers/mp4/Mp4SampleTable.h"
#include "readers/mp4/Mp4SyncSamples.h"

namespace qmf {

/// Reads a table of runs {samples, value}, sample by sample.
class CMP4RunLengths {
 public:
  CMP4RunLengths(const CMP4Table& table, std::pmr::memory_resource* memory) : m_rows(table, memory) {}

  /// The next sample's value. Behind the table's end the last value goes on.
  std::uint32_t Next();
  /// Passes over `samples` from the table's start and gives the sum of their values.
  std::uint64_t SkipFromStart(std::uint64_t samples);
  /// The last sample that starts at or before `time`, taking values as durations.
  std::uint64_t SampleAt(std::uint64_t time);

 private:
  bool NextRow();

  CMP4TableWindow m_rows;
  std::uint64_t m_row = 0;
  std::uint64_t m_left = 0;
  std::uint32_t m_value = 0;
};

/// Consecutive samples in the file.
struct CMP4Chunk {
  std::uint64_t offset = 0;
  std::uint32_t samples = 0;
};

/// Reads the chunks front to back.
class CMP4Chunks {
 public:
  CMP4Chunks(const CMP4SampleTables& tables, std::pmr::memory_resource* memory)
      : m_rows(tables.sampleToChunk, memory),
        m_offsets(tables.chunkOffsets, memory),
        m_offsetSize(tables.chunkOffsets.entrySize) {}

  /// The next chunk that has samples.
  bool Next(CMP4Chunk& chunk);
  /// Makes the chunk that holds `sample` the next one and gives the number of its first sample.
  std::uint64_t MoveTo(std::uint64_t sample);

 private:
  std::uint64_t FirstOf(std::uint64_t row);

  CMP4TableWindow m_rows;
  CMP4TableWindow m_offsets;
  const std::uint32_t m_offsetSize;
  std::uint64_t m_row = 0;
  std::uint64_t m_chunk = 0;
};

/// How samples become blocks. Uncompressed sound has a sample for every instant; its blocks are made of many.
struct CMP4Packing {
  std::uint32_t samplesPerBlock = 0;  ///< 0 when every sample is a block.
  std::uint32_t samplesPerUnit = 1;
  std::uint32_t bytesPerUnit = 0;
};
CMP4Packing PackingOf(const CMP4TrackAtom& track, const CMP4SampleTables& tables,
                      std::pmr::memory_resource* memory);

/// Walks the samples of a track's tables in decoding order, through windows.
class CMP4SampleCursor {
 public:
  CMP4SampleCursor(const CMP4SampleTables& tables, const CMP4Packing& packing,
                   std::pmr::memory_resource* memory);

  bool Next(CMP4Sample& sample);
  /// Makes `sample` the next one.
  void MoveTo(std::uint64_t sample);
  /// The last sync sample at or before `time`, in media ticks; the first sample when there is none.
  std::uint64_t SyncAtOrBefore(std::uint64_t time);
  /// The first sync sample behind the one at `time`; kNone when there is none.
  std::uint64_t SyncBehind(std::uint64_t time);
  /// The last sync sample that is not behind `sample`, the first one that is; all ones when there is none.
  static constexpr std::uint64_t kNone = CMP4SyncSamples::kNone;
  std::uint64_t SyncBefore(std::uint64_t sample);
  std::uint64_t SyncAfter(std::uint64_t sample);

 private:
  bool NextPacked(CMP4Sample& sample);
  bool EnterChunk();
  bool SizeOf(std::uint64_t sample, std::uint32_t& size);
  bool IsSync(std::uint64_t sample);

  const CMP4SampleTables m_tables;
  const CMP4Packing m_packing;
  CMP4RunLengths m_durations;
  CMP4RunLengths m_offsets;
  CMP4Chunks m_chunks;
  CMP4TableWindow m_sizes;
  CMP4SyncSamples m_syncs;
  CMP4SyncSamples m_partialSyncs;
  std::uint64_t m_sample = 0;
  std::uint32_t m_leftInChunk = 0;
  std::uint64_t m_position = 0;
  std::int64_t m_time = 0;
};

}  // namespace qmf
