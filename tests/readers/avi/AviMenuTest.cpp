#include "readers/avi/AviMenu.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "framework/ModuleAdapter.h"
#include "tests/readers/avi/AviMedia.h"
#include "tests/support/TestMemory.h"

namespace qmf::test {
namespace {

// A menu module that does as it is told and notes what it was asked.
struct MenuScript {
  QMFResult open = QMF_OK;
  QMFResult validate = QMF_OK;
  QMFResult fillMain = QMF_OK;
  QMFResult menuOffset = QMF_OK;
  std::vector<std::uint64_t> mainOffsets;
  std::vector<std::uint64_t> menuOffsets;

  std::uint64_t riffOffset = 0;
  std::ptrdiff_t workBuffer = 0;
  std::uint32_t mode = 0;
  int opened = 0;
  int closed = 0;
  bool menuTitlesAsked = false;
};
MenuScript script;

QMFResult FillTitles(const std::vector<std::uint64_t>& from, AviTitleOffsets& offsets, AviTitleTable& table) {
  offsets.assign(from.begin(), from.end());
  table = {static_cast<std::uint32_t>(from.size()), 777};
  return QMF_OK;
}

template <std::uint64_t answer>
QMFResult MediaProperty(AviMenuHandle, QMFQueryData& data, std::uint32_t) {
  data.value = answer;
  return QMF_OK;
}

constexpr AviMenuModule kMenu = {
    .OpenMenu =
        [](FileReader&, std::uint64_t riffOffset, AviMenuHandle* menu, std::span<std::uint8_t> workBuffer) {
          ++script.opened;
          *menu = &script;
          script.riffOffset = riffOffset;
          script.workBuffer = std::ranges::count(workBuffer, 0);
          return script.open;
        },
    .CloseMenu = [](AviMenuHandle, QMFAllocator*) { ++script.closed; },
    .SetMode =
        [](AviMenuHandle, std::uint32_t mode) {
          script.mode = mode;
          return QMF_OK;
        },
    .Validate = [](AviMenuHandle) { return script.validate; },
    .Reserved = nullptr,
    .MediaProperties = {MediaProperty<1000>, MediaProperty<1001>, MediaProperty<1002>, nullptr},
    .FillMenuTitles =
        [](AviMenuHandle, AviTitleOffsets& offsets, AviTitleTable& table) {
          script.menuTitlesAsked = true;
          return FillTitles(script.menuOffsets, offsets, table);
        },
    .FillMainTitles =
        [](AviMenuHandle, AviTitleOffsets& offsets, AviTitleTable& table) {
          if (script.fillMain != QMF_OK) return script.fillMain;
          return FillTitles(script.mainOffsets, offsets, table);
        },
    .GetInfo =
        [](AviContainer&, std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
          if (qid != QMF_QID_MENUMEDIA_OFFSET) return QMF_ERR_INVALID_QUERY_ID;
          data.value = script.menuOffsets.at(index);
          return script.menuOffset;
        },
};
constexpr AviMenuModule kMenuWithoutOpen = {};

template <const AviMenuModule& menu>
struct ReaderWithMenu : AviReader {
  explicit ReaderWithMenu(QMFAllocator* memory) : AviReader(memory, &menu) {}
};
template <const AviMenuModule& menu>
constexpr QMFModuleEntryPoints kSlotsWithMenu =
    ModuleAdapter<ReaderWithMenu<menu>>::EntryPoints([]() -> const QMFModuleHeader* { return nullptr; });
constexpr QMFModuleDescriptor kWithMenu = {kModuleAvi, nullptr, &kSlotsWithMenu<kMenu>};
constexpr QMFModuleDescriptor kWithoutOpen = {kModuleAvi, nullptr, &kSlotsWithMenu<kMenuWithoutOpen>};

Bytes FileWithMenu(const Bytes& before = {}) {
  AviParts parts;
  parts.behindRiff = before + Riff("MENU", "menu");
  return parts.Build();
}

class AviMenuDiscovery : public ::testing::Test {
 protected:
  AviMenuDiscovery() { script = {}; }
};

TEST_F(AviMenuDiscovery, NeedsBothAMenuAndAModuleForIt) {
  for (const bool hasMenu : {true, false}) {
    OpenedFile avi(hasMenu ? kAviModule : kWithMenu, hasMenu ? FileWithMenu() : AviParts().Build());
    EXPECT_EQ(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), 1U);
    EXPECT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_EQ(avi.Ask(QMF_QID_METADATA_OFFSET), QMF_ERR_UNSUPPORTED_QID);
    EXPECT_EQ(script.opened, 0);
  }
}

TEST_F(AviMenuDiscovery, FindsTheMenuBehindExtensionsOnly) {
  const Bytes extension = Riff("AVIX", "odd");
  for (const auto& [before, opened] : {std::pair(Bytes(), 1),
                                       {extension + extension, 1},
                                       {Riff("DATA", ""), 0},
                                       {Chunk("MRIF", "AVIX"), 0}}) {
    script = {};
    const Bytes file = FileWithMenu(before);
    EXPECT_EQ(OpenedFile(kWithMenu, file).OpenResult(), QMF_OK);
    EXPECT_EQ(script.opened, opened) << before;
    EXPECT_EQ(script.riffOffset, opened > 0 ? file.find("MENU") - 8 : 0) << before;
  }
}

TEST_F(AviMenuDiscovery, MenuNamesTheTitles) {
  AviParts second;
  second.streams = {VideoStream({.length = 500})};
  AviParts third;
  third.streams = {VideoStream({.length = 750})};
  const Bytes first = FileWithMenu();
  script.mainOffsets = {0, first.size()};
  script.menuOffsets = {first.size() + second.Build().size()};
  {
    OpenedFile avi(kWithMenu, first + second.Build() + third.Build());
    EXPECT_EQ(script.workBuffer, 8192);
    EXPECT_EQ(script.mode, 1U);
    EXPECT_EQ(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), 2U);
    for (const auto& [title, frames] : {std::pair(0U, 250U), {1U, 500U}, {2U, 750U}, {0U, 250U}}) {
      EXPECT_EQ(avi.SetTitle(title), QMF_OK);
      EXPECT_EQ(avi.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), frames);
      EXPECT_EQ(avi.Number(QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE), 777U);
    }
    script.menuOffset = QMF_FAILURE;
    EXPECT_EQ(avi.SetTitle(2), QMF_OK) << "a title that the menu cannot locate changes nothing";
    EXPECT_EQ(avi.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), 250U);
    EXPECT_EQ(avi.Ask(QMF_QID_METADATA_OFFSET), QMF_ERR_INVALID_QUERY_ID) << "the menu's own answer";
    QMFQueryData data;
    for (const auto& [qid, answer] : {std::pair(QMF_QID_GET_TITLE_MEDIA_PROP, 1000U),
                                      {QMF_QID_GET_AUDIO_MEDIA_PROP, 1001U},
                                      {QMF_QID_GET_SUBTITLE_MEDIA_PROP, 1002U}}) {
      EXPECT_EQ(avi.Module().GetInfo(avi.Handle(), qid, &data, 0), QMF_OK);
      EXPECT_EQ(data.value, answer);
    }
    EXPECT_EQ(script.closed, 0);
  }
  EXPECT_EQ(script.closed, 1);
}

