#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qmfinfo {

/// `text` (UTF-8) as it continues a line at column `indent`, broken at spaces so that lines keep to `width`
/// columns and begin under its first letter. Where that leaves too narrow a column, the text begins on a line
/// of its own, little indented. A word longer than the column stays whole. Width 0: nothing is broken.
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width);

}  // namespace qmfinfo
