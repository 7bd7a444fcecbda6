#pragma once

#include "readers/mkv/EbmlRules.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {

/// Walks a section of a segment into `target` by `rules`; a file without it succeeds, as does one that ends
/// in it, with what was read. What the format forbids gives `broken`.
template <const auto& rules, class Target>
QMFResult ReadMkvSection(MkvSegment& segment, MkvSection section, const EbmlLimits& limits, QMFResult broken,
                         Target& target) {
  EbmlReader reader(*segment.file, segment.memory, limits);
  EbmlElement element;
  if (FindMkvSection(segment, reader, section, element) != QMF_OK) return QMF_OK;
  return WalkInto<rules>(target, reader, element) == QMF_FAILURE ? broken : QMF_OK;
}

/// Copies `size` bytes at `offset` of the segment's file to `out`. Where the file does not hold them all it
/// is QMF_ERR_FILE_CORRUPT, and `out` is zeroed.
QMFResult CopyFromMkv(const MkvSegment& segment, std::uint64_t offset, void* out, std::size_t size);

}  // namespace qmf
