#include <fcntl.h>
#include <io.h>
#include <objbase.h>

#include <iostream>

#include "tools/shellprops/Arguments.h"
#include "tools/shellprops/PropertyReport.h"

namespace {

constexpr int kIndent = 2;

int Report(const qmf::Arguments& arguments) {
  const qmf::HandlerClass handler(arguments.library);
  bool complete = true;
  for (const std::u16string& file : arguments.files) {
    const qmf::PropertyReport report = qmf::ReportProperties(handler, file);
    std::cout << report.json.dump(arguments.oneLine ? -1 : kIndent) << '\n';
    complete = complete && report.complete;
  }
  return complete ? 0 : 1;
}

}  // namespace

int wmain(int count, wchar_t** texts) {
  // Bytes as they are: UTF-8, and line feeds alone.
  _setmode(_fileno(stdout), _O_BINARY);
  qmf::Arguments arguments;
  int exitCode = 0;
  if (!qmf::ReadArguments(count, texts, arguments, exitCode)) return exitCode;
  if (const HRESULT started = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED); FAILED(started)) {
    std::cerr << "shellprops: COM does not start\n";
    return 1;
  }
  exitCode = Report(arguments);
  ::CoUninitialize();
  return exitCode;
}
