#include "readers/avi/AviSeekTable.h"

#include <gmock/gmock.h>

#include <memory_resource>
#include <vector>

#include "tests/readers/avi/OpenedAvi.h"

namespace qmf::test {
namespace {

// Hands out memory full of a pattern, remembers it, and refuses what it is told to refuse.
class PatternHeap : public std::pmr::memory_resource {
 public:
  struct Area {
    std::uint8_t* data;
    std::size_t size;
    bool IsUntouched() const {
      return std::all_of(data, data + size, [](std::uint8_t byte) { return byte == 0xA5; });
    }
  };

  std::size_t refuseSize = 0;

  const Area* Find(std::size_t size) const {
    const auto found = std::ranges::find(m_areas, size, &Area::size);
    return found == m_areas.end() ? nullptr : &*found;
  }

 private:
  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    if (bytes == refuseSize) throw std::bad_alloc();
    auto* const data =
        static_cast<std::uint8_t*>(std::pmr::new_delete_resource()->allocate(bytes, alignment));
    std::fill_n(data, bytes, 0xA5);
    m_areas.push_back({data, bytes});
    return data;
  }
  void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) override {
    std::erase_if(m_areas, [&](const Area& area) { return area.data == p; });
    std::pmr::new_delete_resource()->deallocate(p, bytes, alignment);
  }
  bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

  std::vector<Area> m_areas;
};

Bytes FileOfLength(std::uint32_t frames) {
  AviParts parts;
  parts.streams = {VideoStream({.length = frames})};
  return parts.Build();
}

TEST(AviSeekTable, IsReservedWithTheTitleAndLeftUntouched) {
  for (const auto& [frames, capacity] : {std::pair(5'000U, 1'000U),
                                         {500'000U, 21'600U},
                                         {50'000U, 5'000U},
                                         {0U, 21'600U},
                                         {0xFFFFFFFFU, 21'600U}}) {
    PatternHeap heap;
    OpenedAvi avi(FileOfLength(frames), *kAviModule.entryPoints, &heap);
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    (void)avi.Number(QMF_QID_TITLE_DURATION);
    for (const std::size_t size : {capacity * 200, capacity * 4}) {
      ASSERT_NE(heap.Find(size), nullptr) << frames;
      EXPECT_TRUE(heap.Find(size)->IsUntouched()) << frames;
    }
  }
}

TEST(AviSeekTable, NeedsItsEntriesButNotItsSecondArea) {
  PatternHeap heap;
  heap.refuseSize = 200 * 1'000;
  EXPECT_EQ(OpenedAvi(FileOfLength(100), *kAviModule.entryPoints, &heap).SetTitle(), QMF_OUT_OF_MEMORY);
  heap.refuseSize = 4 * 1'000;
  EXPECT_EQ(OpenedAvi(FileOfLength(100), *kAviModule.entryPoints, &heap).SetTitle(), QMF_OK);
}

// Notes frames of which every `keyGap`th is a key frame, and asks for all of them.
void CheckKeys(AviSeekTable& table, std::uint64_t frames, std::uint64_t keyGap) {
  AviPosition position;
  for (std::uint64_t i = 0; i < frames; ++i) {
    position.offset = i * 100;
    position.counts[0] = i;
    position.counts[1] = i * 7;
    table.Note(position, i % keyGap == 0);
  }
  ASSERT_EQ(table.FrameCount(), frames);
  for (std::uint64_t i = 0; i<frames; i += frames> 50'000 ? 37 : 1) {
    ASSERT_EQ(table.KeyAtOrBefore(i), i / keyGap * keyGap);
    const std::uint64_t next = (i + keyGap - 1) / keyGap * keyGap;
    ASSERT_EQ(table.KeyFrom(i), next < frames ? std::optional(next) : std::nullopt);
    const AviPosition* const before = table.Before(i);
    ASSERT_LE(before->counts[0], i);
    ASSERT_GE(before->counts[0] + 320, i);
    ASSERT_EQ(before->offset, before->counts[0] * 100);
    const AviPosition* const byAudio = table.BeforeCount(1, i * 7 + 3);
    ASSERT_EQ(byAudio, before);
  }
}

TEST(AviSeekTable, FindsKeyFramesHoweverManyFramesShareAnEntry) {
  for (const std::size_t refuse : {std::size_t{0}, 4 * std::size_t{1'000}}) {
    PatternHeap heap;
    heap.refuseSize = refuse;
    AviSeekTable table(&heap);
    EXPECT_EQ(table.KeyAtOrBefore(0), std::nullopt);
    for (const std::uint64_t frames : {1U, 9'999U, 10'000U, 10'001U, 40'010U, 320'000U}) {
      table.Reserve(1);
      CheckKeys(table, frames, 250);
      table.Clear();
    }
    CheckKeys(table, 20'000, 1);
  }
}

TEST(AviSeekTable, FullTableKeepsWhatItHas) {
  AviSeekTable table(std::pmr::new_delete_resource());
  table.Note({}, true);
  EXPECT_EQ(table.FrameCount(), 0U) << "nothing was reserved";
  table.Clear();
  table.Reserve(1);
  for (int i = 0; i < 320'005; ++i) table.Note({}, i == 5);
  EXPECT_TRUE(table.IsFull());
  EXPECT_EQ(table.FrameCount(), 320'000U);
  EXPECT_EQ(table.KeyAtOrBefore(UINT64_MAX), 5U);
  EXPECT_EQ(table.KeyFrom(6), std::nullopt);
  EXPECT_FALSE(table.IsKey(320'001));
}

}  // namespace
}  // namespace qmf::test
