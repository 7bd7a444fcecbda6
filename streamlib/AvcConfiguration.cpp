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

// The unit behind the 16-bit length at the start of `bytes`.
Bytes UnitAt(Bytes bytes) {
  if (bytes.size() < 2) return {};
  const std::size_t size = static_cast<std::size_t>(bytes[0]) << 8 | bytes[1];
  return size <= bytes.size() - 2 ? bytes.subspan(2, size) : Bytes();
}

}  // namespace

Bytes FirstSequenceParameterSet(Bytes record) {
  if (record.size() <= kCountOfSequenceSets || (record[kCountOfSequenceSets] & kSequenceCountMask) == 0)
    return {};
  return UnitAt(From(record, kCountOfSequenceSets + 1));
}

Bytes FirstPictureParameterSet(Bytes record) {
  if (record.size() <= kCountOfSequenceSets) return {};
  Bytes rest = From(record, kCountOfSequenceSets + 1);
  for (int sets = record[kCountOfSequenceSets] & kSequenceCountMask; sets > 0; --sets) {
    rest = From(rest, 2 + UnitAt(rest).size());
  }
  return rest.empty() || rest[0] == 0 ? Bytes() : UnitAt(From(rest, 1));
}

}  // namespace SPL
