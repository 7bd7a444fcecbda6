#include "framework/ModuleAdapter.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

#include "tests/support/TestMemory.h"

namespace qmf {
namespace {

using testing::Each;

/// A reader that does the same whatever it is asked.
struct OneTrickReader {
  static inline std::function<QMFResult()> trick;

  explicit OneTrickReader(QMFAllocator*) {}
  static QMFResult Probe(std::int32_t&, const char16_t*, QMFAllocator*) { return trick(); }
  QMFResult Open(const char16_t*) { return trick(); }
  QMFResult SetTitle(std::uint32_t) { return trick(); }
  QMFResult SetMenu(std::uint32_t) { return trick(); }
  QMFResult GetInfo(std::uint32_t, QMFQueryData&, std::uint32_t) { return trick(); }
  QMFResult SetInfo(std::uint32_t, QMFQueryData&, std::uint32_t) { return trick(); }
  QMFResult SetPosition(std::uint32_t, std::uint32_t, std::int64_t&) { return trick(); }
  QMFResult SetTitleActiveStream(std::uint32_t, std::uint32_t, std::uint32_t) { return trick(); }
  QMFResult ReadNextBlock(std::uint32_t&, std::uint32_t& stream, QMFBlock& block, std::int64_t& time) {
    return ReadNextBlockByStream(0, stream, block, time);
  }
  QMFResult ReadNextBlockByStream(std::uint32_t, std::uint32_t, QMFBlock& block, std::int64_t&) {
    block.size = 1;
    return trick();
  }
};
constexpr QMFModuleEntryPoints kSlots = ModuleAdapter<OneTrickReader>::EntryPoints(nullptr, {5, 21, 33});

class ModuleAdapterTest : public testing::Test {
 protected:
  QMFResult Open() { return kSlots.OpenContainer(&m_handle, u"a", &m_memory); }

  std::vector<QMFResult> CallAll(QMFQueryData* data, std::int64_t* time) {
    return {kSlots.GetInfo(m_handle, 0, data, 0), kSlots.SetInfo(m_handle, 0, data, 0),
            kSlots.SetPosition(m_handle, 0, 0, time)};
  }
  std::vector<QMFResult> CallAll() {
    std::vector<QMFResult> results = CallAll(&m_data, &m_time);
    results.insert(results.end(), {kSlots.SetTitle(m_handle, 0), kSlots.SetMenu(m_handle, 0),
                                   kSlots.SetTitleActiveStream(m_handle, 0, 0, 0)});
    return results;
  }
  std::vector<QMFResult> ReadBlocks(std::uint32_t* number, QMFBlock* block, std::int64_t* time) {
    return {kSlots.ReadNextBlock(m_handle, number, number, block, time),
            kSlots.ReadNextBlockByStream(m_handle, 0, 0, block, time)};
  }

  test::TestMemory m_memory;
  QMFModuleHandle m_handle = nullptr;
  QMFQueryData m_data;
  std::uint32_t m_number = 0;
  std::int64_t m_time = 0;
  std::uint8_t m_byte = 0;
};

TEST_F(ModuleAdapterTest, NothingLeavesAReaderButResultsAndSoundBlocks) {
  const std::pair<std::function<QMFResult()>, QMFResult> rows[] = {
      {[] { return QMF_ERR_END_OF_STREAM; }, QMF_ERR_END_OF_STREAM},
      {[]() -> QMFResult { throw std::bad_alloc(); }, QMF_OUT_OF_MEMORY},
      {[]() -> QMFResult { throw std::length_error("no exhausted memory"); }, QMF_FAILURE},
      {[] { return QMF_OK; }, QMF_OK}};
  for (const auto& [trick, result] : rows) {
    OneTrickReader::trick = trick;
    std::int32_t score = 0;
    EXPECT_EQ(kSlots.ProbeContainer(&score, u"a", nullptr), result);
    EXPECT_EQ(Open(), result);
    EXPECT_EQ(m_memory.InUse(), result == QMF_OK ? 1U : 0U);
    OneTrickReader::trick = rows[3].first;
    if (m_handle == nullptr) {
      ASSERT_EQ(Open(), QMF_OK);
    }
    OneTrickReader::trick = trick;
    EXPECT_THAT(CallAll(), Each(result));
    QMFBlock block;
    block.data = &m_byte;
    EXPECT_THAT(ReadBlocks(&m_number, &block, &m_time), Each(result));
    EXPECT_EQ(block.size, result == QMF_OK ? 1U : 0U);
    EXPECT_EQ(kSlots.CloseContainer(std::exchange(m_handle, nullptr)), QMF_OK);
    EXPECT_EQ(m_memory.InUse(), 0U);
  }
}

TEST_F(ModuleAdapterTest, NullIsRefusedBeforeTheReaderSeesIt) {
  OneTrickReader::trick = [] { return QMF_OK; };
  const QMFUnnamedEntryPoint unnamed[] = {kSlots.slots4to6[1], kSlots.slots19to27[2], kSlots.slots32to33[1]};
  for (const auto slot : unnamed) EXPECT_EQ(slot(nullptr), QMF_NULL_ARGUMENT);
  EXPECT_THAT(CallAll(), Each(QMF_NULL_ARGUMENT));
  EXPECT_EQ(kSlots.CloseContainer(nullptr), QMF_NULL_ARGUMENT);
  std::int32_t score = 7;
  EXPECT_EQ(kSlots.ProbeContainer(nullptr, u"a", nullptr), QMF_NULL_ARGUMENT);
  EXPECT_EQ(kSlots.ProbeContainer(&score, nullptr, nullptr), QMF_NULL_ARGUMENT);
  EXPECT_EQ(score, 0);
  EXPECT_EQ(kSlots.OpenContainer(nullptr, u"a", nullptr), QMF_NULL_ARGUMENT);
  EXPECT_EQ(kSlots.OpenContainer(&m_handle, nullptr, nullptr), QMF_NULL_ARGUMENT);
  ASSERT_EQ(Open(), QMF_OK);
  for (const auto slot : unnamed) EXPECT_EQ(slot(m_handle), QMF_OK);
  EXPECT_THAT(CallAll(nullptr, nullptr), Each(QMF_NULL_ARGUMENT));
  EXPECT_THAT(ReadBlocks(&m_number, nullptr, &m_time), Each(QMF_ERR_BLOCK_BUFFER_NULL));
  // Whoever checksums a block after a failed read finds none.
  QMFBlock block;
  block.size = 99;
  EXPECT_THAT(ReadBlocks(&m_number, &block, nullptr), Each(QMF_NULL_ARGUMENT));
  EXPECT_EQ(std::exchange(block.size, 99), 0U);
  EXPECT_THAT(ReadBlocks(&m_number, &block, &m_time), Each(QMF_ERR_BLOCK_BUFFER_NULL));
  EXPECT_EQ(block.size, 0U);
  EXPECT_EQ(kSlots.CloseContainer(m_handle), QMF_OK);
}

}  // namespace
}  // namespace qmf
