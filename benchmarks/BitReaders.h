#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qmf::bench {

/// Without the emulation-prevention bytes of ITU-T H.264 clause 7.4.1, with room behind for loads of eight
/// bytes. Readers that do not strip on the fly pay for this first.
inline void Unescape(const std::uint8_t* data, std::size_t size, std::vector<std::uint8_t>& out) {
  out.clear();
  int zeros = 0;
  for (std::size_t i = 0; i < size; ++i) {
    if (zeros >= 2 && data[i] == 3) {
      zeros = 0;
      continue;
    }
    zeros = data[i] == 0 ? zeros + 1 : 0;
    out.push_back(data[i]);
  }
  out.resize(out.size() + 8);
}

/// The plainest correct reader: bit by bit, each checked against the end.
class PlainReader {
 public:
  PlainReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_bits(size * 8) {}

  std::uint32_t ReadBits(std::uint32_t n) {
    std::uint32_t value = 0;
    for (; n > 0; --n) value = value << 1 | ReadBit();
    return value;
  }

  std::uint32_t ReadUE() {
    std::uint32_t zeros = 0;
    while (ReadBit() == 0) ++zeros;
    return zeros == 0 ? 0 : (1U << zeros) - 1 + ReadBits(zeros);
  }

 private:
  std::uint32_t ReadBit() {
    if (m_position >= m_bits) return 1;
    const std::uint32_t byte = m_data[m_position / 8];
    const std::uint32_t bit = byte >> (7 - m_position % 8) & 1U;
    ++m_position;
    return bit;
  }

  const std::uint8_t* m_data;
  std::size_t m_bits;
  std::size_t m_position = 0;
};

/// A reader in the manner of decoders: a bit index, one unaligned load of eight bytes for each read, the
/// index held at the end, which needs padding behind the buffer.
class CachedReader {
 public:
  CachedReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_bits(size * 8) {}

  std::uint32_t ReadBits(std::uint32_t n) {
    const auto value = static_cast<std::uint32_t>(Window() >> (64 - n));
    Advance(n);
    return value;
  }

  std::uint32_t ReadUE() {
    const auto top = static_cast<std::uint32_t>(Window() >> 32);
    const auto zeros = static_cast<std::uint32_t>(std::countl_zero(top | 1));
    const std::uint32_t length = 2 * zeros + 1;
    if (length > 32) {
      Advance(zeros);
      return ReadBits(zeros + 1) - 1;
    }
    Advance(length);
    return (top >> (32 - length)) - 1;
  }

 private:
  std::uint64_t Window() const {
    std::uint64_t word;
    __builtin_memcpy(&word, m_data + m_position / 8, sizeof(word));
    return __builtin_bswap64(word) << (m_position % 8);
  }

  void Advance(std::size_t n) { m_position = m_position + n < m_bits ? m_position + n : m_bits; }

  const std::uint8_t* m_data;
  std::size_t m_bits;
  std::size_t m_position = 0;
};

}  // namespace qmf::bench
