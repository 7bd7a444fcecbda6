// What the seven properties of a file cost, from opening to closing, beside what merely touching the file
// costs. open_bench FILE [Google Benchmark's options]

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "framework/Container.h"
#include "framework/LogWriter.h"
#include "framework/Text.h"
#include "propertyhandler/PropertyValues.h"

namespace {

std::string file;

// One open, one read of 4 KiB, one close: nobody can be cheaper.
void Floor(benchmark::State& state) {
  char bytes[4096];
  for (auto _ : state) {
    const int descriptor = ::open(file.c_str(), O_RDONLY);
    benchmark::DoNotOptimize(::read(descriptor, bytes, sizeof(bytes)));
    ::close(descriptor);
  }
}
BENCHMARK(Floor);

// The file creation that a log cannot do without.
void CreateAndClose(benchmark::State& state) {
  const std::string name = std::filesystem::temp_directory_path() / "qmf-open-bench";
  for (auto _ : state) ::close(::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
  std::filesystem::remove(name);
}
BENCHMARK(CreateAndClose);

void ReadProperties(benchmark::State& state) {
  const std::u16string path = qmf::PathFromBytes(file);
  for (auto _ : state) {
    qmf::QMFContainer* container = nullptr;
    if (qmf::OpenContainer(&container, path.c_str(), nullptr) != qmf::QMF_OK ||
        qmf::SetTitle(container, 0) != qmf::QMF_OK) {
      state.SkipWithError("the file cannot be read");
    } else {
      benchmark::DoNotOptimize(qmf::ReadPropertyValues(container));
    }
    (void)qmf::CloseContainer(container);
  }
}

void PropertiesWithoutLog(benchmark::State& state) {
  qmf::SetLogOff();
  ReadProperties(state);
}
BENCHMARK(PropertiesWithoutLog);

void PropertiesWithLog(benchmark::State& state) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "qmf-open-bench-log";
  std::filesystem::create_directories(folder);
  if (qmf::SetLogFolder(folder.u16string()) != qmf::QMF_OK) return;
  ReadProperties(state);
  std::filesystem::remove_all(folder);
}
BENCHMARK(PropertiesWithLog);

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) {
    std::fputs("usage: open_bench FILE\n", stderr);
    return 2;
  }
  file = arguments[1];
  benchmark::Initialize(&count, arguments);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
