#pragma once

#include <cstdint>

#include "readers/mp4/Mp4Atoms.h"

namespace qmf {

/// The tables of 'stbl' that blocks are found by. What the file lacks has no entries.
struct CMP4SampleTables {
  CMP4Table timeToSample;        ///< {samples, ticks each}.
  CMP4Table compositionOffsets;  ///< {samples, ticks}.
  CMP4Table sampleToChunk;       ///< {first chunk (from 1), samples a chunk, description}.
  CMP4Table chunkOffsets;        ///< 32 or 64 bits each.
  CMP4Table syncSamples;         ///< Sample numbers, from 1.
  CMP4Table partialSyncSamples;  ///< QuickTime's: sync samples behind which some frames cannot be decoded.
  bool hasSyncSamples = false;   ///< Without the table every sample is a sync sample.
  std::uint64_t sampleCount = 0;
  std::uint32_t uniformSize = 0;  ///< Bytes of every sample; 0 when `sizes` tells.
  CMP4Table sizes;
  std::uint32_t sizeBits = 32;  ///< 4, 8, 16 or 32; of 4 bits two are in each entry, the high ones first.
};

/// Finds the tables; reads none of them.
void LocateSampleTables(const CMP4SampleTableAtom& atom, FileReader& file, CMP4SampleTables& tables);

/// How many samples the size table has, without reading it. 0 where it stands behind some 256 other atoms.
std::uint64_t CountSamples(const CMP4SampleTableAtom& atom, FileReader& file);

}  // namespace qmf
