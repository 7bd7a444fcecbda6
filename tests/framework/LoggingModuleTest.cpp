#include "framework/LoggingModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "framework/Container.h"
#include "framework/LogWriter.h"
#include "framework/ModuleTable.h"
#include "framework/QueryIds.h"
#include "tests/support/FakeModule.h"
#include "tests/support/TestMemory.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#endif

namespace qmf {
namespace {

using test::Fake;

std::u16string Opened(std::u16string_view path) {
  return std::u16string(u"\uFEFFOpenContainer:\nFile: ").append(path) + u"\n\n";
}

// What the log says of a call: its arguments, and its outputs with the result.
std::u16string Called(std::u16string name, const char16_t* entry = u"", const char16_t* exit = u"",
                      const char16_t* result = u"0") {
  return name + u" Entry:\n" + entry + u"\n" + name + u" Exit:\n" + exit + u"QivoError: " + result + u"\n\n";
}

class LoggingModuleTest : public testing::Test {
 protected:
  LoggingModuleTest() {
    test::ResetFakes();
    Fake(1).score = 10;
    std::filesystem::remove_all(m_folder);
    std::filesystem::create_directories(m_folder);
    EXPECT_EQ(SetLogFolder(m_folder.u16string()), QMF_OK);
  }
  ~LoggingModuleTest() override {
    if (m_handle != nullptr) Close();
    SetLogOff();
    std::filesystem::remove_all(m_folder);
  }

  void Open(const char16_t* path = u"film", QMFAllocator* memory = nullptr) {
    ASSERT_EQ(m_slots.OpenContainer(&m_handle, path, memory), QMF_OK);
  }
  void Close() { EXPECT_EQ(m_slots.CloseContainer(std::exchange(m_handle, nullptr)), QMF_OK); }
  void SelectTitles(int count) {
    for (int i = 0; i < count; ++i) EXPECT_EQ(m_slots.SetTitle(m_handle, 0), QMF_OK);
  }

