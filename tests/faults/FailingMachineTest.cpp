// Files whose reads, whose memory or whose bytes fail at any one place: the result is documented, nothing
// stays behind, and the next opening works.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "framework/LogWriter.h"
#include "framework/Text.h"
#include "tests/faults/FaultRoad.h"
#include "tests/support/Contract.h"
#include "tests/support/FaultyFile.h"
#include "tests/support/HeapWatch.h"

namespace qmf::test {
namespace {

using testing::AnyOf;
using testing::Eq;

constexpr std::size_t kFlippedBytes = 4096;

class FailingMachine : public testing::TestWithParam<SmallFile> {
 protected:
  FailingMachine() {
    SetLogOff();
    m_sound = Read({});
    EXPECT_EQ(m_sound.result, QMF_OK);
  }

  Outcome Read(const FileFaults& faults, Use use = Use::kProperties) {
    return TakeRoad(GetParam().name, std::make_shared<FaultyFile>(GetParam().bytes, faults), use);
  }

  // The road over a file that misbehaves, with a look at what it leaves behind.
  void Check(const FileFaults& faults, Use use, std::span<const std::uint8_t> bytes) {
    const HeapWatch heap;
    (void)TakeRoad(GetParam().name, std::make_shared<FaultyFile>(bytes, faults), use);
    Require(heap.BytesInUse() == 0, "everything is given back");
    Require(heap.PeakBytes() <= static_cast<std::int64_t>(PropertyBudget::kHeap) || use == Use::kEverything,
            "the properties cost at most 16 MiB of heap");
  }

  void ExpectSound(const FileFaults& faults, Use use, std::span<const std::uint8_t> bytes,
                   std::size_t place) {
    EXPECT_EQ(Complaint([&] { Check(faults, use, bytes); }), "") << place;
  }

  std::uint64_t ReadsOf(Use use) {
    const auto source = std::make_shared<FaultyFile>(GetParam().bytes, FileFaults{});
    (void)TakeRoad(GetParam().name, source, use);
    return source->Reads();
  }

  Outcome m_sound;
};

TEST_P(FailingMachine, AnyReadFailsOrComesBackShortOrTheFileShrinks) {
  const std::uint64_t reads = ReadsOf(Use::kEverything);
  ASSERT_GT(reads, 0U);
  for (std::uint64_t n = 1; n <= reads; ++n) {
    ExpectSound({.failingRead = n}, Use::kEverything, GetParam().bytes, n);
    ExpectSound({.failingRead = n, .failsForGood = false}, Use::kEverything, GetParam().bytes, n);
    ExpectSound({.shortRead = n}, Use::kEverything, GetParam().bytes, n);
    for (const std::uint64_t size : {std::uint64_t{0}, std::uint64_t{100}, GetParam().bytes.size() / 2}) {
      ExpectSound({.shrinkingRead = n, .shrunkSize = size}, Use::kEverything, GetParam().bytes, n);
    }
  }
  for (const std::size_t longest : {1U, 7U, 100U}) {
    ExpectSound({.longestRead = longest}, Use::kProperties, GetParam().bytes, longest);
  }
  EXPECT_EQ(Read({}), m_sound);
}

TEST_P(FailingMachine, TheFileEndsAnywhereOrLiesAboutItsSize) {
  const std::span<const std::uint8_t> bytes = GetParam().bytes;
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    const Use use = size % 64 == 0 ? Use::kEverything : Use::kProperties;
    ExpectSound({}, use, bytes.first(size), size);
  }
  for (unsigned bit = 0; bit < 63; ++bit) {
    ExpectSound({.statedSize = std::uint64_t{1} << bit}, Use::kEverything, bytes, bit);
  }
  EXPECT_EQ(Read({}), m_sound);
}

TEST_P(FailingMachine, AnyBitOfTheFrontIsWrong) {
  std::vector<std::uint8_t> bytes = GetParam().bytes;
  const std::size_t bits = std::min(bytes.size(), kFlippedBytes) * 8;
  for (std::size_t bit = 0; bit < bits; ++bit) {
    std::uint8_t& byte = bytes[bit / 8];
    const std::uint8_t whole = byte;
    byte = static_cast<std::uint8_t>(byte ^ 1U << bit % 8);
    ExpectSound({}, bit % 512 == 3 ? Use::kEverything : Use::kProperties, bytes, bit);
    byte = whole;
  }
  EXPECT_EQ(Read({}), m_sound);
}

TEST_P(FailingMachine, AnyAllocationFails) {
  for (const Use use : {Use::kProperties, Use::kEverything}) {
    const auto source = std::make_shared<MemoryFileSource>(GetParam().bytes);
    std::uint64_t allocations = 0;
    {
      const HeapWatch heap;
      (void)TakeRoad(GetParam().name, source, use);
      allocations = heap.Allocations();
    }
    ASSERT_GT(allocations, 3U);
    // The first two are the test's own name and reader.
    for (std::uint64_t n = 3; n <= allocations; ++n) {
      std::int64_t left = 0;
      std::string complaint;
      {
        const HeapWatch heap(n);
        complaint = Complaint([&] { (void)TakeRoad(GetParam().name, source, use); });
        if (complaint.empty()) left = heap.BytesInUse();
      }
      EXPECT_EQ(complaint, "") << n << " of " << allocations;
      EXPECT_EQ(left, 0) << n << " of " << allocations;
    }
  }
  EXPECT_EQ(Read({}), m_sound);
}

// Every message of a log ends with a line feed, whatever happened.
void ExpectWellFormed(const std::filesystem::path& log) {
  std::ifstream file(log, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (bytes.empty()) return;
  EXPECT_EQ(bytes.size() % 2, 0U);
  EXPECT_EQ(bytes.substr(0, 2), "\xFF\xFE");
  EXPECT_EQ(bytes.substr(bytes.size() - 2), std::string("\n\0", 2));
}

TEST_P(FailingMachine, TheLogStaysWellFormed) {
  const std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / ("faults-" + GetParam().name);
  std::filesystem::create_directories(folder);
  const std::filesystem::path log = folder / "L1log.txt";
  ASSERT_EQ(SetLogFolder(PathFromBytes(folder.string())), QMF_OK);
  for (std::uint64_t n = 1; n < 12; ++n) {
    ExpectSound({.failingRead = n}, Use::kEverything, GetParam().bytes, n);
    ExpectWellFormed(log);
  }
  const auto source = std::make_shared<MemoryFileSource>(GetParam().bytes);
  for (std::uint64_t n = 3; n < 40; ++n) {
    {
      const HeapWatch heap(n);
      EXPECT_EQ(Complaint([&] { (void)TakeRoad(GetParam().name, source, Use::kProperties); }), "") << n;
    }
    ExpectWellFormed(log);
  }
  EXPECT_TRUE(std::filesystem::exists(log));
  SetLogOff();
  std::filesystem::remove_all(folder);
}

INSTANTIATE_TEST_SUITE_P(Files, FailingMachine, testing::ValuesIn(SmallFiles()), [](const auto& tested) {
  return tested.param.name.substr(tested.param.name.find('.') + 1);
});

}  // namespace
}  // namespace qmf::test
