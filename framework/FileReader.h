#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "framework/Allocator.h"
#include "framework/Folder.h"
#include "framework/ResultCodes.h"

namespace qmf {

/// Where a FileReader's bytes come from: a file of the platform, memory, or a test's misbehaving source.
class FileSource {
 public:
  virtual ~FileSource() = default;
  /// Reads up to `count` bytes at `offset` and gives how many arrived. Fewer mean the end of the file or a
  /// failure.
  virtual std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept = 0;
  /// Size in bytes when the file was opened; a hint, since files grow and shrink under their readers.
  virtual std::uint64_t Size() const noexcept = 0;
};

/// Read access to one file by absolute position, through a small window so that parsing a header costs one to
/// three reads. Nothing is shared between readers; one reader serves one thread at a time.
class FileReader {
 public:
  /// What all readers of the process did so far.
  struct Counters {
    std::uint64_t opens;
    std::uint64_t reads;
    std::uint64_t bytes;
  };

  class Limit;

  /// Opens a regular file for reading, sharing it with readers, writers, renaming and deletion. Pipes,
  /// devices, folders and whatever cannot be opened give -3, "http:" paths QMF_ERR_REMOTE_FILE_UNSUPPORTED.
  /// Inside a SharedFileScope for the same path the scope's reader is given instead.
  static QMFResult Open(const char16_t* path, QMFAllocator* memory, std::shared_ptr<FileReader>& reader);

  /// `memory` serves those who read on and on; null means the heap.
  explicit FileReader(std::shared_ptr<FileSource> source, QMFAllocator* memory = nullptr)
      : m_source(std::move(source)), m_walkersWindow(AllocatorOrHeap(memory)) {}
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;

  std::uint64_t Size() const { return m_source->Size(); }

  /// Copies up to `count` bytes at `offset` and gives how many arrived; fewer mean the end of the file or a
  /// failed read.
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count);

  /// Up to `count` (at most kWindowSize) bytes at `offset` without copying; fewer at the end of the file.
  /// Valid until the next call.
  [[nodiscard]] std::span<const std::uint8_t> View(std::uint64_t offset, std::size_t count) {
    if (++m_looks > m_mostLooks) return {};
    const std::span<const std::uint8_t> there = Window(offset, count);
    return there.size() == count ? there : Fetch(offset, count);
  }

  /// Bytes fetched from the source so far.
  std::uint64_t BytesRead() const { return m_bytesRead; }
  /// Calls of ReadAt and View so far, most of them answered by the window: at least one an element.
  std::uint64_t Looks() const { return m_looks; }

  static Counters TotalCounters();

  /// Most bytes that View gives at once.
  static constexpr std::size_t kWindowSize = 16384;

 private:
  std::size_t ReadSource(std::uint64_t offset, void* destination, std::size_t count);
  std::span<std::uint8_t> RoomFor(std::uint64_t offset, std::size_t count);
  std::span<const std::uint8_t> Fetch(std::uint64_t offset, std::size_t count);

  // What the window has of these bytes. An offset before it wraps and so lies behind it.
  std::span<const std::uint8_t> Window(std::uint64_t offset, std::size_t count) const {
    if (offset - m_windowOffset >= m_windowFilled) return {};
    const auto skipped = static_cast<std::size_t>(offset - m_windowOffset);
    return {m_window + skipped, std::min<std::size_t>(count, m_windowFilled - skipped)};
  }

  std::shared_ptr<FileSource> m_source;
  std::uint64_t m_windowOffset = 0;
  std::size_t m_windowFilled = 0;
  std::uint64_t m_bytesRead = 0;
  std::uint64_t m_looks = 0;
  std::uint64_t m_mostBytes = UINT64_MAX;
  std::uint64_t m_mostLooks = UINT64_MAX;
  const std::uint8_t* m_window = m_firstWindow;
  std::pmr::vector<std::uint8_t> m_walkersWindow;
  std::uint8_t m_firstWindow[kWindowSize];
};

/// While it lives, `file` gives at most `bytes` more bytes of its source and answers at most `looks` more
/// calls; past either it reads as though it ended there. In a limit's scope another can only be narrower.
class FileReader::Limit {
 public:
  Limit(FileReader& file, std::uint64_t bytes, std::uint64_t looks)
      : m_file(file), m_outerBytes(file.m_mostBytes), m_outerLooks(file.m_mostLooks) {
    file.m_mostBytes = std::min(m_outerBytes, file.m_bytesRead + bytes);
    file.m_mostLooks = std::min(m_outerLooks, file.m_looks + looks);
  }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
  ~Limit() {
    m_file.m_mostBytes = m_outerBytes;
    m_file.m_mostLooks = m_outerLooks;
  }

 private:
  FileReader& m_file;
  const std::uint64_t m_outerBytes;
  const std::uint64_t m_outerLooks;
};

/// While it lives, FileReader::Open on this thread answers `path` from here: with `reader`, or with the
/// failure `result` when there is none. It lets all modules that judge a file share one opening, and gives a
/// name to bytes in memory. Scopes nest; the path must outlive its scope.
class SharedFileScope {
 public:
  /// Opens `path` once for all calls inside the scope.
  SharedFileScope(const char16_t* path, QMFAllocator* memory);
  /// Gives `reader` the name `path`.
  SharedFileScope(const char16_t* path, std::shared_ptr<FileReader> reader);
  SharedFileScope(const SharedFileScope&) = delete;
  SharedFileScope& operator=(const SharedFileScope&) = delete;
  ~SharedFileScope();

  /// Whether a scope of this thread gives a reader of its own the name `path`.
  static bool NamesBytes(std::u16string_view path);
  /// Visits the names in `folder` (see FolderOfPath) that such scopes give.
  static void VisitFolder(std::u16string_view folder, const FileNameVisitor& visit);

 private:
  friend class FileReader;

  const char16_t* const m_path;
  const bool m_namesBytes;
  std::shared_ptr<FileReader> m_reader;
  QMFResult m_result = QMF_OK;
  SharedFileScope* const m_outer;
};

/// Bytes in memory as a file; they must outlive it.
class MemoryFileSource : public FileSource {
 public:
  explicit MemoryFileSource(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}
  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override;
  std::uint64_t Size() const noexcept override { return m_bytes.size(); }

 private:
  std::span<const std::uint8_t> m_bytes;
};

/// The platform's file as a source; null when `path` is not a regular file that can be opened. Never blocks
/// on a pipe or device.
std::shared_ptr<FileSource> OpenPlatformFile(const char16_t* path, QMFAllocator* memory);

/// The calling thread's innermost scope, null at first. Where the system has no place for it there is none,
/// and each module opens the file itself.
SharedFileScope* InnermostScope() noexcept;
void SetInnermostScope(SharedFileScope* scope) noexcept;

}  // namespace qmf
