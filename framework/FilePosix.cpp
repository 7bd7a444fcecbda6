#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "framework/FileReader.h"
#include "framework/Text.h"

namespace qmf {
namespace {

class PosixFileSource : public FileSource {
 public:
  PosixFileSource(int descriptor, std::uint64_t size) : m_descriptor(descriptor), m_size(size) {}
  PosixFileSource(const PosixFileSource&) = delete;
  PosixFileSource& operator=(const PosixFileSource&) = delete;
  ~PosixFileSource() override { ::close(m_descriptor); }

  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    std::size_t arrived = 0;
    do {
      const ssize_t got =
          ReadOnce(offset + arrived, static_cast<std::uint8_t*>(destination) + arrived, count - arrived);
      if (got <= 0) break;
      arrived += static_cast<std::size_t>(got);
    } while (arrived < count && offset + arrived < m_size);
    return arrived;
  }

  std::uint64_t Size() const noexcept override { return m_size; }

 private:
  ssize_t ReadOnce(std::uint64_t offset, void* destination, std::size_t count) const noexcept {
    ssize_t got = -1;
    do {
      got = ::pread(m_descriptor, destination, count, static_cast<off_t>(offset));
    } while (got < 0 && errno == EINTR);
    return got;
  }

  const int m_descriptor;
  const std::uint64_t m_size;
};

// A link is what it leads to; that it is no device is tested once more when it is opened.
bool IsRegularFile(DIR* folder, const dirent& entry) {
  if (entry.d_type == DT_REG) return true;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return false;
  struct stat status {};
  return ::fstatat(::dirfd(folder), entry.d_name, &status, 0) == 0 && S_ISREG(status.st_mode);
}

thread_local SharedFileScope* innermostScope = nullptr;

}  // namespace

SharedFileScope* InnermostScope() noexcept {
  return innermostScope;
}

void SetInnermostScope(SharedFileScope* scope) noexcept {
  innermostScope = scope;
}

std::shared_ptr<FileSource> OpenPlatformFile(const char16_t* path, QMFAllocator* memory) {
  const std::string name = BytesFromPath(path);
  // Without blocking: a pipe that nobody writes to must not hold the caller.
  const int descriptor = ::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) return nullptr;
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(descriptor);
    return nullptr;
  }
  try {
    return std::allocate_shared<PosixFileSource>(
        std::pmr::polymorphic_allocator<PosixFileSource>(AllocatorOrHeap(memory)), descriptor,
        static_cast<std::uint64_t>(status.st_size));
  } catch (...) {
    ::close(descriptor);
    throw;
  }
}

void VisitPlatformFolder(std::u16string_view folder, std::size_t most, const FileNameVisitor& visit) {
  const std::string name = folder.empty() ? "." : BytesFromPath(folder);
  const std::unique_ptr<DIR, int (*)(DIR*)> opened(::opendir(name.c_str()), ::closedir);
  if (opened == nullptr) return;
  for (const dirent* entry = ::readdir(opened.get()); entry != nullptr && most > 0;
       entry = ::readdir(opened.get()), --most) {
    if (IsRegularFile(opened.get(), *entry) && !visit(PathFromBytes(entry->d_name))) return;
  }
}

}  // namespace qmf
