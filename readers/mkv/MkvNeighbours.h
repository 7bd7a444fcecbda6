#pragma once

#include <cstdint>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/FileReader.h"
#include "readers/mkv/MkvInfo.h"

namespace qmf {

/// The Matroska files beside a title's own, found by what they say of themselves. The folder is listed at the
/// first question; a file is read no further than to its segment's UID, and once. Names that a file contains
/// are only compared with those of the folder, never opened.
class MkvNeighbours {
 public:
  /// A file of the folder.
  struct File {
    explicit File(std::u16string_view fileName, QMFAllocator* memory) : name(fileName, memory) {}

    std::pmr::u16string name;
    bool read = false;
    std::optional<MkvSegmentUid> uid;
  };

  /// `path` is the title's own file.
  MkvNeighbours(std::u16string_view path, QMFAllocator* memory);

  /// The file whose segment has this UID, or null. Files named like the title's own are asked first.
  const File* FindUid(const MkvSegmentUid& uid);
  /// The file of this name, or null; letters of ASCII match in both cases.
  const File* FindName(std::u16string_view name);

  /// Opens a file that was found; null when that fails, and when a hundred were opened.
  std::shared_ptr<FileReader> Open(const File& file);

 private:
  void List();
  void ReadUid(File& file);

  QMFAllocator* const m_memory;
  const std::pmr::u16string m_path;
  bool m_listed = false;
  std::size_t m_opensLeft;
  std::pmr::vector<File> m_files;
  std::shared_ptr<FileReader> m_latest;  ///< Of the file that was opened last.
  const File* m_latestFile = nullptr;
};

}  // namespace qmf