  // The text of a log, which is little-endian as this machine is.
  std::u16string Log(const char* name = "L1log.txt") const {
    std::ifstream file(m_folder / name, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(bytes.size() % 2, 0U);
    std::u16string text(bytes.size() / 2, u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * 2);
    return text;
  }

  const std::filesystem::path m_folder =
      std::filesystem::current_path() /
      (std::string("LoggingModuleTest-") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
  const QMFModuleEntryPoints& m_slots = *FindModule(kModuleLogging)->entryPoints;
  QMFModuleHandle m_handle = nullptr;
};

TEST_F(LoggingModuleTest, ASessionOfEveryEntryPointReadsAsExpected) {
  Open(u"\u00e9t\u00e9 %d.mkv");
  std::uint8_t bytes[16];
  QMFBlock block;
  block.data = bytes;
  block.capacity = sizeof(bytes);
  QMFQueryData data;
  std::uint32_t type = 0;
  std::uint32_t number = 0;
  std::int64_t time = -5;
  Fake(1).blocks = {{kBlockVideo, 3, 1LL << 40, "123456789"}};
  (void)m_slots.SetTitle(m_handle, 1);
  (void)m_slots.SetMenu(m_handle, 2);
  (void)m_slots.GetInfo(m_handle, QMF_QID_TITLE_DURATION, &data, 0xFFFFFFFF);
  (void)m_slots.GetInfo(m_handle, 0xABC, &data, 0);
  (void)m_slots.SetPosition(m_handle, 2, 0, &time);
  (void)m_slots.SetTitleActiveStream(m_handle, 2, 0, 1);
  (void)m_slots.ReadNextBlock(m_handle, &type, &number, &block, &time);
  block.capacity = 0;  // A module that leaves a stale size behind is not believed.
  Fake(1).result = QMF_ERR_END_OF_STREAM;
  (void)m_slots.ReadNextBlockByStream(m_handle, 1, 4, &block, &time);
  (void)m_slots.WriteNextBlock(m_handle, 2, 77, 1, &block);
  (void)m_slots.AddStream(m_handle, 3, &number);
  (void)m_slots.SetInfo(m_handle, QMF_QID_USE_INDEX, &data, 6);
  (void)m_slots.AddTitle(m_handle, &number);
  (void)m_slots.FinishTitle(m_handle);
  Fake(1).result = QMF_OK;
  (void)m_slots.slot0(m_handle);
  Close();
  const char16_t* const failure = u"-1073741798";
  EXPECT_EQ(Log(),
            Opened(u"\u00e9t\u00e9 %d.mkv") + Called(u"SetTitle", u"TitleIndex 1\n") +
                Called(u"SetMenu", u"MenuIndex 2\n") +
                Called(u"GetInfo", u"QID: QMF_QID_TITLE_DURATION\nIndex: -1\n") +
                Called(u"GetInfo", u"QID: 0x000ABC\nIndex: 0\n") +
                Called(u"SetPosition", u"blockType: 2\nnStream: 0\nTime: -5\n", u"Time: -6\n") +
                Called(u"SetTitleActiveStream", u"blockType: 2\nnStream: 0\nbActive: 1\n") +
                Called(u"ReadNextBlock", u"",
                       u"*pBlockType: 2\n*pnStream: 3\nBlock Data CRC: -873187034\n"
                       u"Block Time: 1099511627776\n") +
                Called(u"ReadNextBlockByStream", u"blockType: 1\nnStream: 4\n",
                       u"Block Data CRC: 0\nBlock Time: 1099511627776\n", failure) +
                Called(u"WriteNextBlock", u"blockType: 2\nBlock Time: 77\nnStream: 1\n", u"", failure) +
                Called(u"AddStream", u"blockType: 3\n", u"*nStreamOfType: 7\n", failure) +
                Called(u"SetInfo", u"QID: QMF_QID_USE_INDEX\nIndex: 6\n", u"", failure) +
                Called(u"AddTitle", u"", u"*TitleID: 9\n", failure) +
                Called(u"FinishTitle", u"", u"", failure) + Called(u"CloseContainer"));
}

TEST_F(LoggingModuleTest, FillsItsSlotsAndForwardsTheUnnamedOnesSilently) {
  const auto* const slots = reinterpret_cast<void* const*>(&m_slots);
  for (std::size_t i = 0; i < kModuleSlotCount; ++i) {
    EXPECT_EQ(slots[i] != nullptr, i <= 27 || (i >= 31 && i <= 33)) << i;
  }
  Open();
  const std::u16string before = Log();
  const QMFUnnamedEntryPoint unnamed[] = {
      m_slots.slot0,          m_slots.slots4to6[0],   m_slots.slots4to6[2],  m_slots.slots19to27[0],
      m_slots.slots19to27[8], m_slots.slots32to33[0], m_slots.slots32to33[1]};
  Fake(1).result = QMF_ERR_OUTSIDE_RANGE;
  for (const QMFUnnamedEntryPoint slot : unnamed) EXPECT_EQ(slot(m_handle), QMF_ERR_OUTSIDE_RANGE);
  EXPECT_EQ(test::FakeCalls().size(), 1 + std::size(unnamed));
  Fake(1).slots = {};
  for (const QMFUnnamedEntryPoint slot : unnamed) EXPECT_EQ(slot(m_handle), QMF_ERR_NULL_MODULE_FUNC);
  EXPECT_EQ(m_slots.SetTitle(m_handle, 0), QMF_ERR_NULL_MODULE_FUNC);
  EXPECT_EQ(Log(), before);
  std::int32_t score = 7;
  EXPECT_EQ(m_slots.ProbeContainer(&score, u"film", nullptr), QMF_OK);
  EXPECT_EQ(score, 0);
  QMFModuleHandle handle = nullptr;
  EXPECT_EQ(m_slots.OpenContainer(&handle, nullptr, nullptr), QMF_NULL_ARGUMENT);
  EXPECT_EQ(m_slots.OpenContainer(nullptr, u"film", nullptr), QMF_NULL_ARGUMENT);
  test::ResetFakes();
}

TEST_F(LoggingModuleTest, WithoutBidderNothingIsLoggedAndAFailedOpenIs) {
  Fake(1).score = 0;
  EXPECT_EQ(m_slots.OpenContainer(&m_handle, u"film", nullptr), QMF_ERR_UNSUPPORTED_CONTAINER);
  EXPECT_FALSE(std::filesystem::exists(m_folder / "L1log.txt"));
  Fake(1).score = 1;
  Fake(1).openResult = QMF_FILE_NOT_OPENED;
  EXPECT_EQ(m_slots.OpenContainer(&m_handle, u"film", nullptr), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(m_handle, nullptr);
  EXPECT_EQ(Log(), Opened(u"film"));
}

TEST_F(LoggingModuleTest, TheNameStandsInTheFileAtOnceTheRestGathersAndANewLogStartsAfresh) {
  Open(u"a film");
  std::u16string whole = Opened(u"a film");
  EXPECT_EQ(Log(), whole);
  SelectTitles(100);
  for (int i = 0; i < 100; ++i) whole += Called(u"SetTitle", u"TitleIndex 0\n");
  EXPECT_TRUE(whole.starts_with(Log()));
  EXPECT_GT(Log().size(), whole.size() - 2200);
  EXPECT_TRUE(Log().ends_with(u"\n\n"));
  Close();
  EXPECT_EQ(Log(), whole + Called(u"CloseContainer"));
  Open(u"b");
  EXPECT_EQ(Log(), Opened(u"b"));
}

TEST_F(LoggingModuleTest, InstancesAtOnceKeepLogsOfTheirOwn) {
  QMFContainer* container = nullptr;
  ASSERT_EQ(OpenContainer(&container, u"a;b", nullptr), QMF_OK);
  EXPECT_EQ(Log("L1log.txt"), Opened(u"a"));
  EXPECT_EQ(Log("L1log-2.txt"), Opened(u"b"));
  EXPECT_EQ(CloseContainer(container), QMF_OK);

  const auto session = [this] {
    for (int i = 0; i < 200; ++i) {
      QMFModuleHandle handle = nullptr;
      ASSERT_EQ(m_slots.OpenContainer(&handle, u"c", nullptr), QMF_OK);
      EXPECT_EQ(m_slots.SetTitle(handle, 0), QMF_OK);
      EXPECT_EQ(m_slots.CloseContainer(handle), QMF_OK);
    }
  };
  std::thread other(session);
  session();
  other.join();
  EXPECT_EQ(Log(), Opened(u"c") + Called(u"SetTitle", u"TitleIndex 0\n") + Called(u"CloseContainer"));
}

TEST_F(LoggingModuleTest, EveryLogTakenOrOffMeansNoLog) {
  std::vector<QMFModuleHandle> handles(LogWriter::kMostLogs + 1);
  for (QMFModuleHandle& handle : handles) ASSERT_EQ(m_slots.OpenContainer(&handle, u"a", nullptr), QMF_OK);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), LogWriter::kMostLogs);
  for (const QMFModuleHandle handle : handles) {
    EXPECT_EQ(m_slots.SetTitle(handle, 0), QMF_OK);
    EXPECT_EQ(m_slots.CloseContainer(handle), QMF_OK);
  }
  std::filesystem::remove_all(m_folder);
  Open();  // no folder to write in
  Close();
  SetLogOff();
  std::filesystem::create_directories(m_folder);
  Open();
  EXPECT_TRUE(std::filesystem::is_empty(m_folder));
}

TEST_F(LoggingModuleTest, WithoutMemoryTheLogEndsWithAWholeMessage) {
  // Some longer messages in front, so that memory ends anywhere in one.
  for (std::uint32_t longer = 0; longer < 31; ++longer) {
    test::TestMemory memory;
    Open(u"film", &memory);
    memory.failAt = 0;
    for (std::uint32_t i = 0; i < 50; ++i) EXPECT_EQ(m_slots.SetTitle(m_handle, i < longer ? 10 : 1), QMF_OK);
    Close();
    EXPECT_TRUE(Log().ends_with(u"\n\n")) << longer;
  }
}

TEST_F(LoggingModuleTest, LinksAreNotFollowedAndPipesNotWaitedFor) {
  const std::filesystem::path victim = m_folder / "victim";
  std::ofstream(victim) << "mine";
  const std::filesystem::path log = m_folder / "L1log.txt";
  const std::function<void()> plants[] = {
      [&] { std::filesystem::create_hard_link(victim, log); },
#ifndef _WIN32
      [&] { std::filesystem::create_symlink(victim, log); },
      [&] { ASSERT_EQ(::mkfifo(log.c_str(), 0600), 0); },
#endif
  };
  for (const auto& plant : plants) {
    std::filesystem::remove(log);
    plant();
    Open();
    SelectTitles(1);
    Close();
    EXPECT_EQ(std::filesystem::file_size(victim), 4U);
  }
}

#ifndef _WIN32
TEST_F(LoggingModuleTest, AFullDiskCutsTheLogAtAWholeRecord) {
  Open();
  const std::u16string before = Log();
  rlimit old{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
  const rlimit full = {before.size() * 2 + 2100, old.rlim_max};
  std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
  SelectTitles(100);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
  SelectTitles(100);
  Close();
  EXPECT_EQ(Log(), before);
}
#endif

}  // namespace
}  // namespace qmf
