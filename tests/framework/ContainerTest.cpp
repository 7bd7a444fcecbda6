#include "framework/Container.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory_resource>
#include <thread>

#include "framework/LogWriter.h"
#include "framework/ModuleBidding.h"
#include "framework/QueryIds.h"
#include "tests/support/FakeModule.h"
#include "tests/support/TestMemory.h"

namespace qmf {
namespace {

using test::Fake;
using test::FakeCalls;
using testing::ElementsAre;
using testing::HasSubstr;

class ContainerTest : public testing::Test {
 protected:
  ContainerTest() {
    SetLogOff();
    test::ResetFakes();
    Fake(1).score = 10;
  }
  ~ContainerTest() override {
    if (m_container != nullptr) (void)CloseContainer(m_container);
    EXPECT_EQ(test::OpenFakeInstances(), 0);
  }

  QMFResult Open(const char16_t* path = u"a") { return OpenContainer(&m_container, path, nullptr); }

  // Every operation that goes to a module, on a container in whatever state it is.
  std::vector<QMFResult> CallAll() {
    QMFQueryData data;
    std::uint8_t byte = 0;
    QMFBlock block;
    block.data = &byte;
    std::uint32_t number = 0;
    std::int64_t time = 0;
    return {SetTitle(m_container, 0),
            SetMenu(m_container, 0),
            GetInfo(m_container, QMF_QID_TITLE_DURATION, &data, 0),
            SetInfo(m_container, QMF_QID_TITLE_DURATION, &data, 0),
            SetPosition(m_container, kBlockVideo, 0, &time),
            SetTitleActiveStream(m_container, kBlockVideo, 0, 1),
            ReadNextBlock(m_container, &number, &number, &block, &time),
            ReadNextBlockByStream(m_container, kBlockVideo, 0, &block, &time)};
  }

