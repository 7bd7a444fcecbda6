#include "tests/propertyhandler/Registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace qmf::test {
namespace {

constexpr DWORD kLongestName = 16384;

void ReadValues(HKEY key, const std::wstring& path, RegistryContent& content) {
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

void ReadKey(HKEY parent, const std::wstring& name, const std::wstring& path, RegistryContent& content) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(parent, name.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  content[path];
  ReadValues(key, path, content);
  wchar_t child[256];
  for (DWORD i = 0; ::RegEnumKeyW(key, i, child, 256) == ERROR_SUCCESS; ++i) {
    // Another view of the same keys, for 32-bit programs.
    if (std::wstring_view(child) != L"Wow6432Node") ReadKey(key, child, path + child + L"\\", content);
  }
  ::RegCloseKey(key);
}

}  // namespace

RegistryContent ReadRegistry(const std::wstring& key) {
  RegistryContent content;
  ReadKey(HKEY_LOCAL_MACHINE, key, {}, content);
  return content;
}

RegistryContent Added(const RegistryContent& before, const RegistryContent& after) {
  RegistryContent added;
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                      std::inserter(added, added.end()));
  return added;
}

void WriteRegistry(const std::wstring& key, const std::wstring& name, const std::wstring& text) {
  EXPECT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(), REG_SZ, text.c_str(),
                              static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS);
}

}  // namespace qmf::test
