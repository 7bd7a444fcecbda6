#include "readers/avi/AviMenu.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "framework/ModuleAdapter.h"
#include "tests/readers/avi/OpenedAvi.h"

namespace qmf::test {
namespace {

using ::testing::Optional;

// A menu module that does as it is told and notes what it was asked.
struct MenuScript {
  QMFResult open = QMF_OK;
  QMFResult validate = QMF_OK;
  QMFResult fillMain = QMF_OK;
  QMFResult menuOffset = QMF_OK;
  std::vector<std::uint64_t> mainOffsets;
  std::vector<std::uint64_t> menuOffsets;

  std::uint64_t riffOffset = 0;
  std::size_t workBuffer = 0;
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

constexpr AviMenuModule kMenu = {
    .OpenMenu =
        [](FileReader&, std::uint64_t riffOffset, AviMenuHandle* menu, std::span<std::uint8_t> workBuffer) {
          ++script.opened;
          *menu = &script;
          script.riffOffset = riffOffset;
          script.workBuffer = static_cast<std::size_t>(std::ranges::count(workBuffer, 0));
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
    .MediaProperties = {[](AviMenuHandle, QMFQueryData& data, std::uint32_t) {
                          data.value = 1000;
                          return QMF_OK;
                        },
                        [](AviMenuHandle, QMFQueryData& data, std::uint32_t) {
                          data.value = 1001;
                          return QMF_OK;
                        },
                        [](AviMenuHandle, QMFQueryData& data, std::uint32_t) {
                          data.value = 1002;
                          return QMF_OK;
                        },
                        nullptr},
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
constexpr QMFModuleEntryPoints kModuleWithMenu =
    ModuleAdapter<ReaderWithMenu<menu>>::EntryPoints([]() -> const QMFModuleHeader* { return nullptr; });

Bytes FileWithMenu(const Bytes& before = {}, const Bytes& behind = {}) {
  AviParts parts;
  parts.behindRiff = before + Riff("MENU", "menu") + behind;
  return parts.Build();
}

class AviMenuDiscovery : public ::testing::Test {
 protected:
  AviMenuDiscovery() { script = {}; }
};

TEST_F(AviMenuDiscovery, FileWithoutMenuHasOneTitle) {
  OpenedAvi avi(AviParts().Build(), kModuleWithMenu<kMenu>);
  EXPECT_THAT(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), Optional(1U));
  EXPECT_EQ(script.opened, 0);
  EXPECT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_EQ(avi.Result(QMF_QID_METADATA_OFFSET), QMF_ERR_UNSUPPORTED_QID);
}

TEST_F(AviMenuDiscovery, MenuWithoutModuleChangesNoTitle) {
  OpenedAvi avi(FileWithMenu());
  EXPECT_THAT(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), Optional(1U));
  EXPECT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_THAT(avi.Number(QMF_QID_ON_THE_FLY_INDEX), Optional(0U));
}

TEST_F(AviMenuDiscovery, FindsTheMenuBehindExtensionsOnly) {
  struct Case {
    const char* name;
    Bytes before;
    int opened;
  };
  const Bytes extension = Riff("AVIX", "odd");
  for (const Case& c : {Case{"at once", "", 1}, Case{"behind extensions", extension + extension, 1},
                        Case{"behind an unknown form", Riff("DATA", ""), 0},
                        Case{"behind another id", Chunk("MRIF", "AVIX"), 0}}) {
    script = {};
    const Bytes file = FileWithMenu(c.before);
    OpenedAvi avi(file, kModuleWithMenu<kMenu>);
    EXPECT_EQ(avi.OpenResult(), QMF_OK) << c.name;
    EXPECT_EQ(script.opened, c.opened) << c.name;
    EXPECT_EQ(script.riffOffset, c.opened > 0 ? file.find("MENU") - 8 : 0) << c.name;
  }
}

TEST_F(AviMenuDiscovery, MenuNamesTheTitles) {
  AviParts second;
  second.streams = {VideoStream({.length = 500})};
  AviParts third;
  third.streams = {VideoStream({.length = 750})};
  const Bytes first = FileWithMenu();
  const Bytes file = first + second.Build() + third.Build();
  script.mainOffsets = {0, first.size()};
  script.menuOffsets = {first.size() + second.Build().size()};
  {
    OpenedAvi avi(file, kModuleWithMenu<kMenu>);
    EXPECT_EQ(script.workBuffer, 8192U);
    EXPECT_EQ(script.mode, 1U);
    EXPECT_THAT(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), Optional(2U));
    for (const auto& [title, frames] : {std::pair(0U, 250U), {1U, 500U}, {2U, 750U}, {0U, 250U}}) {
      EXPECT_EQ(avi.SetTitle(title), QMF_OK);
      EXPECT_THAT(avi.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), Optional(frames));
      EXPECT_THAT(avi.Number(QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE), Optional(777U));
    }
    script.menuOffset = QMF_FAILURE;
    EXPECT_EQ(avi.SetTitle(2), QMF_OK) << "a title that the menu cannot locate changes nothing";
    EXPECT_THAT(avi.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), Optional(250U));
    EXPECT_EQ(avi.Result(QMF_QID_METADATA_OFFSET), QMF_ERR_INVALID_QUERY_ID) << "the menu's own answer";
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

TEST_F(AviMenuDiscovery, UnusableMenuIsClosedAndForgotten) {
  for (const bool failsToOpen : {true, false}) {
    script = {};
    (failsToOpen ? script.open : script.validate) = QMF_ERR_INVALID_MENU_VERSION;
    OpenedAvi avi(FileWithMenu(), kModuleWithMenu<kMenu>);
    EXPECT_EQ(avi.OpenResult(), QMF_OK);
    EXPECT_EQ(script.closed, 1);
    EXPECT_THAT(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), Optional(0U));
    EXPECT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_EQ(avi.Result(QMF_QID_NUM_TITLE_STREAMS), QMF_FAILURE);
    EXPECT_EQ(avi.Result(QMF_QID_METADATA_OFFSET), QMF_ERR_UNSUPPORTED_QID);
  }
}

TEST_F(AviMenuDiscovery, ModuleWithoutOpenLeavesNoTitle) {
  OpenedAvi avi(FileWithMenu(), kModuleWithMenu<kMenuWithoutOpen>);
  EXPECT_EQ(avi.OpenResult(), QMF_OK);
  EXPECT_THAT(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), Optional(0U));
}

