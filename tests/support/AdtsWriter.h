#pragma once

#include "tests/support/BitWriter.h"
#include "tests/support/Bytes.h"

namespace qmf::test {

/// An ADTS frame; `payload` follows the header and, where it has one, the checksum.
struct AdtsFields {
  std::uint8_t id = 0;
  std::uint8_t layer = 0;
  bool hasChecksum = false;
  std::uint8_t profile = 1;
  std::uint8_t frequencyIndex = 4;
  std::uint8_t channels = 2;
  std::uint8_t blocksLessOne = 0;
  Bytes payload = Bytes(20, 0x21);
  int lengthError = 0;  ///< Added to the frame length.
};

inline Bytes AdtsFrame(const AdtsFields& f = {}) {
  const std::size_t extra = f.hasChecksum ? 2 + 2U * f.blocksLessOne : 0;
  const auto length =
      static_cast<std::uint32_t>(static_cast<int>(7 + extra + f.payload.size()) + f.lengthError);
  BitWriter w;
  w.Bits(0xFFF, 12).Bits(f.id, 1).Bits(f.layer, 2).Bits(f.hasChecksum ? 0 : 1, 1);
  w.Bits(f.profile, 2).Bits(f.frequencyIndex, 4).Bits(0, 1).Bits(f.channels, 3).Bits(0, 4);
  w.Bits(length, 13).Bits(0x7FF, 11).Bits(f.blocksLessOne, 2);
  for (std::size_t i = 0; i < extra; ++i) w.Bits(0xC0 + i, 8);
  for (const std::uint8_t byte : f.payload) w.Bits(byte, 8);
  return w.Bytes();
}

}  // namespace qmf::test
