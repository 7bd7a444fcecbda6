// Runs a fuzz target over files: those named on the command line, and those in the folders named there.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Path = std::filesystem::path;

std::vector<Path> FilesOf(const Path& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<Path> files;
  for (const auto& entry : std::filesystem::directory_iterator(path)) files.push_back(entry.path());
  std::ranges::sort(files);
  return files;
}

bool Replay(const Path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file && bytes.empty()) return std::fprintf(stderr, "cannot read %s\n", path.string().c_str()), false;
  try {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return true;
  } catch (const std::exception& broken) {
    return std::fprintf(stderr, "%s: broken promise: %s\n", path.string().c_str(), broken.what()), false;
  }
}

}  // namespace

int main(int count, char** arguments) {
  int replayed = 0;
  int failed = 0;
  for (int i = 1; i < count; ++i) {
    for (const Path& file : FilesOf(arguments[i])) {
      ++replayed;
      failed += Replay(file) ? 0 : 1;
    }
  }
  std::printf("%d inputs replayed, %d failed\n", replayed, failed);
  return failed == 0 && replayed > 0 ? 0 : 1;
}