// All that a title says of itself and holds, and the memory that it takes.
std::string Say(OpenedFile& avi, std::uint32_t title, const TestMemory& memory) {
  std::ostringstream said;
  said << IsFailure(avi.SetTitle(title));
  for (const auto& [type, stream] : {std::pair(kBlockVideo, 0U), {kBlockAudio, 0U}, {kBlockAudio, 1U}}) {
    (void)avi.Activate(type, stream);
  }
  for (const ReadBlock& block : avi.Rest()) said << ' ' << ::testing::PrintToString(block);
  for (const QueryIdRow& row : QueryIdTable()) said << ' ' << ::testing::PrintToString(avi.Number(row.value));
  said << ' ' << ::testing::PrintToString(avi.Text(QMF_QID_GET_TOOL_VERSION)) << ' ' << memory.InUse();
  return said.str();
}

TEST_F(AviMenuDiscovery, TitlesLeaveNothingToEachOther) {
  AviParts named;
  named.streams = {AudioStream({}, {}, Chunk("strn", "name") + Chunk("indx", Bytes(24, '\0'))),
                   VideoStream({}, {}, Chunk("strn", "name") + Chunk("strd", Bytes(2232, 'd')))};
  named.beforeMovi = List("INFO", Chunk("ISFT", "tool"));
  AviParts broken = named;
  broken.streams.push_back(List("strl", Strh({.type = "txts"}) + VideoStrf({})));
  Bytes file = MakeAvi(MakeSamples(60), kRelativeIndex) + Riff("MENU", "menu");
  script.mainOffsets = {0};
  for (const Bytes& title : {MakeAvi(MakeSamples(30), kRelativeIndex), broken.Build(), named.Build()}) {
    script.mainOffsets.push_back(file.size());
    file += title;
  }
  TestMemory memory;
  OpenedFile avi(kWithMenu, file, &memory);
  std::map<std::uint32_t, std::string> first;
  for (const std::uint32_t title : {0U, 1U, 2U, 3U, 1U, 0U, 2U, 0U, 0U, 3U, 2U, 2U, 3U, 1U}) {
    const std::string said = Say(avi, title, memory);
    EXPECT_EQ(first.emplace(title, said).first->second, said) << title;
  }
}

