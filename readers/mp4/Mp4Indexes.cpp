#include "readers/mp4/Mp4Indexes.h"

#include <algorithm>

namespace qmf {
namespace {

constexpr std::size_t kMaxIndexes = 64;
constexpr std::uint64_t kTail = 4096;

AtomVerdict ReadSegmentIndex(CMP4FragmentIndexes& indexes, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  const bool wide = fields.U8() == 1;
  fields.Skip(3);
  CMP4SegmentIndexAtom index;
  index.trackId = fields.U32();
  index.timescale = fields.U32();
  index.start = fields.Sized(wide);
  const std::uint64_t distance = fields.Sized(wide);
  fields.Skip(2);
  const std::uint16_t count = fields.U16();
  if (fields.Failed() || index.timescale == 0 || indexes.segments.size() == kMaxIndexes) {
    return AtomVerdict::kIgnored;
  }
  if (distance > UINT64_MAX - atom.end) return AtomVerdict::kIgnored;
  index.first = atom.end + distance;
  index.references = CMP4Table::InAtom(atom, wide ? 32 : 24, count, 12);
  indexes.segments.push_back(index);
  return AtomVerdict::kTaken;
}

AtomVerdict FoundFragment(CMP4FragmentIndexes& indexes, CMP4Atom& atom) {
  indexes.firstFragment = atom.start;
  return AtomVerdict::kStop;
}

AtomVerdict ReadTrackAccess(CMP4FragmentIndexes& indexes, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  CMP4FragmentAccessAtom access;
  access.wide = fields.U8() == 1;
  fields.Skip(3);
  access.trackId = fields.U32();
  const std::uint32_t lengths = fields.U32();
  const std::uint32_t numbers = 3 + (lengths >> 4 & 3) + (lengths >> 2 & 3) + (lengths & 3);
  const std::uint32_t count = fields.U32();
  if (fields.Failed() || indexes.accesses.size() == kMaxIndexes) return AtomVerdict::kIgnored;
  access.entries = CMP4Table::InAtom(atom, 16, count, (access.wide ? 16U : 8U) + numbers);
  indexes.accesses.push_back(access);
  return AtomVerdict::kTaken;
}

using Row = AtomRow<CMP4FragmentIndexes>;
using enum AtomUse;

constexpr Row kFrontRows[] = {
    {MakeFourCC("sidx"), kRepeated, ReadSegmentIndex},
    {MakeFourCC("moof"), kRequired, FoundFragment},
};
constexpr Row kAccessRows[] = {{MakeFourCC("tfra"), kRepeated, ReadTrackAccess}};
constexpr Row kTailRows[] = {{MakeFourCC("mfra"), kRequired, nullptr, kAccessRows}};

// The size that 'mfro', the last atom of a file with 'mfra', gives; 0 without one.
std::uint64_t SizeOfAccesses(FileReader& file) {
  const std::uint64_t tail = std::min(file.Size(), kTail);
  const auto bytes = file.View(file.Size() - tail, static_cast<std::size_t>(tail));
  if (bytes.size() < 16) return 0;
  CMP4Fields fields(bytes.last(16));
  const bool isLast = fields.U32() == 16 && fields.Code() == MakeFourCC("mfro");
  fields.Skip(4);
  const std::uint32_t size = fields.U32();
  return isLast && size <= file.Size() ? size : 0;
}

}  // namespace

void ReadSegmentIndexes(FileReader& file, std::uint64_t begin, CMP4FragmentIndexes& indexes) {
  CMP4AtomWalker walker(file);
  walker.Walk<CMP4FragmentIndexes>(indexes, kFrontRows, begin, file.Size(), true);
}

void ReadFragmentAccesses(FileReader& file, CMP4FragmentIndexes& indexes) {
  indexes.fragmentsEnd = file.Size();
  const std::uint64_t size = SizeOfAccesses(file);
  if (size == 0) return;
  CMP4AtomWalker walker(file);
  if (walker.Walk<CMP4FragmentIndexes>(indexes, kTailRows, file.Size() - size, file.Size(), true)) {
    indexes.fragmentsEnd = file.Size() - size;
  }
}

CMP4SegmentTotals TotalsOf(const CMP4SegmentIndexAtom& index, std::pmr::memory_resource* memory) {
  CMP4SegmentTotals totals{index.first, index.start};
  CMP4TableWindow references(index.references, memory);
  for (std::uint64_t i = 0; i < references.Count(); ++i) {
    CMP4Fields entry = references.Entry(i);
    totals.end += entry.U32() & 0x7FFFFFFF;
    totals.endTime += entry.U32();
  }
  return totals;
}

}  // namespace qmf
