#pragma once

#include <cstdint>

namespace qmf {

/// A four-character code as the little-endian 32-bit number whose bytes, in file order, are the four
/// characters.
using FourCC = std::uint32_t;

constexpr FourCC MakeFourCC(const char (&text)[5]) {
  FourCC code = 0;
  for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<std::uint8_t>(text[i]);
  return code;
}

}  // namespace qmf
