#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "framework/Text.h"
#include "tools/qmfinfo/ChildProcess.h"

namespace qmfinfo {
namespace {

pid_t Start(std::vector<std::string>& words, int outputEnd) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, outputEnd, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int failure = ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return failure == 0 ? child : 0;
}

std::string ReadAll(int descriptor) {
  std::string text;
  std::array<char, 4096> bytes;
  for (;;) {
    const ssize_t got = ::read(descriptor, bytes.data(), bytes.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return text;
    text.append(bytes.data(), static_cast<std::size_t>(got));
  }
}

}  // namespace

std::optional<std::string> OutputOf(const std::vector<std::u16string>& words) {
  std::vector<std::string> bytes;
  bytes.reserve(words.size());
  for (const std::u16string& word : words) bytes.push_back(qmf::BytesFromPath(word));
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
  const pid_t child = Start(bytes, ends[1]);
  ::close(ends[1]);
  std::optional<std::string> output;
  if (child != 0) {
    output = ReadAll(ends[0]);
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
  }
  ::close(ends[0]);
  return output;
}

}  // namespace qmfinfo
