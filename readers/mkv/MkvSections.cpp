#include "readers/mkv/MkvSections.h"

#include <cstring>

namespace qmf {

QMFResult CopyFromMkv(const MkvSegment& segment, std::uint64_t offset, void* out, std::size_t size) {
  if (segment.file->ReadAt(offset, out, size) == size) return QMF_OK;
  std::memset(out, 0, size);
  return QMF_ERR_FILE_CORRUPT;
}

}  // namespace qmf
