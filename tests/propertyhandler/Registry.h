#pragma once

#include <windows.h>

#include <map>
#include <string>

namespace qmf::test {

/// Keys and values below a key: "Key\Sub\" for a key, "Key\Sub\@Name" with its text for a value.
using RegistryContent = std::map<std::wstring, std::wstring>;

/// All that stands below `key` of HKEY_LOCAL_MACHINE, by names from there.
RegistryContent ReadRegistry(const std::wstring& key);

/// What of `after` is not in `before`.
RegistryContent Added(const RegistryContent& before, const RegistryContent& after);

/// Writes a text value into a key of HKEY_LOCAL_MACHINE, making the key.
void WriteRegistry(const std::wstring& key, const std::wstring& name, const std::wstring& text);

}  // namespace qmf::test
