#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "framework/LogFile.h"
#include "framework/Text.h"

namespace qmf {
namespace {

LogFile::Outcome Claim(int descriptor, bool& hasContent) {
  struct stat status {};
  const bool plain = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
  if (!plain) return LogFile::Outcome::kFailed;
  hasContent = status.st_size > 0;
  if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return LogFile::Outcome::kOpened;
  return errno == EWOULDBLOCK ? LogFile::Outcome::kBusy : LogFile::Outcome::kFailed;
}

bool CutAt(int descriptor, std::uint64_t length) {
  return ::ftruncate(descriptor, static_cast<off_t>(length)) == 0;
}

}  // namespace

LogFile::Outcome LogFile::Open(const std::u16string& path) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  constexpr mode_t kOwnerOnly = 0600;
  const int descriptor = ::open(BytesFromPath(path).c_str(), kFlags, kOwnerOnly);
  if (descriptor < 0) return Outcome::kFailed;
  const Outcome outcome = Claim(descriptor, m_hasOldContent);
  if (outcome == Outcome::kOpened) {
    m_handle = descriptor;
  } else {
    ::close(descriptor);
  }
  return outcome;
}

bool LogFile::Append(std::span<const std::uint8_t> bytes) {
  const auto descriptor = static_cast<int>(m_handle);
  ssize_t written = -1;
  do {
    written = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(m_length));
  } while (written < 0 && errno == EINTR);
  const bool complete = written == static_cast<ssize_t>(bytes.size());
  if (complete) m_length += bytes.size();
  if (complete && !m_hasOldContent) return true;
  m_hasOldContent = false;
  return CutAt(descriptor, m_length) && complete;
}

void LogFile::Close() {
  if (m_handle != kNone) ::close(static_cast<int>(m_handle));
  m_handle = kNone;
}

}  // namespace qmf
