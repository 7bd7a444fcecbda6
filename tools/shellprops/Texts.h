#pragma once

#include <windows.h>

#include <string>

namespace qmf {

/// "0x80004005".
std::string Hex(HRESULT result);

/// UTF-8 of the platform's text.
std::string Utf8(const wchar_t* text);

}  // namespace qmf
