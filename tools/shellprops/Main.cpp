#include <fcntl.h>
#include <io.h>
#include <objbase.h>

#include <iostream>

#include "propertyhandler/ShellNotice.h"
#include "tools/shellprops/Arguments.h"
#include "tools/shellprops/Doctor.h"
#include "tools/shellprops/PropertyReport.h"

namespace {

constexpr int kIndent = 2;

int Report(const qmf::Arguments& arguments) {
  const qmf::HandlerClass handler(arguments.library);
  bool complete = true;
  for (const std::u16string& file : arguments.files) {
    const qmf::PropertyReport report = qmf::ReportProperties(handler, file);
    std::cout << report.json.dump(arguments.json ? -1 : kIndent) << '\n';
    complete = complete && report.complete;
  }
  return complete ? 0 : 1;
}

int RunDoctor(const qmf::Arguments& arguments) {
  const nlohmann::ordered_json examined = qmf::Examine();
  std::cout << (arguments.json ? examined.dump() + "\n" : qmf::ToText(examined));
  return examined["healthy"].get<bool>() ? 0 : 1;
}

int Run(const qmf::Arguments& arguments) {
  switch (arguments.command) {
    case qmf::Arguments::kDoctor:
      return RunDoctor(arguments);
    case qmf::Arguments::kRefresh:
      qmf::TellShellOfChange();
      return 0;
    case qmf::Arguments::kShow:
      return Report(arguments);
  }
  return 1;
}

}  // namespace

int wmain(int count, wchar_t** texts) {
  // Bytes as they are: UTF-8, and line feeds alone.
  _setmode(_fileno(stdout), _O_BINARY);
  // A library that does not load is a finding, not a message box.
  ::SetErrorMode(SEM_FAILCRITICALERRORS);
  qmf::Arguments arguments;
  int exitCode = 0;
  if (!qmf::ReadArguments(count, texts, arguments, exitCode)) return exitCode;
  if (const HRESULT started = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED); FAILED(started)) {
    std::cerr << "shellprops: COM does not start\n";
    return 1;
  }
  exitCode = Run(arguments);
  ::CoUninitialize();
  if (std::cout.flush()) return exitCode;
  std::cerr << "shellprops: the output could not be written\n";
  return 1;
}
