#include "tools/shellprops/Texts.h"

#include <cstdio>

#include "framework/Text.h"

namespace qmf {

std::string Hex(HRESULT result) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(result));
  return text;
}

std::string Utf8(const wchar_t* text) {
  return ToUtf8(reinterpret_cast<const char16_t*>(text));
}

}  // namespace qmf
