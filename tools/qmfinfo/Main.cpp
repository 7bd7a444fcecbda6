#include <exception>

#include "tools/qmfinfo/Arguments.h"
#include "tools/qmfinfo/Options.h"
#include "tools/qmfinfo/Output.h"

namespace qmfinfo {
namespace {

ExitCode Answer(const std::vector<std::string>& arguments) {
  const auto parsed = ParseOptions(arguments);
  if (const auto* exitCode = std::get_if<ExitCode>(&parsed)) return *exitCode;
  return std::visit([](const auto& options) { return Run(options); }, std::get<Options>(parsed));
}

template <class Character>
int Main(int count, Character** words) try {
  PrepareOutput();
  const ExitCode done = Answer(ArgumentBytes(count, words));
  return FinishOutput() ? done : kSomeFailed;
} catch (const std::exception& failure) {
  PrintError(failure.what());
  return kSomeFailed;
}

}  // namespace
}  // namespace qmfinfo

#ifdef _WIN32
extern "C" int wmain(int count, wchar_t** words) {
  return qmfinfo::Main(count, words);
}
#else
int main(int count, char** words) {
  return qmfinfo::Main(count, words);
}
#endif
