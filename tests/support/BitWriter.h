#pragma once

#include <cstdint>
#include <vector>

namespace qmf::test {

/// Assembles a bit stream, most significant bit first.
class BitWriter {
 public:
  BitWriter& Bits(std::uint64_t value, unsigned count) {
    for (; count > 0; --count) Bit((value >> (count - 1) & 1) != 0);
    return *this;
  }

  /// Exp-Golomb codes of ITU-T H.264 clause 9.1.
  BitWriter& UE(std::uint32_t value) {
    const std::uint64_t code = std::uint64_t{value} + 1;
    unsigned length = 0;
    while (code >> length != 0) ++length;
    return Bits(0, length - 1).Bits(code, length);
  }

  BitWriter& SE(std::int32_t value) {
    const std::int64_t wide = value;
    return UE(static_cast<std::uint32_t>(wide > 0 ? 2 * wide - 1 : -2 * wide));
  }

  /// rbsp_trailing_bits: a one, then zeros up to the byte's end.
  BitWriter& Trailing() {
    Bit(true);
    return Align();
  }

  BitWriter& Align() {
    m_filled = 8;
    return *this;
  }

  const std::vector<std::uint8_t>& Bytes() const { return m_bytes; }

 private:
  void Bit(bool set) {
    if (m_filled == 8) {
      m_bytes.push_back(0);
      m_filled = 0;
    }
    if (set) m_bytes.back() = static_cast<std::uint8_t>(m_bytes.back() | 0x80 >> m_filled);
    ++m_filled;
  }

  std::vector<std::uint8_t> m_bytes;
  unsigned m_filled = 8;
};

}  // namespace qmf::test
