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
  std::vector<std::uint64_t> mainOffsets = {};
  std::vector<std::uint64_t> menuOffsets = {};

  std::uint64_t riffOffset = 0;
  std::ptrdiff_t workBuffer = 0;
  std::uint32_t mode = 0;
  int closed = 0;
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
    .FillMenuTitles = [](AviMenuHandle, AviTitleOffsets& offsets,
                         AviTitleTable& table) { return FillTitles(script.menuOffsets, offsets, table); },
    .FillMainTitles =
        [](AviMenuHandle, AviTitleOffsets& offsets, AviTitleTable& table) {
          if (script.fillMain != QMF_OK) return script.fillMain;
          return FillTitles(script.mainOffsets, offsets, table);
        },
    .GetInfo =
        [](AviContainer&, std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
          if (qid != QMF_QID_MENUMEDIA_OFFSET) return QMF_ERR_INVALID_QUERY_ID;
          if (index >= script.menuOffsets.size()) return QMF_FAILURE;
          data.value = script.menuOffsets[index];
          return QMF_OK;
        },
};

struct ReaderWithMenu : AviReader {
  explicit ReaderWithMenu(QMFAllocator* memory) : AviReader(memory, &kMenu) {}
};
constexpr QMFModuleEntryPoints kSlotsWithMenu =
    ModuleAdapter<ReaderWithMenu>::EntryPoints([]() -> const QMFModuleHeader* { return nullptr; });
constexpr QMFModuleDescriptor kWithMenu = {kModuleAvi, nullptr, &kSlotsWithMenu};

const Bytes kFileWithMenu = AviParts{.behindRiff = Riff("MENU", "menu")}.Build();

TEST(AviMenuDiscovery, FindsTheMenuBehindExtensionsOnlyAndNeedsAModuleForIt) {
  const Bytes menu = Riff("MENU", "menu");
  const Bytes extension = Riff("AVIX", "odd");
  for (const auto& [behindRiff, isMenu] : {std::pair(menu, true),
                                           {extension + extension + menu, true},
                                           {Riff("DATA", "") + menu, false},
                                           {Chunk("MRIF", "AVIX") + menu, false},
                                           {"", false}}) {
    const Bytes file = AviParts{.behindRiff = behindRiff}.Build();
    for (const QMFModuleDescriptor* const module : {&kWithMenu, &kAviModule}) {
      const bool isUnderstood = isMenu && module == &kWithMenu;
      script = {.mainOffsets = {0, 0}};
      OpenedFile avi(*module, file);
      EXPECT_EQ(script.riffOffset, isUnderstood ? file.find("MENU") - 8 : 0) << behindRiff;
      EXPECT_EQ(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), isUnderstood ? 2U : 1U);
      EXPECT_EQ(avi.SetTitle(), QMF_OK);
      EXPECT_EQ(avi.Ask(QMF_QID_METADATA_OFFSET),
                isUnderstood ? QMF_ERR_INVALID_QUERY_ID : QMF_ERR_UNSUPPORTED_QID);
    }
  }
}

TEST(AviMenuDiscovery, MenuNamesTheTitles) {
  const Bytes second = AviParts{.streams = {VideoStream({.length = 500})}}.Build();
  const Bytes third = AviParts{.streams = {VideoStream({.length = 750})}}.Build();
  script = {.mainOffsets = {0, kFileWithMenu.size()}, .menuOffsets = {kFileWithMenu.size() + second.size()}};
  {
    OpenedFile avi(kWithMenu, kFileWithMenu + second + third);
    EXPECT_EQ(script.workBuffer, 8192);
    EXPECT_EQ(script.mode, 1U);
    EXPECT_EQ(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), 2U);
    for (const auto& [title, frames] : {std::pair(0U, 250U), {1U, 500U}, {2U, 750U}, {0U, 250U}}) {
      EXPECT_EQ(avi.SetTitle(title), QMF_OK);
      EXPECT_EQ(avi.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), frames);
      EXPECT_EQ(avi.Number(QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE), 777U);
    }
    // A title that is none changes nothing, nor does one that the menu cannot locate.
    for (const std::vector<std::uint64_t>& known :
         {{kFileWithMenu.size(), kFileWithMenu.size()}, std::vector<std::uint64_t>()}) {
      script.menuOffsets = known;
      EXPECT_EQ(avi.SetTitle(known.empty() ? 2 : 3), QMF_OK);
      EXPECT_EQ(avi.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), 250U);
    }
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
  (void)avi.Activate(kBlockVideo);
  (void)avi.Activate(kBlockAudio);
  for (const ReadBlock& block : avi.Rest()) said << ' ' << ::testing::PrintToString(block);
  for (const QueryIdRow& row : QueryIdTable()) said << ' ' << ::testing::PrintToString(avi.Number(row.value));
  said << ' ' << ::testing::PrintToString(avi.Text(QMF_QID_GET_TOOL_VERSION)) << ' ' << memory.InUse();
  return said.str();
}

