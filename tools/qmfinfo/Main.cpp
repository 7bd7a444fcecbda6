#include <exception>

#include "tools/qmfinfo/Arguments.h"
#include "tools/qmfinfo/Options.h"
#include "tools/qmfinfo/Output.h"

namespace qmfinfo {
namespace {

template <class Character>
int Main(int count, Character** words) try {
  PrepareOutput();
  const auto parsed = ParseOptions(ArgumentBytes(count, words));
  if (const auto* exitCode = std::get_if<ExitCode>(&parsed)) return *exitCode;
  const ExitCode done =
      std::visit([](const auto& options) { return Run(options); }, std::get<Options>(parsed));
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