TEST_F(AviMenuDiscovery, UnusableMenuIsClosedAndForgotten) {
  for (QMFResult MenuScript::*const fault : {&MenuScript::open, &MenuScript::validate}) {
    script = {};
    script.*fault = QMF_ERR_INVALID_MENU_VERSION;
    OpenedFile avi(kWithMenu, FileWithMenu());
    EXPECT_EQ(script.closed, 1);
    EXPECT_EQ(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), 0U);
    EXPECT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_EQ(avi.Ask(QMF_QID_NUM_TITLE_STREAMS), QMF_FAILURE);
    EXPECT_EQ(avi.Ask(QMF_QID_METADATA_OFFSET), QMF_ERR_UNSUPPORTED_QID);
  }
}

TEST_F(AviMenuDiscovery, AMenuThatCannotBeAskedLeavesNoTitle) {
  EXPECT_EQ(OpenedFile(kWithoutOpen, FileWithMenu()).Number(QMF_QID_NUM_CONTAINER_TITLE), 0U);
  TestMemory memory;
  memory.refuseSize = 8192;
  EXPECT_EQ(OpenedFile(kWithMenu, FileWithMenu(), &memory).Number(QMF_QID_NUM_CONTAINER_TITLE), 0U);
  EXPECT_EQ(script.opened, 0);
  script.fillMain = QMF_FAILURE;
  EXPECT_EQ(OpenedFile(kWithMenu, FileWithMenu()).Number(QMF_QID_NUM_CONTAINER_TITLE), 0U);
  EXPECT_FALSE(script.menuTitlesAsked) << "the menu's own titles are asked after the main ones only";
}

TEST_F(AviMenuDiscovery, DataStillToComeIsPassedOnWithoutCleaningUp) {
  for (QMFResult MenuScript::*const fault : {&MenuScript::open, &MenuScript::validate}) {
    script = {};
    script.*fault = QMF_ERR_KILL;
    const Bytes file = FileWithMenu();
    AviContainer container(std::pmr::new_delete_resource(), &kMenu);
    container.file = std::make_shared<FileReader>(SourceOf(file));
    EXPECT_EQ(DiscoverAviMenu(container, file.find("MENU") - 8), QMF_ERR_KILL);
    EXPECT_EQ(script.closed, 0);
    EXPECT_EQ(container.menu.workBuffer.size(), 8192U);
    EXPECT_EQ(OpenedFile(kWithMenu, file).OpenResult(), QMF_ERR_KILL);
  }
}

}  // namespace
}  // namespace qmf::test
