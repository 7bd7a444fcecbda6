#pragma once

#include <windows.h>

#include <propsys.h>

#include <map>
#include <string>

#include "tests/propertyhandler/Apartment.h"

namespace qmf::test {

/// Keys as published; the toolchain's headers misspell some of them.
inline constexpr GUID kAudioSummary = {
    0x64440490, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}};
inline constexpr GUID kVideoSummary = {
    0x64440491, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}};
inline constexpr PROPERTYKEY kDurationKey = {kAudioSummary, 3};

/// Initialize of the handler `object`.
HRESULT Initialize(IUnknown& object, const std::wstring& path);

/// All properties of `store`, as {"Audio 5", "VT_UI4 48000"} for property 5 of the audio summary.
std::map<std::string, std::string> PropertiesOf(IPropertyStore& store);

}  // namespace qmf::test
