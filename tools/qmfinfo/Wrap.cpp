#include "tools/qmfinfo/Wrap.h"

#include <algorithm>

namespace qmfinfo {
namespace {

constexpr std::size_t kNarrowestColumn = 24;
constexpr std::size_t kLittleIndent = 4;

// Of the letters in use here each takes one column, however many bytes it has.
std::size_t Columns(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

}  // namespace

std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width) {
  if (width == 0 || indent + Columns(text) <= width) return std::string(text);
  const bool ownLine = width < indent + kNarrowestColumn;
  const std::size_t left = ownLine ? kLittleIndent : indent;
  const std::string newLine = '\n' + std::string(left, ' ');
  std::string lines = ownLine ? newLine : std::string();
  std::size_t column = left;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    const std::size_t columns = Columns(word);
    const bool first = column == left;
    if (!first && column + 1 + columns > width) {
      lines += newLine;
      column = left;
    } else if (!first) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += columns;
  }
  return lines;
}

}  // namespace qmfinfo
