#pragma once

#include <bit>

#include "readers/mkv/EbmlElements.h"
#include "tests/support/Bytes.h"

namespace qmf::test {

// EBML elements as bytes; what stands one behind the other is added up.

using E = Element;

/// An element's id and, in `width` bytes, its size.
Bytes ElementHead(std::uint32_t id, std::uint64_t size, std::size_t width = 4);

/// An element of bytes, or of children.
Bytes Put(Element kind, const Bytes& payload);

inline Bytes Unsigned(Element kind, std::uint64_t value, std::size_t width = 8) {
  return Put(kind, BigEndian(value, width));
}

inline Bytes Float(Element kind, double value) {
  return Unsigned(kind, std::bit_cast<std::uint64_t>(value));
}

inline Bytes Text(Element kind, std::string_view text) {
  return Put(kind, Raw(text));
}

/// A master whose size is unknown.
inline Bytes PutOpen(Element kind, const Bytes& children) {
  return ElementHead(ElementId(kind), (std::uint64_t{1} << 56) - 1, 8) + children;
}

inline Bytes Void(std::size_t size) {
  return Put(E::Void, Bytes(size));
}

}  // namespace qmf::test
