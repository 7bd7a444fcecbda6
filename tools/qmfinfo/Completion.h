#pragma once

#include <CLI/App.hpp>
#include <string>

namespace qmfinfo {

/// A script that makes the shell complete the commands and options of `program`: "bash", "zsh" or "fish".
std::string CompletionScript(const CLI::App& program, const std::string& shell);

}  // namespace qmfinfo