  QMFContainer* m_container = nullptr;
};

TEST_F(ContainerTest, HighestScoreWinsAndTheLowerIdOnATie) {
  struct Row {
    std::int32_t scores[3];
    int winner;  // 0: none
  };
  for (const Row& row :
       {Row{{10, 20, 5}, 2}, Row{{7, 7, 7}, 1}, Row{{0, 0, 1}, 3}, Row{{0, 0, 0}, 0}, Row{{-5, -1, -2}, 0}}) {
    for (int i = 0; i < 3; ++i) Fake(i + 1).score = row.scores[i];
    std::int32_t winner = -1;
    EXPECT_EQ(SelectModule(u"a", nullptr, winner), row.winner != 0 ? QMF_OK : QMF_ERR_UNSUPPORTED_CONTAINER);
    EXPECT_EQ(winner, row.winner);
  }
}

TEST_F(ContainerTest, SomeModulesNeverWinAndOneWithoutProbeEndsTheSearch) {
  std::int32_t winner = 0;
  Fake(2).score = 50;
  Fake(2).probeResult = QMF_FAILURE;
  Fake(3).score = 50;
  Fake(3).header.values[0] = 0;
  EXPECT_EQ(SelectModule(u"a", nullptr, winner), QMF_OK);
  EXPECT_EQ(winner, 1);
  Fake(1).header.extensions = u"logging";
  EXPECT_EQ(SelectModule(u"a", nullptr, winner), QMF_ERR_UNSUPPORTED_CONTAINER);
  Fake(1).header.extensions = u".fake";
  Fake(2).slots.ProbeContainer = nullptr;
  EXPECT_EQ(Open(), QMF_ERR_UNSUPPORTED_CONTAINER);
  EXPECT_EQ(m_container, nullptr);
}

TEST_F(ContainerTest, OpensPiecesInOrderAndRefusesWhatItCannotHold) {
  ASSERT_EQ(Open(u"film.avi;film.srt"), QMF_OK);
  EXPECT_EQ(m_container->count, 2U);
  EXPECT_THAT(FakeCalls(), ElementsAre("1:OpenContainer film.avi", "1:OpenContainer film.srt"));
  std::int32_t module = 0;
  EXPECT_EQ(GetModuleOfPiece(m_container, 1, &module), QMF_OK);
  EXPECT_EQ(module, 1);
  EXPECT_EQ(CloseContainer(std::exchange(m_container, nullptr)), QMF_OK);

  EXPECT_EQ(Open(u"1;2;3;4;5;6;7;8;9;10"), QMF_OK);
  EXPECT_EQ(CloseContainer(std::exchange(m_container, nullptr)), QMF_OK);
  for (const char16_t* const path : {u"1;2;3;4;5;6;7;8;9;10;11", u"", u";;"}) {
    EXPECT_EQ(Open(path), QMF_ERR_OPEN_CONTAINER);
  }
  EXPECT_EQ(Open(nullptr), QMF_ERR_INVALID_HANDLER);
  EXPECT_EQ(OpenContainer(nullptr, u"a", nullptr), QMF_ERR_INVALID_HANDLER);
  Fake(1).openResult = QMF_ERR_INVALID_MENU_VERSION;  // A warning is a success.
  EXPECT_EQ(Open(), QMF_OK);
}

TEST_F(ContainerTest, APieceThatFailsClosesTheEarlierOnes) {
  static int opened;
  opened = 0;
  Fake(1).slots.OpenContainer = [](QMFModuleHandle* handle, const char16_t* path, QMFAllocator* allocator) {
    if (++opened == 3) return QMF_FILE_NOT_OPENED;
    return Fake(2).slots.OpenContainer(handle, path, allocator);
  };
  EXPECT_EQ(Open(u"a;b;c"), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(m_container, nullptr);
  EXPECT_EQ(test::OpenFakeInstances(), 0);
}

TEST_F(ContainerTest, ChecksComeInTheirOrder) {
  for (const QMFResult result : CallAll()) EXPECT_EQ(result, QMF_ERR_INVALID_HANDLER);
  EXPECT_EQ(CloseContainer(nullptr), QMF_ERR_INVALID_HANDLER);
  Fake(1).streamCounts = {0, 1, 1, 1};
  ASSERT_EQ(Open(), QMF_OK);

  m_container->mark = 0x64;
  for (const QMFResult result : CallAll()) EXPECT_EQ(result, QMF_FAILURE);
  EXPECT_EQ(CloseContainer(m_container), QMF_FAILURE);
  m_container->mark = QMFContainer::kMark;
  EXPECT_EQ(GetInfo(m_container, QMF_QID_TITLE_DURATION, nullptr, 0), QMF_ERR_INVALID_HANDLER);

  QMFModuleInstance* const instance = std::exchange(m_container->instances[0], nullptr);
  for (const QMFResult result : CallAll()) EXPECT_EQ(result, QMF_ERR_INVALID_HANDLER);
  m_container->instances[0] = instance;
  for (const std::int32_t id : {0, 19, -1}) {
    instance->moduleId = id;
    for (const QMFResult result : CallAll()) EXPECT_EQ(result, QMF_ERR_GET_MODULE_ID) << id;
  }
  instance->moduleId = 5;  // in range, nobody registered
  for (const QMFResult result : CallAll()) EXPECT_EQ(result, QMF_FAILURE);
  instance->moduleId = kModuleLogging;

  Fake(1).slots = {};
  for (const QMFResult result : CallAll()) EXPECT_EQ(result, QMF_ERR_NULL_MODULE_FUNC);
  test::ResetFakes();
}

TEST_F(ContainerTest, WhoeverHoldsAClosedContainerIsRefused) {
  // Nothing that was given back is used again here.
  std::array<std::byte, 65536> area;
  std::pmr::monotonic_buffer_resource memory(area.data(), area.size(), std::pmr::null_memory_resource());
  ASSERT_EQ(OpenContainer(&m_container, u"a", &memory), QMF_OK);
  const QMFModuleInstance* const instance = m_container->instances[0];
  EXPECT_EQ(CloseContainer(m_container), QMF_OK);
  for (const QMFResult result : CallAll()) EXPECT_EQ(result, QMF_FAILURE);
  EXPECT_EQ(CloseContainer(std::exchange(m_container, nullptr)), QMF_FAILURE);
  EXPECT_EQ(instance->mark, 0);
}

TEST_F(ContainerTest, CloseReportsAMissingInstanceAndStillClosesTheRest) {
  ASSERT_EQ(Open(u"a;b"), QMF_OK);
  QMFContainer* const broken = std::exchange(m_container, nullptr);
  ASSERT_EQ(Open(u"c"), QMF_OK);
  m_container->instances[m_container->count++] = std::exchange(broken->instances[0], nullptr);
  EXPECT_EQ(CloseContainer(broken), QMF_ERR_GET_MODULE_ID);
  EXPECT_EQ(test::OpenFakeInstances(), 2);
}

TEST_F(ContainerTest, SetTitleStopsAtTheFirstNonZeroResult) {
  ASSERT_EQ(Open(u"a;b"), QMF_OK);
  FakeCalls().clear();
  EXPECT_EQ(SetTitle(m_container, 3), QMF_OK);
  EXPECT_THAT(FakeCalls(), ElementsAre("1:SetTitle 3", "1:SetTitle 3"));
  FakeCalls().clear();
  Fake(1).result = QMF_ERR_NO_INDEX_FOUND;
  EXPECT_EQ(SetTitle(m_container, 0), QMF_ERR_NO_INDEX_FOUND);
  EXPECT_THAT(FakeCalls(), ElementsAre("1:SetTitle 0"));
  Fake(1).result = QMF_OK;
}

// Two pieces read by different modules: the path's first letter decides.
class TwoPieceTest : public ContainerTest {
 protected:
  TwoPieceTest() {
    Fake(1).slots.ProbeContainer = [](std::int32_t* score, const char16_t* path, QMFAllocator*) {
      *score = path[0] == u'a' ? 50 : 1;
      return QMF_OK;
    };
    Fake(2).score = 10;
    Fake(1).streamCounts = {0, 1, 2, 0};
    Fake(2).streamCounts = {0, 1, 1, 1};
    EXPECT_EQ(Open(u"a;b"), QMF_OK);
    FakeCalls().clear();
  }
};

TEST_F(TwoPieceTest, GetInfoRoutesByStreamKindAndKeepsTheIndex) {
  QMFQueryData data;
  EXPECT_EQ(GetInfo(m_container, QMF_QID_TITLE_DURATION, &data, 9), QMF_OK);
  EXPECT_EQ(GetInfo(m_container, QMF_QID_AUD_STREAM_FORMAT, &data, 1), QMF_OK);
  EXPECT_EQ(GetInfo(m_container, QMF_QID_AUD_STREAM_FORMAT, &data, 2), QMF_OK);
  EXPECT_EQ(SetInfo(m_container, QMF_QID_SUB_STREAM_FORMAT, &data, 0), QMF_OK);
  EXPECT_THAT(FakeCalls(), ElementsAre(HasSubstr("1:GetInfo 4525575 9"), HasSubstr("1:GetInfo 8393003 1"),
                                       HasSubstr("2:GetInfo 8393003 2"), HasSubstr("2:SetInfo 8393275 0")));
  EXPECT_EQ(GetInfo(m_container, QMF_QID_VID_STREAM_FORMAT, &data, 2), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(GetInfo(m_container, 0x800045, &data, 0), QMF_ERR_INVALID_STREAM);  // stream kind 4
}

TEST_F(TwoPieceTest, StreamOperationsCountOverAllPieces) {
  std::int64_t time = 100;
  EXPECT_EQ(SetTitleActiveStream(m_container, kBlockAudio, 2, 1), QMF_OK);
  EXPECT_EQ(SetTitleActiveStream(m_container, kBlockVideoAlternate, 1, 0), QMF_OK);
  EXPECT_EQ(SetPosition(m_container, kBlockSubtitleAlternate, 0, &time), QMF_OK);
  EXPECT_EQ(time, 99);
  EXPECT_THAT(FakeCalls(), ElementsAre("2:SetTitleActiveStream 1 0 1", "2:SetTitleActiveStream 5 0 0",
                                       "2:SetPosition 4 0"));
  for (const std::uint32_t blockType : {0U, 6U}) {
    EXPECT_EQ(SetTitleActiveStream(m_container, blockType, 0, 1), QMF_ERR_INVALID_STREAM);
  }
}

TEST_F(TwoPieceTest, TitleMediaPropIsTheSumAndFailsAsAWhole) {
  QMFTitleMediaProp prop = {77, {7, 7, 7}};
  QMFQueryData data;
  data.size = sizeof(prop);
  data.pointer = &prop;
  EXPECT_EQ(GetInfo(m_container, QMF_QID_GET_TITLE_MEDIA_PROP, &data, 0), QMF_OK);
  EXPECT_EQ(prop.flags, 2);
  EXPECT_THAT(prop.counts, ElementsAre(2, 3, 1));
  Fake(2).result = QMF_ERR_UNSUPPORTED_QID;
  EXPECT_EQ(GetInfo(m_container, QMF_QID_GET_TITLE_MEDIA_PROP, &data, 0), QMF_FAILURE);
  Fake(2).result = QMF_OK;
  data.size = sizeof(prop) - 1;
  EXPECT_EQ(GetInfo(m_container, QMF_QID_GET_TITLE_MEDIA_PROP, &data, 0), QMF_ERR_BUFFER_TOO_SMALL);
}

TEST_F(TwoPieceTest, BlocksOfAllPiecesComeInTimeOrder) {
  Fake(1).blocks = {
      {kBlockVideo, 0, 0, "v0"}, {kBlockAudio, 1, 30, std::string(100000, 'x')}, {kBlockVideo, 0, 20, "v2"}};
  Fake(2).blocks = {{kBlockSubtitle, 0, 10, "s1"}, {kBlockAudio, 0, 25, "a25"}, {kBlockVideo, 0, 40, ""}};
  std::vector<std::string> seen;
  std::vector<std::uint8_t> buffer(100);
  std::uint32_t type = 0;
  std::uint32_t stream = 0;
  std::int64_t time = 0;
  QMFResult result = QMF_OK;
  while (result == QMF_OK || result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL) {
    QMFBlock block;
    block.data = buffer.data();
    block.capacity = static_cast<std::uint32_t>(buffer.size());
    result = ReadNextBlock(m_container, &type, &stream, &block, &time);
    if (result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL) {
      EXPECT_EQ(block.size, 0U);
      ASSERT_EQ(block.required, 100000U);
      buffer.resize(block.required);
    } else if (result == QMF_OK) {
      seen.push_back(std::to_string(type) + "/" + std::to_string(stream) + "@" + std::to_string(time) + "+" +
                     std::to_string(block.size));
    }
  }
  EXPECT_EQ(result, QMF_ERR_END_OF_STREAM);
  // In file order within a piece (30 before 20), in time order between pieces; streams of the second count
  // on.
  EXPECT_THAT(seen, ElementsAre("2/0@0+2", "3/0@10+2", "1/2@25+3", "1/1@30+100000", "2/0@20+2", "2/1@40+0"));
}

TEST_F(TwoPieceTest, WhatWasReadAheadGoesWithTheTitleAndThePosition) {
  std::uint8_t bytes[8];
  QMFBlock block;
  block.data = bytes;
  block.capacity = sizeof(bytes);
  std::uint32_t number = 0;
  std::int64_t time = 0;
  const auto read = [&] { return ReadNextBlock(m_container, &number, &number, &block, &time); };
  const std::function<QMFResult()> moves[] = {
      [&] { return SetTitle(m_container, 0); },
      [&] { return SetPosition(m_container, kBlockVideo, 0, &time); }};
  for (const auto& move : moves) {
    Fake(1).blocks = {{kBlockVideo, 0, 0, "v0"}};
    Fake(2).blocks = {{kBlockVideo, 0, 10, "ahead"}};
    EXPECT_EQ(read(), QMF_OK);
    Fake(2).blocks = {{kBlockVideo, 0, 10, "anew"}};
    EXPECT_EQ(move(), QMF_OK);
    EXPECT_EQ(read(), QMF_OK);
    EXPECT_EQ(block.size, 4U);
    EXPECT_EQ(move(), QMF_OK);
  }
  // A block that nobody can hold is not read ahead.
  EXPECT_EQ(CloseContainer(m_container), QMF_OK);
  Fake(1).slots.ReadNextBlock = [](QMFModuleHandle, std::uint32_t*, std::uint32_t*, QMFBlock* wanted,
                                   std::int64_t*) -> QMFResult {
    wanted->required = (256U << 20) + 1;
    return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  };
  test::TestMemory memory;
  ASSERT_EQ(OpenContainer(&m_container, u"a;b", &memory), QMF_OK);
  EXPECT_EQ(read(), QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_LT(memory.peak, 1U << 20);
  EXPECT_EQ(CloseContainer(std::exchange(m_container, nullptr)), QMF_OK);
}

TEST_F(ContainerTest, EveryFailedAllocationIsMinusTenAndLeaksNothing) {
  for (int failAt = 0;; ++failAt) {
    test::TestMemory memory;
    memory.failAt = failAt;
    QMFContainer* container = nullptr;
    const QMFResult result =
        OpenContainer(&container, u"a;b;a name too long for the small string buffer", &memory);
    if (container != nullptr) (void)CloseContainer(container);
    EXPECT_EQ(memory.InUse(), 0U) << failAt;
    if (!memory.failed) {
      EXPECT_EQ(result, QMF_OK);
      EXPECT_GT(failAt, 5);
      break;
    }
    EXPECT_EQ(result, QMF_OUT_OF_MEMORY) << failAt;
  }
}

TEST_F(ContainerTest, ThreadsOpenAtTheSameTime) {
  const auto openMany = [](const char16_t* path, std::uint32_t pieces) {
    for (int i = 0; i < 2000; ++i) {
      QMFContainer* container = nullptr;
      ASSERT_EQ(OpenContainer(&container, path, nullptr), QMF_OK);
      EXPECT_EQ(container->count, pieces);
      EXPECT_EQ(CloseContainer(container), QMF_OK);
    }
  };
  std::thread other(openMany, u"a;b;c", 3U);
  openMany(u"1;2;3;4;5", 5U);
  other.join();
}

}  // namespace
}  // namespace qmf
