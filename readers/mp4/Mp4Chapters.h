#pragma once

#include <memory_resource>
#include <string>
#include <vector>

#include "readers/mp4/Mp4Formats.h"

namespace qmf {

/// A chapter; times in 100-ns units.
struct CMP4Chapter {
  std::int64_t start = 0;
  std::int64_t end = 0;
  std::pmr::u16string name;
};
using CMP4Chapters = std::pmr::vector<CMP4Chapter>;

/// The chapters of a movie that lasts `duration`: those of a text track that another track names as its
/// chapters or, without one, of the user data's 'chpl' list. At most kMaxChapters, their names up to
/// kMaxChapterName bytes.
inline constexpr std::size_t kMaxChapters = 1024;
inline constexpr std::size_t kMaxChapterName = 1024;
CMP4Chapters ReadChapters(FileReader& file, const CMP4MovieAtom& movie, std::int64_t duration,
                          std::pmr::memory_resource* memory);

}  // namespace qmf
