#include <windows.h>

#include "framework/LogFile.h"

namespace qmf {
namespace {

HANDLE AsHandle(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

// Asks for no more than is needed: all that can be known of a file takes many times as long.
bool IsPlainFile(HANDLE file, bool& hasContent) {
  FILE_STANDARD_INFO standard{};
  FILE_BASIC_INFO basic{};
  constexpr DWORD kRefused = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
  if (::GetFileType(file) != FILE_TYPE_DISK ||
      !::GetFileInformationByHandleEx(file, FileStandardInfo, &standard, sizeof(standard)) ||
      !::GetFileInformationByHandleEx(file, FileBasicInfo, &basic, sizeof(basic))) {
    return false;
  }
  hasContent = standard.EndOfFile.QuadPart > 0;
  return (basic.FileAttributes & kRefused) == 0 && standard.NumberOfLinks == 1;
}

bool CutAt(HANDLE file, std::uint64_t length) {
  LARGE_INTEGER position{};
  position.QuadPart = static_cast<LONGLONG>(length);
  return ::SetFilePointerEx(file, position, nullptr, FILE_BEGIN) && ::SetEndOfFile(file);
}

}  // namespace

LogFile::Outcome LogFile::Open(const std::u16string& path) {
  // Readers and deletion are welcome; a second writer is not, which is what makes a log busy.
  const HANDLE file = ::CreateFileW(reinterpret_cast<const wchar_t*>(path.c_str()), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return ::GetLastError() == ERROR_SHARING_VIOLATION ? Outcome::kBusy : Outcome::kFailed;
  }
  if (!IsPlainFile(file, m_hasOldContent)) {
    ::CloseHandle(file);
    return Outcome::kFailed;
  }
  m_handle = reinterpret_cast<std::intptr_t>(file);
  return Outcome::kOpened;
}

bool LogFile::Append(std::span<const std::uint8_t> bytes) {
  // The handle's own position is always the end of what is complete.
  DWORD written = 0;
  const BOOL done =
      ::WriteFile(AsHandle(m_handle), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  const bool complete = done && written == bytes.size();
  if (complete) m_length += bytes.size();
  if (complete && !m_hasOldContent) return true;
  m_hasOldContent = false;
  return CutAt(AsHandle(m_handle), m_length) && complete;
}

void LogFile::Close() {
  if (m_handle != kNone) ::CloseHandle(AsHandle(m_handle));
  m_handle = kNone;
}

}  // namespace qmf
