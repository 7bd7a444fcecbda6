#include "tools/qmfinfo/Output.h"

#include <fmt/core.h>

#include <cstdio>
#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#endif

namespace qmfinfo {

void PrepareOutput() {
#ifdef _WIN32
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
#endif
}

void Print(std::string_view text) {
  (void)std::fwrite(text.data(), 1, text.size(), stdout);
}

void PrintLine(const Json& value) {
  Print(value.dump());
  Print("\n");
}

void FlushOutput() {
  (void)std::fflush(stdout);
}

bool FinishOutput() {
  FlushOutput();
  if (std::ferror(stdout) == 0) return true;
  PrintError("the output could not be written");
  return false;
}

void PrintError(std::string_view message) {
  fmt::print(stderr, "qmfinfo: {}\n", message);
}

}  // namespace qmfinfo
