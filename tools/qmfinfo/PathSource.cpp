#include "tools/qmfinfo/PathSource.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>

#include "framework/ModuleBidding.h"
#include "framework/Text.h"
#include "tools/qmfinfo/Arguments.h"
#include "tools/qmfinfo/Output.h"
#include "tools/qmfinfo/Terminal.h"
#include "tools/qmfinfo/Units.h"

namespace qmfinfo {
namespace {

constexpr std::u16string_view kStandardInput = u"-";

// Modules judge a name that cannot be opened by its extension; one like this is not even looked for.
bool SomeModuleKnows(const std::u16string& extension) {
  const std::u16string name = u"http:" + extension;
  std::int32_t winner = 0;
  return qmf::SelectModule(name.c_str(), nullptr, winner) == qmf::QMF_OK;
}

bool IsMediaName(const std::filesystem::path& name) {
  static std::map<std::u16string, bool> known;
  std::u16string extension = PathFromNative(name.extension());
  for (char16_t& unit : extension) {
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit - u'A' + u'a');
  }
  const auto [row, isNew] = known.try_emplace(extension, false);
  if (isNew) row->second = SomeModuleKnows(extension);
  return row->second;
}

bool IsFolder(const std::filesystem::path& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

bool IsLink(const std::filesystem::path& path) {
  std::error_code ignored;
  return std::filesystem::is_symlink(path, ignored);
}

// Whether a list that gives no more lines has not come to its end; standard input tells by its file only.
bool Broke(const std::istream& lines) {
  return !lines.eof() || (&lines == &std::cin && std::ferror(stdin) != 0);
}

}  // namespace

std::optional<std::u16string> PathSource::Next() {
  for (;;) {
    if (auto path = NextOfFolder()) return path;
    if (auto path = NextOfList()) return path;
    if (m_nextArgument < m_list.paths.size()) {
      const std::u16string& argument = m_list.paths[m_nextArgument++];
      if (!BeginArgument(argument)) return argument;
    } else if (m_list.filesFrom && !m_beganFilesFrom) {
      m_beganFilesFrom = true;
      BeginList(*m_list.filesFrom);
    } else {
      return std::nullopt;
    }
  }
}

// Whether `argument` stands for several paths.
bool PathSource::BeginArgument(const std::u16string& argument) {
  if (argument == kStandardInput) {
    BeginList(argument);
    return true;
  }
  const std::filesystem::path native = NativePath(argument);
  if (!m_list.recursive || !IsFolder(native)) return false;
  BeginFolder(native);
  return true;
}

void PathSource::BeginList(const std::u16string& name) {
  m_listName = name;
  if (name == kStandardInput) {
    m_lines = &std::cin;
    return;
  }
  m_file = std::make_unique<std::ifstream>(NativePath(name), std::ios::binary);
  m_lines = m_file.get();
}

std::optional<std::u16string> PathSource::NextOfList() {
  std::string line;
  while (m_lines != nullptr && std::getline(*m_lines, line, m_list.zeroSeparated ? '\0' : '\n')) {
#ifdef _WIN32
    if (line.ends_with('\r')) line.pop_back();
#endif
    if (!line.empty()) return qmf::PathFromBytes(line);
  }
  if (m_lines != nullptr && Broke(*m_lines) && !WasInterrupted()) Fail(m_listName, "the list cannot be read");
  m_lines = nullptr;
  return std::nullopt;
}

void PathSource::BeginFolder(const std::filesystem::path& folder) {
  Names names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const bool isFolder = IsFolder(entry->path());
    if (isFolder ? !IsLink(entry->path()) : IsMediaName(entry->path())) names.push_back(entry->path());
  }
  if (error) Fail(PathFromNative(folder), error.message());
  std::ranges::sort(
      names, std::ranges::greater{}, [](const auto& path) -> const auto& { return path.native(); });
  m_folders.push_back(std::move(names));
}

std::optional<std::u16string> PathSource::NextOfFolder() {
  while (!m_folders.empty()) {
    if (m_folders.back().empty()) {
      m_folders.pop_back();
      continue;
    }
    const std::filesystem::path path = std::move(m_folders.back().back());
    m_folders.back().pop_back();
    if (!IsFolder(path)) return PathFromNative(path);
    BeginFolder(path);
  }
  return std::nullopt;
}

void PathSource::Fail(const std::u16string& path, const std::string& why) {
  m_complete = false;
  if (!m_silent) PrintError(PathText(path) + ": " + why);
}

std::optional<std::uint64_t> CountPaths(const PathList& list) {
  if (list.filesFrom || std::ranges::count(list.paths, kStandardInput) > 0) return std::nullopt;
  std::uint64_t count = 0;
  for (PathSource source(list, true); source.Next();) ++count;
  return count;
}

}  // namespace qmfinfo
