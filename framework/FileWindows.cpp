#include <windows.h>

#include <algorithm>
#include <memory>
#include <string>

#include "framework/FileReader.h"

namespace qmf {
namespace {

class WindowsFileSource : public FileSource {
 public:
  WindowsFileSource(HANDLE file, std::uint64_t size) : m_file(file), m_size(size) {}
  WindowsFileSource(const WindowsFileSource&) = delete;
  WindowsFileSource& operator=(const WindowsFileSource&) = delete;
  ~WindowsFileSource() override { ::CloseHandle(m_file); }

  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    OVERLAPPED position{};
    position.Offset = static_cast<DWORD>(offset);
    position.OffsetHigh = static_cast<DWORD>(offset >> 32);
    const auto wanted = static_cast<DWORD>(std::min<std::size_t>(count, 0x40000000));
    DWORD arrived = 0;
    return ::ReadFile(m_file, destination, wanted, &arrived, &position) ? arrived : 0;
  }

  std::uint64_t Size() const noexcept override { return m_size; }

 private:
  const HANDLE m_file;
  const std::uint64_t m_size;
};

std::wstring FullName(const std::wstring& name) {
  std::wstring full(::GetFullPathNameW(name.c_str(), 0, nullptr, nullptr), L'\0');
  const DWORD length =
      ::GetFullPathNameW(name.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  full.resize(length < full.size() ? length : 0);
  return full;
}

// Names past the classic limit are spelled in the long form, which needs them absolute and with backslashes.
std::wstring LongName(const char16_t* path) {
  constexpr std::size_t kClassicLimit = 248;
  const std::wstring name(reinterpret_cast<const wchar_t*>(path));
  if (name.starts_with(L"\\\\?\\")) return name;
  const std::wstring full = FullName(name);
  if (full.size() < kClassicLimit || full.starts_with(L"\\\\?\\") || full.starts_with(L"\\\\.\\"))
    return name;
  return full.starts_with(L"\\\\") ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

// A file that a cloud or a tape keeps: reading it may take long, and fill the disk.
bool IsKeptElsewhere(DWORD attributes) {
  constexpr DWORD kRecalledOnAccess = 0x00440000;  // FILE_ATTRIBUTE_RECALL_ON_OPEN and _ON_DATA_ACCESS
  return (attributes & (FILE_ATTRIBUTE_OFFLINE | kRecalledOnAccess)) != 0;
}

// To open a link may ask a network.
bool IsLocalFile(const WIN32_FIND_DATAW& entry) {
  return (entry.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0 &&
         !IsKeptElsewhere(entry.dwFileAttributes);
}

// The size of `file` when it is one whose bytes are here.
bool SizeOfLocalFile(HANDLE file, std::uint64_t& size) {
  BY_HANDLE_FILE_INFORMATION about{};
  if (::GetFileType(file) != FILE_TYPE_DISK || !::GetFileInformationByHandle(file, &about)) return false;
  size = std::uint64_t{about.nFileSizeHigh} << 32 | about.nFileSizeLow;
  return !IsKeptElsewhere(about.dwFileAttributes);
}

// Not thread_local: for that the compiler's runtime gives every thread handles and memory of its own, which
// stay behind when the library is unloaded before the thread ends.
class ThreadSlot {
 public:
  ThreadSlot() = default;
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;
  ~ThreadSlot() { ::TlsFree(m_index); }
  void* Get() const noexcept { return ::TlsGetValue(m_index); }
  void Set(void* value) const noexcept { ::TlsSetValue(m_index, value); }

 private:
  const DWORD m_index = ::TlsAlloc();
};
const ThreadSlot innermostScope;

}  // namespace

SharedFileScope* InnermostScope() noexcept {
  return static_cast<SharedFileScope*>(innermostScope.Get());
}

void SetInnermostScope(SharedFileScope* scope) noexcept {
  innermostScope.Set(scope);
}

std::shared_ptr<FileSource> OpenPlatformFile(const char16_t* path, QMFAllocator* memory) {
  // Anonymous: should the name turn out to be a pipe, its server learns nothing of the user.
  constexpr DWORD kFlags =
      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_NO_RECALL | SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;
  const HANDLE file = ::CreateFileW(LongName(path).c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, kFlags, nullptr);
  if (file == INVALID_HANDLE_VALUE) return nullptr;
  std::uint64_t size = 0;
  if (!SizeOfLocalFile(file, size)) {
    ::CloseHandle(file);
    return nullptr;
  }
  try {
    return std::allocate_shared<WindowsFileSource>(
        std::pmr::polymorphic_allocator<WindowsFileSource>(AllocatorOrHeap(memory)), file, size);
  } catch (...) {
    ::CloseHandle(file);
    throw;
  }
}

void VisitPlatformFolder(std::u16string_view folder, std::size_t most, const FileNameVisitor& visit) {
  const std::u16string pattern = std::u16string(folder) + u"*";
  WIN32_FIND_DATAW entry;
  const HANDLE search = ::FindFirstFileExW(LongName(pattern.c_str()).c_str(), FindExInfoBasic, &entry,
                                           FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
  if (search == INVALID_HANDLE_VALUE) return;
  const std::unique_ptr<void, BOOL(WINAPI*)(HANDLE)> opened(search, ::FindClose);
  for (bool found = true; found && most > 0; found = ::FindNextFileW(search, &entry) != 0, --most) {
    const std::u16string_view name(reinterpret_cast<const char16_t*>(entry.cFileName));
    if (IsLocalFile(entry) && !visit(name)) return;
  }
}

}  // namespace qmf
