// Reads a file's properties and does nothing else, for strace, perf and callgrind to watch:
// properties_once N FILE reads them N times; with 0, only what the program itself costs remains.

#include <cstdio>
#include <cstdlib>

#include "benchmarks/ReadProperties.h"
#include "framework/LogWriter.h"

int main(int count, char** arguments) {
  if (count != 3) {
    std::fputs("usage: properties_once N FILE\n", stderr);
    return 2;
  }
  qmf::SetLogOff();
  for (int left = std::atoi(arguments[1]); left > 0; --left) {
    if (!qmf::bench::ReadProperties(arguments[2])) return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
