#include "readers/mp4/Mp4Indexes.h"

#include <algorithm>

#include "readers/mp4/Mp4Time.h"

namespace qmf {
namespace {

constexpr std::size_t kMaxIndexes = 64;
constexpr std::uint64_t kTail = 4096;
constexpr std::uint64_t kOffsetSize = 16;  // Of 'mfro'.
constexpr std::uint32_t kReferenceSize = 12;
constexpr std::uint32_t kRefersToIndex = 0x80000000;

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
  index.references = CMP4Table::InAtom(atom, wide ? 32 : 24, count, kReferenceSize);
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
  if (bytes.size() < kOffsetSize) return 0;
  CMP4Fields fields(bytes.last(kOffsetSize));
  const bool isLast = fields.U32() == kOffsetSize && fields.Code() == MakeFourCC("mfro");
  fields.Skip(4);
  const std::uint32_t size = fields.U32();
  return isLast && size >= kOffsetSize && size <= file.Size() ? size : 0;
}

bool FindAccess(const CMP4FragmentAccessAtom& access, std::pmr::memory_resource* memory, std::int64_t time,
                CMP4IndexedFragment& fragment) {
  CMP4TableWindow entries(access.entries, memory);
  bool found = false;
  for (std::uint64_t i = 0; i < entries.Count(); ++i) {
    CMP4Fields entry = entries.Entry(i);
    const std::int64_t start = ToTicks(std::min(entry.Sized(access.wide), kMaxMediaTime));
    const std::uint64_t offset = entry.Sized(access.wide);
    if (entry.Failed() || start > time) break;
    fragment = {offset, start};
    found = true;
  }
  return found;
}

bool FindReference(const CMP4SegmentIndexAtom& index, std::pmr::memory_resource* memory,
                   std::uint32_t timescale, std::int64_t time, CMP4IndexedFragment& fragment) {
  CMP4TableWindow references(index.references, memory);
  std::uint64_t offset = index.first;
  std::uint64_t ticks = std::min(index.start, kMaxMediaTime);
  bool found = false;
  for (std::uint64_t i = 0; i < references.Count(); ++i) {
    const std::int64_t start = Rescale(ToTicks(ticks), index.timescale, timescale);
    CMP4Fields entry = references.Entry(i);
    const std::uint32_t size = entry.U32();
    if (start > time || (size & kRefersToIndex) != 0) break;
    fragment = {offset, start};
    found = true;
    offset += size;
    ticks += entry.U32();
  }
  return found;
}

// The size and type of a 'moof' and of its first child.
constexpr std::size_t kFragmentStart = 16;

bool BeginsFragment(std::span<const std::uint8_t> bytes) {
  CMP4Fields fields(bytes);
  const std::uint32_t size = fields.U32();
  if (fields.Code() != MakeFourCC("moof")) return false;
  return size > kFragmentStart && fields.U32() == 16 && fields.Code() == MakeFourCC("mfhd");
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
  if (walker.Walk<CMP4FragmentIndexes>(indexes, kTailRows, file.Size() - size, file.Size() - kOffsetSize,
                                       true)) {
    indexes.fragmentsEnd = file.Size() - size;
  }
}

CMP4SegmentTotals TotalsOf(const CMP4SegmentIndexAtom& index, std::pmr::memory_resource* memory) {
  CMP4SegmentTotals totals{index.first, index.start};
  const auto bytes = ReadWhole(index.references, memory);
  CMP4Fields fields(bytes);
  for (std::size_t left = bytes.size() / kReferenceSize; left > 0; --left) {
    totals.end += fields.U32() & ~kRefersToIndex;
    totals.endTime += fields.U32();
    fields.Skip(4);
  }
  return totals;
}

bool FindIndexedFragment(const CMP4FragmentIndexes& indexes, std::uint32_t trackId, std::uint32_t timescale,
                         std::int64_t time, CMP4IndexedFragment& fragment) {
  for (const CMP4FragmentAccessAtom& access : indexes.accesses) {
    if (access.trackId == trackId) return FindAccess(access, indexes.Memory(), time, fragment);
  }
  for (const CMP4SegmentIndexAtom& index : indexes.segments) {
    if (index.trackId == trackId) return FindReference(index, indexes.Memory(), timescale, time, fragment);
  }
  return false;
}

std::uint64_t FindLateFragment(FileReader& file, std::uint64_t begin, std::pmr::memory_resource* memory) {
  constexpr std::uint64_t kPart = 256U << 10;
  std::pmr::vector<std::uint8_t> bytes(kPart, memory);
  std::uint64_t end = file.Size();
  const std::uint64_t stop = std::max(begin, end - std::min(end, kMaxTailSearch));
  while (end > stop) {
    const std::uint64_t at = end - std::min(end - stop, kPart);
    const std::size_t arrived = file.ReadAt(at, bytes.data(), static_cast<std::size_t>(end - at));
    for (std::size_t i = 0; i + kFragmentStart <= arrived; ++i) {
      if (BeginsFragment({bytes.data() + i, kFragmentStart})) return at + i;
    }
    // The next part overlaps this one by what a fragment's start may have on both sides.
    end = at > stop ? at + kFragmentStart - 1 : stop;
  }
  return 0;
}

}  // namespace qmf
