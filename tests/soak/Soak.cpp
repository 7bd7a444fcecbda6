// Opens, asks and closes the corpus's small files over and over, by several threads at once, and looks
// whether memory or open files have grown since the first tenth.
//
//     soak CYCLES THREADS [LOG-FOLDER]

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "framework/LogWriter.h"
#include "framework/Text.h"
#include "propertyhandler/PropertyValues.h"
#include "tests/support/Contract.h"

namespace qmf::test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kHeapSlack = 64U << 10;  // Threads come and go.

std::vector<std::u16string> SmallFilePaths() {
  std::vector<std::u16string> paths;
  for (const char* extension : {"mkv", "avi", "mp4", "h264", "aac", "srt"}) {
    const fs::path path = fs::path(FUZZ_CORPUS) / extension / ("small." + std::string(extension));
    paths.push_back(PathFromBytes(path.string()));
  }
  return paths;
}

PropertyValues OpenAndClose(const std::u16string& path) {
  QMFContainer* container = nullptr;
  Require(OpenContainer(&container, path.c_str(), nullptr) == QMF_OK, "a sound file opens");
  Require(SetTitle(container, 0) == QMF_OK, "and has a title");
  const PropertyValues values = ReadPropertyValues(container);
  Require(CloseContainer(container) == QMF_OK, "and closes");
  return values;
}

void Cycle(const std::vector<std::u16string>& paths, long cycles, long threads) {
  std::vector<PropertyValues> expected;
  for (const std::u16string& path : paths) expected.push_back(OpenAndClose(path));
  const auto work = [&] {
    for (long i = 0; i < cycles / threads; ++i) {
      const std::size_t file = static_cast<std::size_t>(i) % paths.size();
      Require(OpenAndClose(paths[file]) == expected[file], "the same values every time");
    }
  };
  std::vector<std::jthread> others;
  for (long i = 1; i < threads; ++i) others.emplace_back(work);
  work();
}

struct Held {
  std::size_t heap = ::mallinfo2().uordblks;
  std::ptrdiff_t files = std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
};

int Run(long cycles, long threads) {
  const std::vector<std::u16string> paths = SmallFilePaths();
  Cycle(paths, cycles / 10, threads);
  const Held before;
  Cycle(paths, cycles - cycles / 10, threads);
  const Held after;
  std::printf("%ld cycles by %ld threads: %zu then %zu bytes of heap, %td then %td open files\n", cycles,
              threads, before.heap, after.heap, before.files, after.files);
  return after.heap <= before.heap + kHeapSlack && after.files == before.files ? 0 : 1;
}

}  // namespace
}  // namespace qmf::test

int main(int count, char** arguments) {
  if (count < 3) return 2;
  qmf::SetLogOff();
  if (count > 3 && qmf::SetLogFolder(qmf::PathFromBytes(arguments[3])) != qmf::QMF_OK) return 2;
  return qmf::test::Run(std::atol(arguments[1]), std::atol(arguments[2]));
}