TEST(AviMenuDiscovery, TitlesLeaveNothingToEachOther) {
  const AviParts named = {
      .streams = {AudioStream({}, {}, Chunk("strn", "name") + Chunk("indx", Bytes(24, '\0'))),
                  VideoStream({}, {}, Chunk("strn", "name") + Chunk("strd", Bytes(2232, 'd')))},
      .beforeMovi = List("INFO", Chunk("ISFT", "tool"))};
  AviParts broken = named;
  broken.streams.push_back(List("strl", Strh({.type = "txts"}) + VideoStrf({})));
  Bytes file = MakeAvi(MakeSamples(60), kRelativeIndex) + Riff("MENU", "menu");
  script = {.mainOffsets = {0}};
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

// A menu that is of no use is closed and forgotten; one whose data is still to come stays as it is.
TEST(AviMenuDiscovery, FaultOfTheMenuLeavesNoTitle) {
  constexpr auto kUnusable = QMF_ERR_INVALID_MENU_VERSION;
  for (const auto& [fault, result, closed] : {std::tuple(&MenuScript::open, kUnusable, 1),
                                              {&MenuScript::validate, kUnusable, 1},
                                              {&MenuScript::fillMain, kUnusable, 0},
                                              {&MenuScript::open, QMF_ERR_KILL, 0},
                                              {&MenuScript::validate, QMF_ERR_KILL, 0},
                                              {&MenuScript::fillMain, QMF_ERR_KILL, 0}}) {
    script = {.mainOffsets = {0}, .menuOffsets = {0}};
    script.*fault = result;
    const std::uint32_t passedOn = result == QMF_ERR_KILL ? result : QMF_OK;
    AviContainer container(std::pmr::new_delete_resource(), &kMenu);
    container.file = std::make_shared<FileReader>(SourceOf(kFileWithMenu));
    EXPECT_EQ(DiscoverAviMenu(container, kFileWithMenu.find("MENU") - 8), passedOn);
    EXPECT_EQ(script.closed, closed);
    EXPECT_EQ(container.menu.workBuffer.size(), closed > 0 ? 0U : 8192U);
    EXPECT_EQ(container.menuTitles.table.titleCount, 0U) << "they are asked for after the main titles only";
    OpenedFile avi(kWithMenu, kFileWithMenu);
    EXPECT_EQ(avi.SetTitle(), passedOn);
    EXPECT_NE(avi.Ask(QMF_QID_NUM_TITLE_STREAMS), QMF_OK);
    EXPECT_EQ(avi.Ask(QMF_QID_METADATA_OFFSET) == QMF_ERR_UNSUPPORTED_QID, closed > 0);
  }
  TestMemory memory;
  memory.refuseSize = 8192;
  EXPECT_EQ(OpenedFile(kWithMenu, kFileWithMenu, &memory).Number(QMF_QID_NUM_CONTAINER_TITLE), 0U);
  constexpr AviMenuModule kEmpty = {};
  AviContainer container(std::pmr::new_delete_resource(), &kEmpty);
  container.file = std::make_shared<FileReader>(SourceOf(kFileWithMenu));
  EXPECT_EQ(DiscoverAviMenu(container, kFileWithMenu.find("MENU") - 8), QMF_OK);
  EXPECT_EQ(container.mainTitles.table.titleCount, 0U);
}

}  // namespace
}  // namespace qmf::test
