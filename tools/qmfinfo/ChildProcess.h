#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qmfinfo {

/// Runs the program `words[0]`, found as the platform finds programs, without a shell and without input, and
/// gives what it wrote to standard output; nothing when it cannot be started. Its messages are dropped.
std::optional<std::string> OutputOf(const std::vector<std::u16string>& words);

}  // namespace qmfinfo
