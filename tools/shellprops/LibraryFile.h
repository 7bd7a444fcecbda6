#pragma once

#include <windows.h>

#include <nlohmann/json.hpp>
#include <string>

namespace qmf {

/// What a library's file says of itself, without running it: "exists", "version" (null without a version
/// block), "bits" (32, 64, or null for another processor or no library at all).
nlohmann::ordered_json DescribeLibraryFile(const std::wstring& path);

/// Loads and lets go of the library: S_OK or why it does not load.
HRESULT TryLoad(const std::wstring& path);

}  // namespace qmf
