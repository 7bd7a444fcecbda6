#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "framework/LogFile.h"
#include "framework/Text.h"

namespace qmf {
namespace {

bool IsPlainFile(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

LogFile::Outcome Claim(int descriptor) {
  if (!IsPlainFile(descriptor)) return LogFile::Outcome::kFailed;
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? LogFile::Outcome::kBusy : LogFile::Outcome::kFailed;
  }
  return ::ftruncate(descriptor, 0) == 0 ? LogFile::Outcome::kOpened : LogFile::Outcome::kFailed;
}

}  // namespace

LogFile::Outcome LogFile::Open(const std::u16string& path) {
  constexpr mode_t kOwnerOnly = 0600;
  const int descriptor =
      ::open(BytesFromPath(path).c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY,
             kOwnerOnly);
  if (descriptor < 0) return Outcome::kFailed;
  const Outcome outcome = Claim(descriptor);
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
  if (written == static_cast<ssize_t>(bytes.size())) {
    m_length += bytes.size();
    return true;
  }
  [[maybe_unused]] const int ignored = ::ftruncate(descriptor, static_cast<off_t>(m_length));
  return false;
}

void LogFile::Close() {
  if (m_handle != kNone) ::close(static_cast<int>(m_handle));
  m_handle = kNone;
}

}  // namespace qmf
