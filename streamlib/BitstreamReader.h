#pragma once

#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>

namespace SPL {

/// Reads bits, most significant first, from a buffer that the caller owns and keeps alive: fixed-width
/// fields, flags and the Exp-Golomb codes of ITU-T H.264 clause 9.1, on request without H.264's
/// emulation-prevention bytes. It never fails loudly: once a read or skip asks for more bits than remain,
/// IsUnderrun stays true, and parsers ask that once, at the end of a header. Memory outside the buffer is
/// never touched; what would come from there is zero.
///
/// The cache works in words of four bytes, and emulation prevention is removed as a word is loaded. Two
/// things follow that callers see: the first four bytes are never examined, and the budget of bits is that of
/// the buffer with the removed bytes still in it.
class BitstreamReader {
 public:
  /// The longest buffer, in bytes, whose bits can be counted; of a longer one only the front is read.
  static constexpr std::int32_t kMaxSize = 0x7FFFFFFF / 8;

  explicit BitstreamReader(bool stripEmulationPrevention = false) : m_strip(stripEmulationPrevention) {}
  virtual ~BitstreamReader() = default;
  BitstreamReader(const BitstreamReader&) = default;
  BitstreamReader& operator=(const BitstreamReader&) = default;

  /// Starts at the front of `size` bytes. A size below 1 changes nothing.
  void Init(const std::uint8_t* buffer, std::int32_t size) {
    if (size < 1) return;
    m_pStart = m_pTail = buffer;
    m_size = size < kMaxSize ? size : kMaxSize;
    m_bitsRemaining = m_size * 8;
    m_bitOffset = 0;
    m_underrun = 0;
    m_current = LoadWord();
    m_next = LoadWord();
    if (m_strip) RemoveEmulationPrevention();
  }

  /// Passes over `n` (0 to 32) bits.
  void SkipBits(std::uint32_t n) {
    m_bitsRemaining -= static_cast<std::int32_t>(n);
    if (m_bitsRemaining < 0) {
      m_bitsRemaining = 0;
      m_underrun = 1;
    }
    if (m_underrun != 0) return;
    m_bitOffset += n;
    if (m_bitOffset > 31) Refill();
  }

  /// The next `n` (1 to 32) bits, right-aligned. With fewer left, 1 and an underrun: not 0, so that a loop
  /// waiting for a set bit ends.
  std::uint32_t ReadBits(std::uint32_t n) {
    const bool enough = m_bitsRemaining >= static_cast<std::int32_t>(n);
    const std::uint32_t value = enough ? static_cast<std::uint32_t>(Window() >> (64 - n)) : 1;
    SkipBits(n);
    return value;
  }

  /// The next bit; true after an underrun.
  bool ReadBit() { return ReadBits(1) != 0; }

  /// An unsigned Exp-Golomb code, ue(v). Codes of more than 32 leading zeros give their low 32 bits; after an
  /// underrun in the code's tail the result is 2 to the number of leading zeros.
  std::uint32_t ReadUE() {
    const auto top = static_cast<std::uint32_t>(Window() >> 32);
    const auto zeros = static_cast<std::uint32_t>(std::countl_zero(top));
    const std::uint32_t length = 2 * zeros + 1;
    if (length > 32 || static_cast<std::int32_t>(length) > m_bitsRemaining) return ReadLongUE();
    SkipBits(length);
    return (top >> (32 - length)) - 1;
  }

  /// A signed Exp-Golomb code, se(v): 0, 1, -1, 2, -2 and so on.
  std::int32_t ReadSE() {
    const std::uint64_t code = ReadUE();
    const std::uint64_t half = (code + 1) / 2;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(code % 2 != 0 ? half : 0 - half));
  }

  /// Whether any read or skip since Init asked for more than there was.
  bool IsUnderrun() const { return m_underrun != 0; }

  /// Bits that may still be read.
  std::int32_t BitsRemaining() const { return m_bitsRemaining; }

 private:
  // The 64 cached bits with the next unread one on top.
  std::uint64_t Window() const { return (std::uint64_t{m_current} << 32 | m_next) << m_bitOffset; }

  std::int32_t BytesLeft() const { return m_size - static_cast<std::int32_t>(m_pTail - m_pStart); }

  std::uint32_t NextByte() { return BytesLeft() > 0 ? *m_pTail++ : 0; }

  // Four bytes, big-endian, zeros behind the end.
  std::uint32_t LoadWord() {
    if (BytesLeft() >= 4) {
      const std::uint8_t* const p = m_pTail;
      m_pTail += 4;
      return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3];
    }
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i) word = word << 8 | NextByte();
    return word;
  }

  void Refill() {
    m_bitOffset -= 32;
    m_current = m_next;
    m_next = LoadWord();
    if (m_strip) RemoveEmulationPrevention();
  }

  static bool HasByteThree(std::uint32_t word) {
    const std::uint32_t difference = word ^ 0x03030303;
    return ((difference - 0x01010101) & ~difference & 0x80808080) != 0;
  }

  // Drops each 03 of the new word that follows two zero bytes and appends a byte from the buffer for it. The
  // order of the four checks, from the last place to the first, decides what a removal may uncover.
  void RemoveEmulationPrevention() {
    assert(m_pTail != NULL);
    if (!HasByteThree(m_next)) return;
    if ((m_next & 0x00FFFFFF) == 0x00000003) m_next = (m_next & 0xFFFFFF00) | NextByte();
    if ((m_next & 0xFFFFFF00) == 0x00000300)
      m_next = (m_next & 0xFFFF0000) | (m_next & 0xFF) << 8 | NextByte();
    if ((m_current & 0xFF) == 0 && m_next >> 16 == 0x0003) m_next = (m_next & 0xFFFF) << 8 | NextByte();
    if ((m_current & 0xFFFF) == 0 && m_next >> 24 == 0x03) m_next = m_next << 8 | NextByte();
  }

  std::uint32_t ReadLongUE() {
    std::uint32_t zeros = 0;
    while (!ReadBit()) ++zeros;
    if (zeros == 0) return 0;
    std::uint32_t beyond = zeros > 32 ? zeros - 32 : 0;
    for (; beyond > 32; beyond -= 32) SkipBits(32);
    SkipBits(beyond);
    const std::uint64_t base = zeros < 32 ? (std::uint64_t{1} << zeros) - 1 : 0xFFFFFFFF;
    return static_cast<std::uint32_t>(base + ReadBits(zeros < 32 ? zeros : 32));
  }

  const std::uint8_t* m_pTail = nullptr;  // The next byte to load; never beyond the end.
  const std::uint8_t* m_pStart = nullptr;
  std::uint32_t m_current = 0;
  std::uint32_t m_next = 0;
  std::uint32_t m_bitOffset = 0;  // Bits of m_current already consumed, 0 to 31.
  std::int32_t m_size = 0;
  std::uint32_t m_underrun = 0;
  std::int32_t m_bitsRemaining = 0;
  bool m_strip;
};

}  // namespace SPL
