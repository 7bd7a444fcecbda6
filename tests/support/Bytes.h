#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace qmf::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes& operator+=(Bytes& a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
inline Bytes operator+(Bytes a, const Bytes& b) {
  a += b;
  return a;
}

/// The bytes of a text.
inline Bytes Raw(std::string_view text) {
  return {text.begin(), text.end()};
}

/// The first `size` bytes.
inline Bytes Cut(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

/// `value` in `width` bytes, the upper ones of more than eight being zero.
inline Bytes BigEndian(std::uint64_t value, std::size_t width) {
  Bytes bytes;
  for (; width > 0; --width)
    bytes.push_back(static_cast<std::uint8_t>(width > 8 ? 0 : value >> (8 * (width - 1))));
  return bytes;
}

}  // namespace qmf::test
