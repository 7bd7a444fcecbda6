// Runs a fuzz target over the files named on the command line.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
  for (int i = 1; i < count; ++i) {
    std::ifstream file(std::filesystem::path(arguments[i]), std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", arguments[i]);
      return 1;
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%d inputs replayed\n", count - 1);
  return 0;
}
