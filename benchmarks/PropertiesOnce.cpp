// Reads a file's properties and does nothing else, for strace, perf and callgrind to watch:
// properties_once N FILE [LOG-FOLDER] reads them N times; with 0, only what the program itself costs remains.

#include <cstdio>
#include <cstdlib>

#include "benchmarks/ReadProperties.h"
#include "framework/LogWriter.h"

int main(int count, char** arguments) {
  if (count != 3 && count != 4) {
    std::fputs("usage: properties_once N FILE [LOG-FOLDER]\n", stderr);
    return 2;
  }
  qmf::SetLogOff();
  if (count == 4 && qmf::SetLogFolder(qmf::PathFromBytes(arguments[3])) != qmf::QMF_OK) return EXIT_FAILURE;
  for (int left = std::atoi(arguments[1]); left > 0; --left) {
    if (!qmf::bench::ReadProperties(arguments[2])) return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
