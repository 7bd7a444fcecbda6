#pragma once

#include <cstdint>
#include <memory_resource>
#include <optional>
#include <span>
#include <vector>

#include "framework/FileReader.h"
#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"

namespace qmf {

struct AviContainer;

/// A title table's count and what its titles say together.
struct AviTitleTable {
  std::uint32_t titleCount = 0;
  /// Bytes that hold any block of the titles; 0 when only a title's own header says it.
  std::uint32_t suggestedBufferSize = 0;
};

/// File offsets of the RIFFs of a table's titles.
using AviTitleOffsets = std::pmr::vector<std::uint64_t>;

struct AviTitles {
  explicit AviTitles(QMFAllocator* memory) : offsets(memory) {}

  AviTitleTable table;
  AviTitleOffsets offsets;
};

using AviMenuHandle = void*;

/// What the reader needs of a module that understands menu RIFFs. All of it is the menu module's; the reader
/// only decides when to call.
struct AviMenuModule {
  /// 0 on success. `workBuffer` is zero-filled and stays until the menu is closed.
  QMFResult (*OpenMenu)(FileReader& file, std::uint64_t riffOffset, AviMenuHandle* menu,
                        std::span<std::uint8_t> workBuffer);
  void (*CloseMenu)(AviMenuHandle menu, QMFAllocator* memory);
  QMFResult (*SetMode)(AviMenuHandle menu, std::uint32_t mode);
  /// 0 when the menu can be used.
  QMFResult (*Validate)(AviMenuHandle menu);
  /// Part of the table, never called by the reader.
  QMFResult (*Reserved)(AviMenuHandle menu);
  /// Texts such as language names of the menu's media: of titles, audio and subtitles, in this order. The
  /// fourth is never called by the reader.
  QMFResult (*MediaProperties[4])(AviMenuHandle menu, QMFQueryData& data, std::uint32_t index);
  QMFResult (*FillMenuTitles)(AviMenuHandle menu, AviTitleOffsets& offsets, AviTitleTable& table);
  QMFResult (*FillMainTitles)(AviMenuHandle menu, AviTitleOffsets& offsets, AviTitleTable& table);
  /// Queries that the reader does not serve, and QMF_QID_MENUMEDIA_OFFSET: the RIFF offset of a title of the
  /// menu's own titles.
  QMFResult (*GetInfo)(AviContainer& container, std::uint32_t qid, QMFQueryData& data, std::uint32_t index);
};

/// The menu of an opened file.
struct AviMenu {
  AviMenu(const AviMenuModule* menuModule, QMFAllocator* allocator)
      : module(menuModule), workBuffer(allocator) {}
  AviMenu(const AviMenu&) = delete;
  AviMenu& operator=(const AviMenu&) = delete;
  ~AviMenu() { Close(); }

  void Close();

  const AviMenuModule* const module;  ///< Null when no menu module is loaded.
  bool hasRiff = false;               ///< A RIFF of form 'MENU' follows the title's.
  AviMenuHandle handle = nullptr;     ///< Null while no menu is open.
  std::pmr::vector<std::uint8_t> workBuffer;
};

/// Finds the menu behind the first RIFF, opens it and lets it fill the title tables. A file without a menu,
/// or opened without a menu module, has one title, at offset 0. A menu that cannot be opened or does not
/// validate is closed and forgotten, and the file has no title. QMF_ERR_KILL from the menu module (its data
/// is still to come) is passed on with everything left as it is; whatever else happens gives 0.
QMFResult DiscoverAviMenu(AviContainer& container, std::uint64_t endOfFirstRiff);

/// Answers a query that the reader does not serve: by the open menu, else QMF_ERR_UNSUPPORTED_QID.
QMFResult AskAviMenu(AviContainer& container, std::uint32_t qid, QMFQueryData& data, std::uint32_t index);

/// The RIFF offset of title `index`; titles of the menu's own come after those of the file. Nothing when
/// there is no such title or the menu module cannot tell.
std::optional<std::uint64_t> FindAviTitle(AviContainer& container, std::uint32_t index);

}  // namespace qmf
