#pragma once

#include <memory>
#include <optional>

#include "framework/FileReader.h"
#include "readers/avi/AviMenu.h"
#include "readers/avi/AviSeekTable.h"
#include "readers/avi/AviSeeker.h"
#include "readers/avi/AviTexts.h"
#include "readers/avi/AviTitle.h"

namespace qmf {

/// An opened AVI file: what the header walk fills and the queries read.
struct AviContainer {
  static constexpr std::uint16_t kNoTitle = 0xFFFF;

  AviContainer(QMFAllocator* allocator, const AviMenuModule* menuModule)
      : memory(allocator),
        mainTitles(allocator),
        menuTitles(allocator),
        menu(menuModule, allocator),
        title(allocator),
        seekTable(allocator) {}

  QMFAllocator* const memory;
  std::shared_ptr<FileReader> file;
  AviTitles mainTitles;
  AviTitles menuTitles;
  AviMenu menu;

  std::uint16_t currentTitle = kNoTitle;
  AviTitle title;
  AviTexts texts;

  bool onTheFlyIndex = false;
  bool cachelessIndex = false;
  bool minimumMemory = false;
  AviSeekTable seekTable;
  std::optional<AviSeeker> seeker;  ///< Of the current title; made, and its index read, when first needed.

  AviSeeker& Seeker() { return seeker ? *seeker : seeker.emplace(*file, title, seekTable, memory); }
};

}  // namespace qmf
