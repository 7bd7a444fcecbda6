#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace qmf {

/// A file that this process alone writes, record behind record. The platform's part of the log.
class LogFile {
 public:
  enum class Outcome { kOpened, kBusy, kFailed };

  /// Opens `path` for writing; what stands there goes with the first Append. kBusy when another log, of this
  /// process or another, is being written there; kFailed when it cannot be written or is anything but a plain
  /// file with one name: links are never followed, so that nobody can aim a log at somebody else's file.
  Outcome Open(const std::u16string& path);

  LogFile() = default;
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  ~LogFile() { Close(); }

  /// Appends all of `bytes` with one write. When not all of them arrive, takes back those that did and gives
  /// false.
  bool Append(std::span<const std::uint8_t> bytes);
  void Close();

  static constexpr char16_t kSeparator =
#ifdef _WIN32
      u'\\';
#else
      u'/';
#endif

 private:
  static constexpr std::intptr_t kNone = -1;

  std::intptr_t m_handle = kNone;
  // An older log is cut behind the first record and not emptied before it: some file systems take a file that
  // was emptied for one whose data must reach the disk when it is closed, and let everybody wait for that.
  bool m_hasOldContent = false;
  std::uint64_t m_length = 0;
};

}  // namespace qmf
