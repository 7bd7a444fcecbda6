#include "framework/FileReader.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

namespace qmf {
namespace {

// Who comes to a place usually needs no more than a header there; who goes on from it gets the whole window,
// and who goes on from that as well is reading media: fewer, longer reads are a fifteenth faster then.
constexpr std::size_t kFirstFill = 4096;
constexpr std::size_t kWalkersFill = 65536;
// Walkers step over what they do not need, and so a little beyond the window.
constexpr std::size_t kStep = 1024;

std::atomic<std::uint64_t> totalOpens{0};
std::atomic<std::uint64_t> totalReads{0};
std::atomic<std::uint64_t> totalBytes{0};

bool IsRemotePath(std::u16string_view path) {
  return path.starts_with(u"http:");
}

}  // namespace

QMFResult FileReader::Open(const char16_t* path, QMFAllocator* memory, std::shared_ptr<FileReader>& reader) {
  for (const SharedFileScope* scope = InnermostScope(); scope != nullptr; scope = scope->m_outer) {
    if (std::u16string_view(scope->m_path) != path) continue;
    reader = scope->m_reader;
    return scope->m_result;
  }
  if (IsRemotePath(path)) return QMF_ERR_REMOTE_FILE_UNSUPPORTED;
  totalOpens.fetch_add(1, std::memory_order_relaxed);
  std::shared_ptr<FileSource> source = OpenPlatformFile(path, memory);
  if (source == nullptr) return QMF_FILE_NOT_OPENED;
  reader = std::allocate_shared<FileReader>(
      std::pmr::polymorphic_allocator<FileReader>(AllocatorOrHeap(memory)), std::move(source), memory);
  return QMF_OK;
}

std::size_t FileReader::ReadSource(std::uint64_t offset, void* destination, std::size_t count) {
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, m_mostBytes - m_bytesRead));
  if (count == 0) return 0;
  const std::size_t arrived = std::min(m_source->ReadAt(offset, destination, count), count);
  m_bytesRead += arrived;
  totalReads.fetch_add(1, std::memory_order_relaxed);
  totalBytes.fetch_add(arrived, std::memory_order_relaxed);
  return arrived;
}

std::span<const std::uint8_t> FileReader::Fetch(std::uint64_t offset, std::size_t count) {
  count = std::min(count, kWindowSize);
  const std::span<const std::uint8_t> there = Window(offset, count);
  // At the end of the file there is no more to be had: walkers would fetch its last bytes again at every
  // step, and whoever looks behind it would lose the window.
  const bool hasTail = !there.empty() && offset + there.size() >= Size();
  if (there.size() == count || hasTail || offset >= Size()) return there;
  const std::span<std::uint8_t> room = RoomFor(offset, count);
  m_window = room.data();
  m_windowOffset = offset;
  m_windowFilled = ReadSource(offset, room.data(), room.size());
  return Window(offset, count);
}

std::span<std::uint8_t> FileReader::RoomFor(std::uint64_t offset, std::size_t count) {
  const bool goesOn = m_windowFilled > 0 && offset - m_windowOffset <= m_windowFilled + kStep;
  if (!goesOn) return std::span(m_firstWindow, std::max(count, kFirstFill));
  if (m_windowFilled < kWindowSize || Size() - offset <= kWindowSize) return m_firstWindow;
  try {
    m_walkersWindow.resize(kWalkersFill);
  } catch (const std::bad_alloc&) {
    return m_firstWindow;
  }
  return m_walkersWindow;
}

// What the window has is not fetched again, so that reading on from block to block reads each byte once.
std::size_t FileReader::ReadAt(std::uint64_t offset, void* destination, std::size_t count) {
  if (++m_looks > m_mostLooks) return 0;
  auto* const out = static_cast<std::uint8_t*>(destination);
  const std::span<const std::uint8_t> there = Window(offset, count);
  if (!there.empty()) std::memcpy(out, there.data(), there.size());
  const std::size_t copied = there.size();
  if (count - copied > kWindowSize) return copied + ReadSource(offset + copied, out + copied, count - copied);
  const std::span<const std::uint8_t> rest = Fetch(offset + copied, count - copied);
  if (!rest.empty()) std::memcpy(out + copied, rest.data(), rest.size());
  return copied + rest.size();
}

FileReader::Counters FileReader::TotalCounters() {
  return {totalOpens.load(), totalReads.load(), totalBytes.load()};
}

SharedFileScope::SharedFileScope(const char16_t* path, QMFAllocator* memory)
    : m_path(path), m_namesBytes(false), m_outer(InnermostScope()) {
  m_result = FileReader::Open(path, memory, m_reader);
  SetInnermostScope(this);
}

SharedFileScope::SharedFileScope(const char16_t* path, std::shared_ptr<FileReader> reader)
    : m_path(path), m_namesBytes(true), m_reader(std::move(reader)), m_outer(InnermostScope()) {
  SetInnermostScope(this);
}

SharedFileScope::~SharedFileScope() {
  SetInnermostScope(m_outer);
}

bool SharedFileScope::NamesBytes(std::u16string_view path) {
  for (const SharedFileScope* scope = InnermostScope(); scope != nullptr; scope = scope->m_outer) {
    if (scope->m_namesBytes && scope->m_path == path) return true;
  }
  return false;
}

void SharedFileScope::VisitFolder(std::u16string_view folder, const FileNameVisitor& visit) {
  for (const SharedFileScope* scope = InnermostScope(); scope != nullptr; scope = scope->m_outer) {
    if (!scope->m_namesBytes || FolderOfPath(scope->m_path) != folder) continue;
    if (!visit(std::u16string_view(scope->m_path).substr(folder.size()))) return;
  }
}

std::size_t MemoryFileSource::ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept {
  if (offset >= m_bytes.size()) return 0;
  const std::size_t arrived = std::min(count, m_bytes.size() - static_cast<std::size_t>(offset));
  if (arrived > 0) std::memcpy(destination, m_bytes.data() + offset, arrived);
  return arrived;
}

}  // namespace qmf
