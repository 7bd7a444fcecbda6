#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace qmf::test {

/// The bit reader's rules told a bit and a byte at a time, for comparison. Emulation prevention is removed
/// from the whole buffer beforehand.
class SlowBitReader {
 public:
  SlowBitReader(std::span<const std::uint8_t> buffer, bool strip) : m_bitsLeft(buffer.size() * 8) {
    const std::vector<std::uint8_t> bytes = strip ? Strip(buffer) : std::vector(buffer.begin(), buffer.end());
    for (const std::uint8_t byte : bytes) {
      for (int i = 7; i >= 0; --i) m_bits.push_back((byte >> i & 1) != 0);
    }
    m_bits.resize(m_bits.size() + m_bitsLeft + 64);
  }

  std::uint32_t ReadBits(std::uint32_t n) {
    if (!Take(n)) return 1;
    std::uint32_t value = 0;
    for (std::size_t i = m_position - n; i < m_position; ++i) value = value << 1 | (m_bits[i] ? 1U : 0U);
    return value;
  }

  void SkipBits(std::uint32_t n) { (void)Take(n); }

  std::uint32_t ReadUE() {
    std::uint32_t zeros = 0;
    while (ReadBits(1) == 0) ++zeros;
    std::uint32_t power = 1;  // Modulo 2 to the 32, as is the tail.
    std::uint32_t tail = 0;
    for (std::uint32_t i = 0; i < zeros; ++i) power *= 2;
    if (!m_underrun && m_bitsLeft >= zeros) {
      for (std::uint32_t i = 0; i < zeros; ++i) tail = tail << 1 | ReadBits(1);
    } else if (zeros > 0) {
      m_underrun = true;
      m_bitsLeft = 0;
      tail = 1;
    }
    return power - 1 + tail;
  }

  bool IsUnderrun() const { return m_underrun; }

 private:
  bool Take(std::uint32_t n) {
    if (m_bitsLeft < n) {
      m_underrun = true;
      m_bitsLeft = 0;
    }
    if (m_underrun) return false;
    m_bitsLeft -= n;
    m_position += n;
    return true;
  }

  // Words of four bytes, each against the two bytes in front of it; the first word is taken as it is.
  static std::vector<std::uint8_t> Strip(std::span<const std::uint8_t> buffer) {
    std::vector<std::uint8_t> out;
    std::size_t tail = 0;
    const auto next = [&] { return tail < buffer.size() ? buffer[tail++] : std::uint8_t{0}; };
    while (tail < buffer.size()) {
      const std::size_t word = out.size();
      for (int i = 0; i < 4; ++i) out.push_back(next());
      if (word == 0) continue;
      for (std::size_t place = word + 4; place-- > word;) {
        if (out[place - 2] != 0 || out[place - 1] != 0 || out[place] != 3) continue;
        out.erase(out.begin() + static_cast<std::ptrdiff_t>(place));
        out.push_back(next());
      }
    }
    return out;
  }

  std::vector<bool> m_bits;
  std::size_t m_position = 0;
  std::size_t m_bitsLeft;
  bool m_underrun = false;
};

}  // namespace qmf::test
