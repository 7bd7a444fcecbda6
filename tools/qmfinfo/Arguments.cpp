#include "tools/qmfinfo/Arguments.h"

#include <utf8/unchecked.h>

#include <iterator>

#include "framework/Text.h"

namespace qmfinfo {

template <>
std::vector<std::string> ArgumentBytes(int count, char** words) {
  if (count < 1) return {};
  return {words + 1, words + count};
}

#ifdef _WIN32

template <>
std::vector<std::string> ArgumentBytes(int count, wchar_t** words) {
  std::vector<std::string> all;
  for (int i = 1; i < count; ++i) {
    std::string bytes;
    for (const wchar_t* unit = words[i]; *unit != 0; ++unit) {
      char32_t code = *unit;
      const bool pair = code >= 0xD800 && code <= 0xDBFF && unit[1] >= 0xDC00 && unit[1] <= 0xDFFF;
      if (pair) code = 0x10000 + ((code - 0xD800) << 10) + (*++unit - 0xDC00U);
      utf8::unchecked::append(code, std::back_inserter(bytes));
    }
    all.push_back(std::move(bytes));
  }
  return all;
}

std::u16string PathFromArgument(const std::string& word) {
  std::u16string path;
  utf8::unchecked::utf8to16(word.begin(), word.end(), std::back_inserter(path));
  return path;
}

std::filesystem::path NativePath(const std::u16string& path) {
  return std::wstring(path.begin(), path.end());
}

std::u16string PathFromNative(const std::filesystem::path& path) {
  return {path.native().begin(), path.native().end()};
}

#else

std::u16string PathFromArgument(const std::string& word) {
  return qmf::PathFromBytes(word);
}

std::filesystem::path NativePath(const std::u16string& path) {
  return qmf::BytesFromPath(path);
}

std::u16string PathFromNative(const std::filesystem::path& path) {
  return qmf::PathFromBytes(path.native());
}

#endif

}  // namespace qmfinfo
