#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <string>

namespace qmf::test {

/// Keys and values of HKEY_LOCAL_MACHINE: "Key\Sub\" for a key, "Key\Sub\@Name" with its text for a value.
using RegistryContent = std::map<std::wstring, std::wstring>;

inline void ReadValues(HKEY key, const std::wstring& path, RegistryContent& content) {
  constexpr DWORD kLongestName = 16384;
  std::wstring name(kLongestName, L'\0');
  std::wstring data(kLongestName, L'\0');
  for (DWORD i = 0;; ++i) {
    DWORD nameLength = kLongestName;
    DWORD bytes = kLongestName * sizeof(wchar_t);
    DWORD type = 0;
    if (::RegEnumValueW(key, i, name.data(), &nameLength, nullptr, &type,
                        reinterpret_cast<BYTE*>(data.data()), &bytes) != ERROR_SUCCESS) {
      return;
    }
    std::wstring& text = content[path + L"@" + name.substr(0, nameLength)];
    text = type == REG_SZ ? std::wstring(data.c_str()) : L"type " + std::to_wstring(type);
  }
}

/// Adds all that stands below the key `path`, which ends with a backslash.
inline void ReadRegistry(const std::wstring& path, RegistryContent& content) {
  HKEY key = nullptr;
  const std::wstring name(path, 0, path.size() - 1);
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, name.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  content[path];
  ReadValues(key, path, content);
  wchar_t child[256];
  for (DWORD i = 0; ::RegEnumKeyW(key, i, child, 256) == ERROR_SUCCESS; ++i) {
    // Another view of the same keys, for 32-bit programs.
    if (std::wstring_view(child) != L"Wow6432Node") ReadRegistry(path + child + L"\\", content);
  }
  ::RegCloseKey(key);
}

/// What of `after` is not in `before`.
inline RegistryContent Added(const RegistryContent& before, const RegistryContent& after) {
  RegistryContent added;
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                      std::inserter(added, added.end()));
  return added;
}

}  // namespace qmf::test
