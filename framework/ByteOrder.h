#pragma once

#include <cstddef>
#include <cstdint>

namespace qmf {

/// Unaligned loads of `width` (1 to 8) bytes at `p`; the caller has checked that they are there.
constexpr std::uint64_t LoadBE(const std::uint8_t* p, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | p[i];
  return value;
}

constexpr std::uint64_t LoadLE(const std::uint8_t* p, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = width; i > 0; --i) value = value << 8 | p[i - 1];
  return value;
}

constexpr std::uint16_t LoadBE16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(LoadBE(p, 2));
}
constexpr std::uint32_t LoadBE32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(LoadBE(p, 4));
}
constexpr std::uint64_t LoadBE64(const std::uint8_t* p) {
  return LoadBE(p, 8);
}
constexpr std::uint16_t LoadLE16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(LoadLE(p, 2));
}
constexpr std::uint32_t LoadLE32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(LoadLE(p, 4));
}
constexpr std::uint64_t LoadLE64(const std::uint8_t* p) {
  return LoadLE(p, 8);
}

}  // namespace qmf
