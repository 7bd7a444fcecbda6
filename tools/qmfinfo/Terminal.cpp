#include "tools/qmfinfo/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace qmfinfo {
namespace {

volatile std::sig_atomic_t interrupted = 0;

#ifdef _WIN32
void OnInterrupt(int) {
  interrupted = 1;
}
bool IsTerminal(std::FILE* file) {
  return _isatty(_fileno(file)) != 0;
}
HANDLE ConsoleOf(std::FILE* file) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
}
// Consoles take escape sequences only when asked to, and old ones never.
bool TakesEscapes(std::FILE* file) {
  DWORD mode = 0;
  const HANDLE console = ConsoleOf(file);
  return GetConsoleMode(console, &mode) && SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}
std::size_t WidthOf(std::FILE* file) {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(ConsoleOf(file), &info)) return 0;
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}
#else
// A read of standard input that is about to begin must not wait either.
void OnInterrupt(int) {
  interrupted = 1;
  (void)::close(STDIN_FILENO);
}
bool IsTerminal(std::FILE* file) {
  return ::isatty(::fileno(file)) != 0;
}
bool TakesEscapes(std::FILE* file) {
  return IsTerminal(file);
}
std::size_t WidthOf(std::FILE* file) {
  winsize size{};
  return ::ioctl(::fileno(file), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}
#endif

}  // namespace

bool IsErrorTerminal() {
  return IsTerminal(stderr);
}

std::size_t OutputWidth() {
  return WidthOf(stdout);
}

bool WantsColour() {
  const char* const refused = std::getenv("NO_COLOR");
  return (refused == nullptr || *refused == '\0') && TakesEscapes(stdout);
}

void CatchInterrupts() {
#ifdef _WIN32
  // The call of a handler takes it away.
  (void)std::signal(SIGINT, OnInterrupt);
#else
  // Not restarting: whoever waits for standard input is to notice.
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  (void)::sigaction(SIGINT, &action, nullptr);
#endif
}

bool WasInterrupted() {
  return interrupted != 0;
}

Progress::Progress(bool wanted, std::optional<std::uint64_t> total)
    : m_shown(wanted && IsErrorTerminal()), m_total(total) {}

void Progress::Hide() noexcept {
  if (m_columns > 0) (void)std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_columns), "");
  m_columns = 0;
}

void Progress::Advance() {
  ++m_done;
  constexpr auto kPause = std::chrono::milliseconds(200);
  const Clock::time_point now = Clock::now();
  if (!m_shown || now - m_last < kPause) return;
  m_last = now;
  Hide();
  // A line that the terminal broke could not be taken back.
  const std::size_t width = WidthOf(stderr);
  const std::string line = Line(now).substr(0, width == 0 ? std::string::npos : width - 1);
  (void)std::fputs(line.c_str(), stderr);
  m_columns = line.size();
  (void)std::fflush(stderr);
}

std::string Progress::Line(Clock::time_point now) const {
  const double seconds = std::chrono::duration<double>(now - m_start).count();
  const double rate = static_cast<double>(m_done) / seconds;
  if (!m_total) return fmt::format("{} files, {:.0f} a second", m_done, rate);
  // The folder may have grown since its files were counted.
  const std::uint64_t total = std::max(*m_total, m_done);
  const auto left = static_cast<std::uint64_t>(static_cast<double>(total - m_done) / rate + 0.5);
  return fmt::format("{} of {} files, {:.0f} a second, {}:{:02} left", m_done, total, rate, left / 60,
                     left % 60);
}

}  // namespace qmfinfo