TEST_F(AviMenuDiscovery, MenuTitlesAreAskedAfterTheMainOnesOnly) {
  script.fillMain = QMF_FAILURE;
  OpenedAvi avi(FileWithMenu(), kModuleWithMenu<kMenu>);
  EXPECT_EQ(avi.OpenResult(), QMF_OK);
  EXPECT_FALSE(script.menuTitlesAsked);
  EXPECT_THAT(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), Optional(0U));
}

TEST_F(AviMenuDiscovery, DataStillToComeIsPassedOnWithoutCleaningUp) {
  for (const bool failsToOpen : {true, false}) {
    script = {};
    (failsToOpen ? script.open : script.validate) = QMF_ERR_KILL;
    const Bytes file = FileWithMenu();
    AviContainer container(std::pmr::new_delete_resource(), &kMenu);
    const std::span view(reinterpret_cast<const std::uint8_t*>(file.data()), file.size());
    container.file = std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(view));
    EXPECT_EQ(DiscoverAviMenu(container, file.find("MENU") - 8), QMF_ERR_KILL);
    EXPECT_EQ(script.closed, 0);
    EXPECT_EQ(container.menu.workBuffer.size(), 8192U);
    EXPECT_EQ(OpenedAvi(file, kModuleWithMenu<kMenu>).OpenResult(), QMF_ERR_KILL);
  }
}

TEST_F(AviMenuDiscovery, NoMemoryForTheMenuLeavesNoTitle) {
  class NoMenuMemory : public std::pmr::memory_resource {
    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
      if (bytes == 8192) throw std::bad_alloc();
      return std::pmr::new_delete_resource()->allocate(bytes, alignment);
    }
    void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) override {
      std::pmr::new_delete_resource()->deallocate(p, bytes, alignment);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }
  } memory;
  OpenedAvi avi(FileWithMenu(), kModuleWithMenu<kMenu>, &memory);
  EXPECT_EQ(avi.OpenResult(), QMF_OK);
  EXPECT_EQ(script.opened, 0);
  EXPECT_THAT(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), Optional(0U));
}

}  // namespace
}  // namespace qmf::test
