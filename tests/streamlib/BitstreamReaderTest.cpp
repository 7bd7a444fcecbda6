#include "streamlib/BitstreamReader.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/streamlib/SlowBitReader.h"
#include "tests/support/BitWriter.h"

namespace qmf::test {
namespace {

using SPL::BitstreamReader;
using Bytes = std::vector<std::uint8_t>;

BitstreamReader Over(const Bytes& bytes, bool strip = false) {
  BitstreamReader bits(strip);
  bits.Init(bytes.data(), static_cast<std::int32_t>(bytes.size()));
  return bits;
}

Bytes ReadBytes(const Bytes& bytes, bool strip) {
  BitstreamReader bits = Over(bytes, strip);
  Bytes out;
  for (std::size_t i = 0; i < bytes.size(); ++i) out.push_back(static_cast<std::uint8_t>(bits.ReadBits(8)));
  return out;
}

TEST(BitstreamReader, ReadsUpToTheLastBitAndThenOnes) {
  const Bytes nine = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x01};
  BitstreamReader bits = Over(nine);
  bits.SkipBits(28);
  EXPECT_EQ(bits.ReadBits(8), 0x78U);  // across the first two words
  EXPECT_EQ(bits.ReadBits(32), 0x9ABCDEF0U);
  bits.SkipBits(0);
  EXPECT_FALSE(bits.IsUnderrun());
  EXPECT_EQ(bits.ReadBits(5), 1U);  // one bit short
  bits.SkipBits(0);
  EXPECT_TRUE(bits.IsUnderrun());
  EXPECT_TRUE(bits.ReadBit());
  EXPECT_EQ(bits.ReadUE(), 0U);
  // Empty buffers leave a reader as it was.
  bits = Over(nine);
  bits.SkipBits(8);
  bits.Init(nine.data(), 0);
  bits.Init(nullptr, -1);
  EXPECT_EQ(bits.ReadBits(8), 0x23U);
  bits.Init(nine.data(), INT32_MAX);
  EXPECT_EQ(bits.BitsRemaining(), BitstreamReader::kMaxSize * 8);
}

TEST(BitstreamReader, ExpGolombCodes) {
  const std::uint32_t kUnsigned[] = {0, 6, 0xFFFFFFFE, 0xFFFFFFFF};
  const std::int32_t kSigned[] = {1, -1, 2, -0x7FFFFFFF, 0x7FFFFFFF};
  BitWriter codes;
  for (const std::uint32_t number : kUnsigned) codes.UE(number);
  for (const std::int32_t number : kSigned) codes.SE(number);
  // Of more than 32 zeros the code keeps its low bits.
  codes.Bits(0, 40).Bits(1, 1).Bits(0xAB12345678, 40).Bits(0x5, 7);
  BitstreamReader bits = Over(codes.Bytes());
  for (const std::uint32_t number : kUnsigned) EXPECT_EQ(bits.ReadUE(), number);
  for (const std::int32_t number : kSigned) EXPECT_EQ(bits.ReadSE(), number);
  EXPECT_EQ(bits.ReadUE(), 0x12345677U);
  EXPECT_EQ(bits.ReadBits(7), 5U);
  EXPECT_FALSE(bits.IsUnderrun());
}

// Emulation prevention is removed behind the first word. The checks go over a word once, last place first,
// and do not ask what stood between two zeros; no parameter set in use has the runs of zeros that this takes.
TEST(BitstreamReader, RemovesEmulationPreventionWithItsLimits) {
  const std::pair<Bytes, Bytes> rows[] = {
      {{0x11, 0x22, 0x33, 0x44, 0, 0, 3, 1}, {0x11, 0x22, 0x33, 0x44, 0, 0, 1, 0}},
      {{0, 0, 3, 1, 5}, {0, 0, 3, 1, 5}},
      // Across the border of two words, with the following bytes moving up.
      {{1, 2, 3, 0, 0, 3, 1, 0, 0, 3, 2, 9}, {1, 2, 3, 0, 0, 1, 0, 0, 2, 9, 0, 0}},
      // The byte that moves up behind a removal is not looked at again.
      {{1, 2, 3, 0, 0, 3, 0, 0, 3, 1}, {1, 2, 3, 0, 0, 0, 0, 3, 1, 0}},
      // A zero on either side of a removed byte counts as a pair.
      {{1, 2, 3, 4, 5, 0, 0, 3, 0, 3, 7}, {1, 2, 3, 4, 5, 0, 0, 0, 7, 0, 0}},
  };
  for (const auto& [coded, stripped] : rows) {
    EXPECT_EQ(ReadBytes(coded, true), stripped);
    EXPECT_EQ(ReadBytes(coded, false), coded);
  }
}

TEST(BitstreamReader, AgreesWithTheSlowReaderOnRandomData) {
  std::mt19937 random(4711);
  const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
  for (int round = 0; round < 4000; ++round) {
    Bytes bytes(1 + below(round % 10 == 0 ? 300 : 24));
    // Small alphabets make emulation prevention and long codes frequent.
    const std::uint32_t alphabet = 1U << (1 + below(8));
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(below(alphabet));
    const bool strip = below(2) != 0;
    BitstreamReader fast = Over(bytes, strip);
    SlowBitReader slow(bytes, strip);
    while (!slow.IsUnderrun()) {
      const std::uint32_t n = 1 + below(32);
      switch (below(4)) {
        case 0:
          fast.SkipBits(n - 1);
          slow.SkipBits(n - 1);
          break;
        case 1:
          ASSERT_EQ(fast.ReadUE(), slow.ReadUE());
          break;
        default:
          ASSERT_EQ(fast.ReadBits(n), slow.ReadBits(n));
      }
      ASSERT_EQ(fast.IsUnderrun(), slow.IsUnderrun());
    }
  }
}

}  // namespace
}  // namespace qmf::test
