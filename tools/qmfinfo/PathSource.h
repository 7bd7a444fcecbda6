#pragma once

#include <filesystem>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qmfinfo {

/// Where the paths of a batch come from.
struct PathList {
  std::vector<std::u16string> paths;  ///< "-" stands for the paths on standard input.
  std::optional<std::u16string> filesFrom;
  bool zeroSeparated = false;  ///< Lists separate their paths by NUL instead of the end of the line.
  bool recursive = false;      ///< Folders stand for the media files in them.
};

/// Gives the paths of a batch one after the other, holding no more of them than the names in the folders that
/// it is in. Folders are walked in the order of their names, links to folders are not followed, and a file
/// counts when some module knows its extension in lower or upper case.
class PathSource {
 public:
  /// What cannot be read is told on standard error, unless `silent`.
  explicit PathSource(const PathList& list, bool silent = false) : m_list(list), m_silent(silent) {}

  /// The next path; nothing at the end. May wait for standard input.
  std::optional<std::u16string> Next();

  /// False once a list or a folder could not be read.
  bool IsComplete() const { return m_complete; }

 private:
  /// The names of a folder that are still to come, the next one last.
  using Names = std::vector<std::filesystem::path>;

  std::optional<std::u16string> NextOfList();
  std::optional<std::u16string> NextOfFolder();
  bool BeginArgument(const std::u16string& argument);
  void BeginList(const std::u16string& name);
  void BeginFolder(const std::filesystem::path& folder);
  void Fail(const std::u16string& path, const std::string& why);

  const PathList& m_list;
  const bool m_silent;
  std::size_t m_nextArgument = 0;
  bool m_beganFilesFrom = false;
  std::u16string m_listName;
  std::unique_ptr<std::istream> m_file;
  std::istream* m_lines = nullptr;
  std::vector<Names> m_folders;
  bool m_complete = true;
};

/// How many paths the source of `list` is going to give; nothing when that shows only on reading lists.
std::optional<std::uint64_t> CountPaths(const PathList& list);

}  // namespace qmfinfo
