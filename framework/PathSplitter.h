#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "framework/Allocator.h"

namespace qmf {

/// Longest path, in UTF-16 units, that is looked at; a longer one counts as empty.
inline constexpr std::size_t kMaxPathLength = 511999;

/// Walks the pieces of a path such as "film.avi;film.srt". Empty pieces are passed over. Holds its position
/// itself, so that any number of paths can be split at once.
class PathSplitter {
 public:
  explicit PathSplitter(std::u16string_view path)
      : m_rest(path.size() > kMaxPathLength ? std::u16string_view() : path) {}

  /// The next piece, or an empty view at the end.
  std::u16string_view Next();

 private:
  std::u16string_view m_rest;
};

/// The extension of a path with its dot, from the last '.' on and without trailing blanks; empty when there
/// is none or the path is longer than kMaxPathLength.
std::u16string_view PathExtension(std::u16string_view path);

}  // namespace qmf
