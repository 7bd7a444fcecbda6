#include "streamlib/AvcConfiguration.h"

#include <algorithm>
#include <cstddef>

namespace SPL {
namespace {

using Bytes = std::span<const std::uint8_t>;

// Version, three profile bytes and the size of NAL lengths come before the counted lists.
constexpr std::size_t kCountOfSequenceSets = 5;
constexpr std::uint8_t kSequenceCountMask = 0x1F;

Bytes From(Bytes bytes, std::size_t offset) {
  return bytes.subspan(std::min(offset, bytes.size()));
}

// The 16-bit length at the start of `bytes`.
std::size_t SizeAt(Bytes bytes) {
  return bytes.size() < 2 ? 0 : static_cast<std::size_t>(bytes[0]) << 8 | bytes[1];
}

// The unit behind that length, when all of it is there.
Bytes UnitAt(Bytes bytes) {
  const std::size_t size = SizeAt(bytes);
  return 2 + size <= bytes.size() ? bytes.subspan(2, size) : Bytes();
}

// Visits the counted units at the front of `bytes` and gives what is behind them.
Bytes VisitUnits(Bytes bytes, int count, const std::function<void(Bytes)>& visit) {
  for (; count > 0 && !bytes.empty(); --count) {
    const Bytes unit = UnitAt(bytes);
    if (!unit.empty()) visit(unit);
    bytes = From(bytes, 2 + SizeAt(bytes));
  }
  return bytes;
}

}  // namespace

Bytes FirstSequenceParameterSet(Bytes record) {
  if (record.size() <= kCountOfSequenceSets || (record[kCountOfSequenceSets] & kSequenceCountMask) == 0)
    return {};
  return UnitAt(From(record, kCountOfSequenceSets + 1));
}

Bytes FirstPictureParameterSet(Bytes record) {
  if (record.size() <= kCountOfSequenceSets) return {};
  const Bytes rest = VisitUnits(From(record, kCountOfSequenceSets + 1),
                                record[kCountOfSequenceSets] & kSequenceCountMask, [](Bytes) {});
  return rest.empty() || rest[0] == 0 ? Bytes() : UnitAt(From(rest, 1));
}

std::size_t NalLengthSize(Bytes record) {
  constexpr std::size_t kLengthSize = 4;
  return record.size() > kLengthSize ? (record[kLengthSize] & 3U) + 1 : 4;
}

void VisitParameterSets(Bytes record, const std::function<void(Bytes unit)>& visit) {
  if (record.size() <= kCountOfSequenceSets) return;
  const Bytes rest = VisitUnits(From(record, kCountOfSequenceSets + 1),
                                record[kCountOfSequenceSets] & kSequenceCountMask, visit);
  if (!rest.empty()) (void)VisitUnits(From(rest, 1), rest[0], visit);
}

}  // namespace SPL
