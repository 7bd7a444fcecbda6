#include "framework/Container.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory_resource>

#include "framework/LogWriter.h"
#include "framework/ModuleBidding.h"
#include "framework/QueryIds.h"
#include "tests/support/FakeModule.h"
#include "tests/support/TestMemory.h"

namespace qmf {
namespace {

using test::Fake;
using test::FakeCalls;
using testing::Each;
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

  QMFResult Open(const char16_t* path = u"a", QMFAllocator* memory = nullptr) {
    return OpenContainer(&m_container, path, memory);
  }
  QMFResult Close() { return CloseContainer(std::exchange(m_container, nullptr)); }

  // What every operation that goes to a module says of a container in whatever state it is.
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
  ModuleBid bids[kLastModuleId] = {};
  std::size_t count = 0;
  const auto winner = [&] {
    std::int32_t id = -1;
    const QMFResult result = SelectModule(u"a", nullptr, id, bids, &count);
    EXPECT_EQ(result, id != 0 ? QMF_OK : QMF_ERR_UNSUPPORTED_CONTAINER);
    return id;
  };
  for (const Row& row :
       {Row{{10, 20, 5}, 2}, Row{{7, 7, 7}, 1}, Row{{0, 0, 1}, 3}, Row{{0, 0, 0}, 0}, Row{{-5, -1, -2}, 0}}) {
    for (int i = 0; i < 3; ++i) Fake(i + 1).score = row.scores[i];
    EXPECT_EQ(winner(), row.winner);
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(bids[2].score, row.scores[2]);
  }
  // Nobody who fails, says 0 in front or logs can win; whoever cannot be asked ends the search.
  for (int id = 1; id <= 3; ++id) Fake(id).score = 10 * id;
  Fake(2).probeResult = QMF_FAILURE;
  Fake(3).header.values[0] = 0;
  EXPECT_EQ(winner(), 1);
  EXPECT_EQ(count, 2U);
  Fake(1).header.extensions = u"logging";
  EXPECT_EQ(winner(), 0);
  test::ResetFakes();
  Fake(1).score = 10;
  Fake(2).slots.ProbeContainer = nullptr;
  EXPECT_EQ(Open(), QMF_ERR_UNSUPPORTED_CONTAINER);
  EXPECT_EQ(m_container, nullptr);
}

TEST_F(ContainerTest, OpensPiecesInOrderAndRefusesWhatItCannotHold) {
  ASSERT_EQ(Open(u"film.avi;film.srt"), QMF_OK);
  EXPECT_THAT(FakeCalls(), ElementsAre("1:OpenContainer film.avi", "1:OpenContainer film.srt"));
  std::int32_t module = 0;
  EXPECT_EQ(GetModuleOfPiece(m_container, 1, &module), QMF_OK);
  EXPECT_EQ(module, 1);
  EXPECT_EQ(GetModuleOfPiece(m_container, 2, &module), QMF_ERR_INVALID_HANDLER);
  EXPECT_EQ(Close(), QMF_OK);
  EXPECT_EQ(Open(u"1;2;3;4;5;6;7;8;9;10"), QMF_OK);
  EXPECT_EQ(Close(), QMF_OK);
  for (const char16_t* const path : {u"1;2;3;4;5;6;7;8;9;10;11", u"", u";;"}) {
    EXPECT_EQ(Open(path), QMF_ERR_OPEN_CONTAINER);
  }
  EXPECT_EQ(Open(nullptr), QMF_ERR_INVALID_HANDLER);
  EXPECT_EQ(OpenContainer(nullptr, u"a", nullptr), QMF_ERR_INVALID_HANDLER);
  Fake(1).openResult = QMF_ERR_INVALID_MENU_VERSION;  // A warning is a success.
  EXPECT_EQ(Open(), QMF_OK);
  EXPECT_EQ(Close(), QMF_OK);
  // A piece that fails closes the earlier ones.
  Fake(1).slots.OpenContainer = [](QMFModuleHandle* handle, const char16_t* path, QMFAllocator* allocator) {
    if (path[0] == u'c') return QMF_FILE_NOT_OPENED;
    return Fake(2).slots.OpenContainer(handle, path, allocator);
  };
  EXPECT_EQ(Open(u"a;b;c"), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(m_container, nullptr);
}

TEST_F(ContainerTest, ChecksComeInTheirOrder) {
  EXPECT_THAT(CallAll(), Each(QMF_ERR_INVALID_HANDLER));
  EXPECT_EQ(CloseContainer(nullptr), QMF_ERR_INVALID_HANDLER);
  Fake(1).streamCounts = {0, 1, 1, 1};
  ASSERT_EQ(Open(), QMF_OK);

  m_container->mark = 0x64;
  EXPECT_THAT(CallAll(), Each(QMF_FAILURE));
  EXPECT_EQ(CloseContainer(m_container), QMF_FAILURE);
  m_container->mark = QMFContainer::kMark;
  EXPECT_EQ(GetInfo(m_container, QMF_QID_TITLE_DURATION, nullptr, 0), QMF_ERR_INVALID_HANDLER);

  QMFModuleInstance* const instance = std::exchange(m_container->instances[0], nullptr);
  EXPECT_THAT(CallAll(), Each(QMF_ERR_INVALID_HANDLER));
  m_container->instances[0] = instance;
  for (const std::int32_t id : {0, 19, -1}) {
    instance->moduleId = id;
    EXPECT_THAT(CallAll(), Each(QMF_ERR_GET_MODULE_ID)) << id;
  }
  instance->moduleId = 5;  // in range, nobody registered
  EXPECT_THAT(CallAll(), Each(QMF_FAILURE));
  instance->moduleId = kModuleLogging;
  Fake(1).slots = {};
  EXPECT_THAT(CallAll(), Each(QMF_ERR_NULL_MODULE_FUNC));
  test::ResetFakes();
}

TEST_F(ContainerTest, WhoeverHoldsAClosedContainerIsRefused) {
  // Nothing that was given back is used again here.
  std::array<std::byte, 65536> area;
  std::pmr::monotonic_buffer_resource memory(area.data(), area.size(), std::pmr::null_memory_resource());
  ASSERT_EQ(Open(u"a", &memory), QMF_OK);
  const QMFModuleInstance* const instance = m_container->instances[0];
  EXPECT_EQ(CloseContainer(m_container), QMF_OK);
  EXPECT_THAT(CallAll(), Each(QMF_FAILURE));
  EXPECT_EQ(Close(), QMF_FAILURE);
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
  Fake(1).result = QMF_ERR_NO_INDEX_FOUND;
  EXPECT_EQ(SetTitle(m_container, 0), QMF_ERR_NO_INDEX_FOUND);
  EXPECT_THAT(FakeCalls(), ElementsAre("1:SetTitle 3", "1:SetTitle 3", "1:SetTitle 0"));
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
  std::uint32_t count = 77;
  EXPECT_EQ(CountStreams(m_container, kBlockAudio, &count), QMF_OK);
  EXPECT_EQ(count, 3U);
  for (const std::uint32_t blockType : {0U, 6U}) {
    EXPECT_EQ(SetTitleActiveStream(m_container, blockType, 0, 1), QMF_ERR_INVALID_STREAM);
    EXPECT_EQ(CountStreams(m_container, blockType, &count), QMF_ERR_INVALID_STREAM);
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
    if (result == QMF_OK) seen.push_back(fmt::format("{}/{}@{}+{}", type, stream, time, block.size));
    if (result != QMF_ERR_BLOCK_BUFFER_TOO_SMALL) continue;
    EXPECT_EQ(block.size, 0U);
    ASSERT_EQ(block.required, 100000U);
    buffer.resize(block.required);
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
      [&] { return SetPosition(m_container, kBlockVideo, 1, &time); }};
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
  // A failure is told once, the end again and again.
  Fake(2).result = QMF_FAILURE;
  EXPECT_EQ(read(), QMF_FAILURE);
  Fake(2).result = QMF_OK;
  Fake(2).blocks = {{kBlockVideo, 0, 10, "again"}};
  EXPECT_EQ(read(), QMF_OK);
  EXPECT_EQ(read(), QMF_ERR_END_OF_STREAM);
  Fake(2).blocks = {{kBlockVideo, 0, 10, "late"}};
  EXPECT_EQ(read(), QMF_ERR_END_OF_STREAM);
  // A block that nobody can hold is not read ahead.
  EXPECT_EQ(Close(), QMF_OK);
  Fake(1).slots.ReadNextBlock = [](QMFModuleHandle, std::uint32_t*, std::uint32_t*, QMFBlock* wanted,
                                   std::int64_t*) -> QMFResult {
    wanted->required = (256U << 20) + 1;
    return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  };
  test::TestMemory memory;
  ASSERT_EQ(Open(u"a;b", &memory), QMF_OK);
  EXPECT_EQ(read(), QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_LT(memory.peak, 1U << 20);
  EXPECT_EQ(Close(), QMF_OK);
}

TEST_F(TwoPieceTest, WhatMovesOrIsSwitchedCostsOtherStreamsNoBlock) {
  const auto read = [this]() -> std::string {
    char bytes[8];
    QMFBlock block;
    block.data = reinterpret_cast<std::uint8_t*>(bytes);
    block.capacity = sizeof(bytes);
    std::uint32_t number = 0;
    std::int64_t time = 0;
    const QMFResult result = ReadNextBlock(m_container, &number, &number, &block, &time);
    return result == QMF_OK ? std::string(bytes, block.size) : fmt::format("{:X}", std::uint32_t{result});
  };
  const auto turn = [this](std::uint32_t type, std::uint32_t stream, bool on) {
    EXPECT_EQ(SetTitleActiveStream(m_container, type, stream, on ? 1 : 0), QMF_OK);
  };
  const std::string end = "C000001A";
  std::int64_t time = 0;
  Fake(1).blocks = {{kBlockVideo, 0, 0, "v0"}, {kBlockVideo, 0, 20, "v20"}};
  Fake(2).blocks = {{kBlockSubtitle, 0, 10, "s10"}, {kBlockVideo, 0, 30, "v30"}};
  EXPECT_EQ(read(), "v0");
  EXPECT_EQ(SetPosition(m_container, kBlockVideo, 0, &time), QMF_OK);
  turn(kBlockVideo, 1, false);
  turn(kBlockSubtitle, 0, true);
  EXPECT_EQ(read(), "s10");
  EXPECT_EQ(read(), "v20");
  turn(kBlockVideo, 1, false);
  EXPECT_EQ(read(), end);
  Fake(1).blocks = {{kBlockAudio, 0, 40, "a40"}};
  EXPECT_EQ(read(), end);
  turn(kBlockAudio, 0, true);
  EXPECT_EQ(read(), "a40");
  EXPECT_EQ(read(), end);
  for (const std::uint32_t qid : {QMF_QID_PLAYLISTS_SET_PLAYLIST_IDX, QMF_QID_EDITIONENTRY_SET_PLAYLIST_IDX,
                                  QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG}) {
    Fake(1).blocks = {{kBlockVideo, 0, 0, "anew"}};
    QMFQueryData data;
    EXPECT_EQ(SetInfo(m_container, qid, &data, 0), QMF_OK);
    EXPECT_EQ(read(), "anew");
    EXPECT_EQ(read(), end);
  }
}

TEST_F(ContainerTest, EveryFailedAllocationIsMinusTenAndLeaksNothing) {
  QMFResult result = QMF_OUT_OF_MEMORY;
  int failAt = 0;
  for (; result != QMF_OK; ++failAt) {
    test::TestMemory memory;
    memory.failAt = failAt;
    result = Open(u"a;b;a name too long for the small string buffer", &memory);
    if (result == QMF_OK) (void)Close();
    EXPECT_EQ(result, memory.failed ? QMF_OUT_OF_MEMORY : QMF_OK) << failAt;
    EXPECT_EQ(memory.InUse(), 0U) << failAt;
  }
  EXPECT_GT(failAt, 6);
}

}  // namespace
}  // namespace qmf
