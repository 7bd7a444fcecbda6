#include "readers/avi/AviMenu.h"

#include <new>

#include "framework/QueryIds.h"
#include "framework/ReturnIf.h"
#include "readers/avi/AviChunks.h"
#include "readers/avi/AviContainer.h"

namespace qmf {
namespace {

constexpr std::size_t kWorkBufferSize = 8192;
constexpr std::uint32_t kPlaybackMode = 1;

void SetSingleTitle(AviContainer& container) {
  container.mainTitles.offsets.assign(1, 0);
  container.mainTitles.table.titleCount = 1;
}

std::optional<std::uint64_t> FindMenuRiff(FileReader& file, std::uint64_t at) {
  AviChunkReader chunks(file);
  for (AviChunk riff; chunks.Read(at, riff); at = riff.Next()) {
    if (riff.IsRiff(kFormMenu)) return at;
    if (!riff.IsRiff(kFccAVIX)) break;
  }
  return std::nullopt;
}

bool AllocateWorkBuffer(AviMenu& menu) {
  try {
    menu.workBuffer.assign(kWorkBufferSize, 0);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

QMFResult OpenAndValidate(AviContainer& container, std::uint64_t riffOffset) {
  AviMenu& menu = container.menu;
  QMF_RETURN_IF_NONZERO(menu.module->OpenMenu(*container.file, riffOffset, &menu.handle, menu.workBuffer));
  (void)menu.module->SetMode(menu.handle, kPlaybackMode);
  return menu.module->Validate(menu.handle);
}

QMFResult FillTitles(AviContainer& container) {
  const AviMenu& menu = container.menu;
  QMF_RETURN_IF_NONZERO(
      menu.module->FillMainTitles(menu.handle, container.mainTitles.offsets, container.mainTitles.table));
  return menu.module->FillMenuTitles(menu.handle, container.menuTitles.offsets, container.menuTitles.table);
}

QMFResult SetUpMenu(AviContainer& container, std::uint64_t riffOffset) {
  AviMenu& menu = container.menu;
  if (menu.module->OpenMenu == nullptr || !AllocateWorkBuffer(menu)) return QMF_OK;
  const QMFResult opened = OpenAndValidate(container, riffOffset);
  if (opened == QMF_ERR_KILL) return opened;
  if (opened != QMF_OK) {
    menu.Close();
    return QMF_OK;
  }
  return FillTitles(container) == QMF_ERR_KILL ? QMF_ERR_KILL : QMF_OK;
}

// The operation that answers a media-property query, or -1.
int MediaPropertyOf(std::uint32_t qid) {
  switch (qid) {
    case QMF_QID_GET_TITLE_MEDIA_PROP:
      return 0;
    case QMF_QID_GET_AUDIO_MEDIA_PROP:
      return 1;
    case QMF_QID_GET_SUBTITLE_MEDIA_PROP:
      return 2;
    default:
      return -1;
  }
}

}  // namespace

void AviMenu::Close() {
  if (handle != nullptr) module->CloseMenu(handle, workBuffer.get_allocator().resource());
  handle = nullptr;
  workBuffer.clear();
  workBuffer.shrink_to_fit();
}

QMFResult DiscoverAviMenu(AviContainer& container, std::uint64_t endOfFirstRiff) {
  // Without a menu module a menu changes no title, so looking for it would only cost reads.
  if (container.menu.module != nullptr) {
    const std::optional<std::uint64_t> riff = FindMenuRiff(*container.file, endOfFirstRiff);
    container.menu.hasRiff = riff.has_value();
    if (riff) return SetUpMenu(container, *riff);
  }
  SetSingleTitle(container);
  return QMF_OK;
}

QMFResult AskAviMenu(AviContainer& container, std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  const AviMenu& menu = container.menu;
  if (menu.handle == nullptr) return QMF_ERR_UNSUPPORTED_QID;
  if (const int property = MediaPropertyOf(qid); property >= 0) {
    return menu.module->MediaProperties[property](menu.handle, data, index);
  }
  return menu.module->GetInfo(container, qid, data, index);
}

std::optional<std::uint64_t> FindAviTitle(AviContainer& container, std::uint32_t index) {
  const AviTitles& main = container.mainTitles;
  if (index < main.table.titleCount) {
    return index < main.offsets.size() ? std::optional(main.offsets[index]) : std::nullopt;
  }
  const std::uint32_t menuIndex = index - main.table.titleCount;
  if (menuIndex >= container.menuTitles.table.titleCount || container.menu.handle == nullptr) return {};
  QMFQueryData offset;
  const QMFResult asked =
      container.menu.module->GetInfo(container, QMF_QID_MENUMEDIA_OFFSET, offset, menuIndex);
  return asked == QMF_OK ? std::optional(offset.value) : std::nullopt;
}

}  // namespace qmf
