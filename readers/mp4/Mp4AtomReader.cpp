#include "readers/mp4/Mp4AtomReader.h"

#include <algorithm>

namespace qmf {

CMP4Fields CMP4Atom::Fields(std::size_t most) const {
  const std::uint64_t size = std::min<std::uint64_t>(Size(), most);
  return CMP4Fields(file->View(payload, static_cast<std::size_t>(size)));
}

bool ReadAtomHeader(FileReader& file, std::uint64_t offset, std::uint64_t parentEnd, bool isTop,
                    CMP4Atom& atom) {
  if (offset >= parentEnd) return false;
  const std::uint64_t room = parentEnd - offset;
  CMP4Fields header(file.View(offset, static_cast<std::size_t>(std::min<std::uint64_t>(room, 16))));
  std::uint64_t size = header.U32();
  atom = {&file, header.Code(), offset, offset + 8, parentEnd};
  if (header.Failed()) return false;
  if (size == 1) {
    size = header.U64();
    if (header.Failed()) return false;
    atom.payload += 8;
  } else if (size == 0) {
    return isTop;
  }
  if (size < atom.payload - offset) return false;
  atom.end = offset + std::min(size, room);
  return true;
}

}  // namespace qmf
