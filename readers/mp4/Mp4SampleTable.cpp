#include "readers/mp4/Mp4SampleTable.h"

#include <algorithm>

namespace qmf {
namespace {

// A table behind version, flags and a count.
template <CMP4Table CMP4SampleTables::*member, std::uint32_t entrySize>
AtomVerdict Locate(CMP4SampleTables& tables, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(4);
  tables.*member = CMP4Table::InAtom(atom, 8, fields.U32(), entrySize);
  return AtomVerdict::kTaken;
}

AtomVerdict LocateSyncSamples(CMP4SampleTables& tables, CMP4Atom& atom) {
  tables.hasSyncSamples = true;
  return Locate<&CMP4SampleTables::syncSamples, 4>(tables, atom);
}

AtomVerdict LocateSizes(CMP4SampleTables& tables, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(4);
  tables.uniformSize = fields.U32();
  const std::uint32_t count = fields.U32();
  tables.sizeBits = 32;
  tables.sizes = CMP4Table::InAtom(atom, 12, tables.uniformSize == 0 ? count : 0, 4);
  tables.sampleCount = tables.uniformSize == 0 ? tables.sizes.count : count;
  return AtomVerdict::kTaken;
}

AtomVerdict LocateCompactSizes(CMP4SampleTables& tables, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(7);
  const std::uint32_t bits = fields.U8();
  const std::uint64_t count = fields.U32();
  if (bits != 4 && bits != 8 && bits != 16) return AtomVerdict::kIgnored;
  tables.sizeBits = bits;
  const std::uint64_t entries = bits == 4 ? (count + 1) / 2 : count;
  tables.sizes = CMP4Table::InAtom(atom, 12, entries, bits == 16 ? 2 : 1);
  tables.sampleCount = bits == 4 ? std::min(count, tables.sizes.count * 2) : tables.sizes.count;
  return AtomVerdict::kTaken;
}

template <AtomVerdict (*locate)(CMP4SampleTables&, CMP4Atom&)>
AtomVerdict StopAt(CMP4SampleTables& tables, CMP4Atom& atom) {
  return locate(tables, atom) == AtomVerdict::kTaken ? AtomVerdict::kStop : AtomVerdict::kIgnored;
}

using Row = AtomRow<CMP4SampleTables>;
using enum AtomUse;

constexpr Row kRows[] = {
    {MakeFourCC("stts"), kOptional, Locate<&CMP4SampleTables::timeToSample, 8>},
    {MakeFourCC("ctts"), kOptional, Locate<&CMP4SampleTables::compositionOffsets, 8>},
    {MakeFourCC("stsc"), kOptional, Locate<&CMP4SampleTables::sampleToChunk, 12>},
    {MakeFourCC("stco"), kOptional, Locate<&CMP4SampleTables::chunkOffsets, 4>},
    {MakeFourCC("co64"), kOptional, Locate<&CMP4SampleTables::chunkOffsets, 8>},
    {MakeFourCC("stss"), kOptional, LocateSyncSamples},
    {MakeFourCC("stps"), kOptional, Locate<&CMP4SampleTables::partialSyncSamples, 4>},
    {MakeFourCC("stsz"), kOptional, LocateSizes},
    {MakeFourCC("stz2"), kOptional, LocateCompactSizes},
};
constexpr Row kSizeRows[] = {
    {MakeFourCC("stsz"), kOptional, StopAt<LocateSizes>},
    {MakeFourCC("stz2"), kOptional, StopAt<LocateCompactSizes>},
};

}  // namespace

void LocateSampleTables(const CMP4SampleTableAtom& atom, FileReader& file, CMP4SampleTables& tables) {
  CMP4AtomWalker walker(file);
  walker.Walk<CMP4SampleTables>(tables, kRows, atom.begin, atom.end);
}

std::uint64_t CountSamples(const CMP4SampleTableAtom& atom, FileReader& file) {
  // Also of a movie in memory, which no question's budget holds for.
  constexpr std::uint64_t kMostBytes = 1U << 20;
  constexpr std::uint64_t kMostAtoms = 256;
  const FileReader::Limit limit(file, kMostBytes, kMostAtoms);
  CMP4SampleTables tables;
  CMP4AtomWalker walker(file);
  walker.Walk<CMP4SampleTables>(tables, kSizeRows, atom.begin, atom.end);
  return tables.sampleCount;
}

}  // namespace qmf
