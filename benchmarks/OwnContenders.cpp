#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>

#include "benchmarks/Contenders.h"
#include "benchmarks/ReadProperties.h"
#include "framework/LogWriter.h"

namespace qmf::bench {
namespace {

// One open, one read of 4 KiB, one close: nobody can be cheaper.
bool TouchFile(const std::string& file) {
  char bytes[4096];
  const int descriptor = ::open(file.c_str(), O_RDONLY);
  const bool read = ::read(descriptor, bytes, sizeof(bytes)) > 0;
  ::close(descriptor);
  return read;
}

const std::filesystem::path& LogFolder() {
  static const std::filesystem::path folder = [] {
    std::string name = std::filesystem::temp_directory_path() / "qmf-bench-XXXXXX";
    return std::filesystem::path(::mkdtemp(name.data()));
  }();
  return folder;
}

const std::string& CreatedName() {
  static const std::string name = LogFolder() / "created";
  return name;
}

// What a log cannot do without: a file that was not there before.
bool CreateFile(const std::string&) {
  const int descriptor = ::open(CreatedName().c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
  return descriptor >= 0 && ::close(descriptor) == 0;
}

void RemoveCreated() {
  ::unlink(CreatedName().c_str());
}

bool ReadWithoutLog(const std::string& file) {
  SetLogOff();
  return ReadProperties(file);
}

bool ReadUndated(const std::string& file) {
  SetLogOff();
  return ReadFormats(file);
}

bool ReadWithLog(const std::string& file) {
  static const std::u16string folder = LogFolder().u16string();
  return SetLogFolder(folder) == QMF_OK && ReadProperties(file);
}

constexpr std::size_t kMostBytes = 8U << 20;

double ReadPlainly(const std::string& file) {
  static std::vector<char> bytes(65536);
  const int descriptor = ::open(file.c_str(), O_RDONLY);
  if (descriptor < 0) return -1;
  const double start = ProcessorTime();
  while (::read(descriptor, bytes.data(), bytes.size()) > 0) {
  }
  const double seconds = ProcessorTime() - start;
  ::close(descriptor);
  return seconds;
}

void ActivateAll(QMFContainer* container) {
  for (const QMFBlockType kind : {kBlockVideo, kBlockAudio, kBlockSubtitle}) {
    std::uint32_t count = 0;
    if (CountStreams(container, kind, &count) != QMF_OK) continue;
    for (std::uint32_t i = 0; i < count; ++i) (void)SetTitleActiveStream(container, kind, i, 1);
  }
}

double ReadBlocks(const std::string& file) {
  static std::vector<std::uint8_t> bytes(kMostBytes);
  SetLogOff();
  QMFContainer* const container = OpenFilm(file);
  if (container == nullptr) return -1;
  ActivateAll(container);
  QMFBlock block{};
  std::uint32_t kind = 0;
  std::uint32_t stream = 0;
  std::int64_t time = 0;
  QMFResult result = QMF_OK;
  std::uint64_t total = 0;
  const double start = ProcessorTime();
  do {
    block.data = bytes.data();
    block.capacity = kMostBytes;
    result = ReadNextBlock(container, &kind, &stream, &block, &time);
    total += block.size;
  } while (!IsFailure(result));
  const double seconds = ProcessorTime() - start;
  (void)CloseContainer(container);
  return result == QMF_ERR_END_OF_STREAM && total > 0 ? seconds : -1;
}

}  // namespace

void RemoveScratchFiles() {
  std::filesystem::remove_all(LogFolder());
}

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double ProcessorTime() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::vector<Contender> OwnContenders() {
  return {{"floor", TouchFile},
          {"create", CreateFile, RemoveCreated},
          {"ours", ReadWithoutLog},
          {"undated", ReadUndated},
          {"logged", ReadWithLog}};
}

std::vector<BlockContender> OwnBlockContenders() {
  return {{"read", ReadPlainly}, {"ours", ReadBlocks}};
}

}  // namespace qmf::bench
