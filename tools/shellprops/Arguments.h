#pragma once

#include <string>
#include <vector>

namespace qmf {

/// What the command line asks for. Paths are the platform's UTF-16, valid or not.
struct Arguments {
  enum Command { kShow, kDoctor, kRefresh };

  Command command = kShow;
  bool json = false;       ///< One object a line instead of what people read.
  std::u16string library;  ///< Taken instead of the registered one, unless empty.
  std::vector<std::u16string> files;
};

/// Reads the command line. What is asked in vain or wrongly is explained on standard output or standard error
/// and gives false, with the program's exit code.
bool ReadArguments(int count, wchar_t** texts, Arguments& arguments, int& exitCode);

}  // namespace qmf
