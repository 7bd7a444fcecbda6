// A path of up to ten pieces, taken apart, opened, read and closed. The pieces that exist are small files of
// every format under one-letter names, so that a few bytes make a path of many streams.

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "framework/Container.h"
#include "framework/LogWriter.h"
#include "framework/PathSplitter.h"
#include "framework/Text.h"
#include "tests/support/Contract.h"
#include "tests/support/WholeRoad.h"

namespace qmf::fuzz {
namespace {

constexpr std::size_t kMostHeap = 64U << 20;

struct Piece {
  const char16_t* name;
  const char* file;  ///< In the corpus.
};
constexpr Piece kPieces[] = {
    {u"k.mkv", "mkv/small.mkv"},    {u"a.avi", "avi/small.avi"}, {u"m.mp4", "mp4/small.mp4"},
    {u"v.h264", "h264/small.h264"}, {u"s.aac", "aac/small.aac"}, {u"t.srt", "srt/small.srt"},
    {u"e.mkv", "mkv/empty.mkv"},
};

std::vector<std::uint8_t> Load(const char* name) {
  std::ifstream file(std::filesystem::path(FUZZ_CORPUS) / name, std::ios::binary);
  test::Require(file.good(), "the corpus has the pieces");
  return {std::istreambuf_iterator<char>(file), {}};
}

const std::array<std::vector<std::uint8_t>, std::size(kPieces)>& PieceBytes() {
  static const auto bytes = [] {
    std::array<std::vector<std::uint8_t>, std::size(kPieces)> loaded;
    for (std::size_t i = 0; i < loaded.size(); ++i) loaded[i] = Load(kPieces[i].file);
    return loaded;
  }();
  return bytes;
}

void SplitPath(std::u16string_view path) {
  PathSplitter splitter(path);
  std::size_t units = 0;
  for (std::u16string_view piece = splitter.Next(); !piece.empty(); piece = splitter.Next()) {
    test::Require(piece.find(u';') == std::u16string_view::npos, "a piece without separators");
    test::Require(PathExtension(piece).size() <= piece.size(), "an extension within its path");
    units += piece.size();
  }
  test::Require(units <= path.size(), "pieces within their path");
}

void OpenPath(const std::u16string& path, test::BudgetHeap& heap) {
  std::array<std::optional<SharedFileScope>, std::size(kPieces)> names;
  for (std::size_t i = 0; i < names.size(); ++i) {
    names[i].emplace(kPieces[i].name,
                     std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(PieceBytes()[i])));
  }
  QMFContainer* container = nullptr;
  const QMFResult opened = OpenContainer(&container, path.c_str(), &heap);
  test::RequireKnown(opened);
  if (container != nullptr) {
    test::Require(container->count >= 1 && container->count <= QMFContainer::kMaxInstances,
                  "one to ten pieces");
    test::RequireKnown(SetTitle(container, 0));
    test::UseContainer(container, container->count);
    test::RequireKnown(CloseContainer(container));
  }
  for (std::size_t i = names.size(); i > 0; --i) names[i - 1].reset();
}

}  // namespace
}  // namespace qmf::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qmf;
  SetLogOff();
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::u16string path = PathFromBytes(bytes);
  test::Require(BytesFromPath(path) == bytes, "a name that can be told again");
  fuzz::SplitPath(path);
  test::BudgetHeap heap(fuzz::kMostHeap);
  fuzz::OpenPath(path, heap);
  test::Require(heap.InUse() == 0, "everything is given back");
  return 0;
}
