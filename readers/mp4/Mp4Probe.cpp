#include <algorithm>
#include <iterator>
#include <string_view>

#include "framework/PathSplitter.h"
#include "readers/mp4/Mp4Demuxer.h"

namespace qmf {
namespace {

constexpr std::int32_t kSure = 100;

// Atoms that a file begins with. Words like "free" also begin texts, so these must fit into the file; the
// movie and its media may be cut off.
struct FirstAtom {
  FourCC type;
  bool mayBeCutOff;
};
constexpr FirstAtom kFirstAtoms[] = {
    {MakeFourCC("ftyp"), false}, {MakeFourCC("moov"), true},  {MakeFourCC("mdat"), true},
    {MakeFourCC("wide"), false}, {MakeFourCC("free"), false}, {MakeFourCC("skip"), false},
    {MakeFourCC("pnot"), false},
};

// For names that cannot be opened here, "http:" ones among them: whoever opens them is told the reason by the
// module that would read such a file.
constexpr std::u16string_view kExtensions[] = {u".3gp", u".3g2", u".mp4", u".m4v", u".m4a", u".mov"};

bool BeginsLikeMovie(FileReader& file) {
  CMP4Atom atom{};
  if (!ReadAtomHeader(file, 0, UINT64_MAX, true, atom)) return false;
  const auto* const row = std::ranges::find(kFirstAtoms, atom.type, &FirstAtom::type);
  if (row == std::end(kFirstAtoms)) return false;
  const bool goesToTheEnd = atom.end == UINT64_MAX;
  return row->mayBeCutOff || goesToTheEnd || atom.end <= file.Size();
}

}  // namespace

QMFResult CMP4Demuxer::Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory) {
  std::shared_ptr<FileReader> file;
  if (FileReader::Open(path, memory, file) == QMF_OK) {
    score = BeginsLikeMovie(*file) ? kSure : 0;
    return QMF_OK;
  }
  const std::u16string_view extension = PathExtension(path);
  score = std::ranges::find(kExtensions, extension) != std::end(kExtensions) ? kSure : 0;
  return QMF_OK;
}

}  // namespace qmf
