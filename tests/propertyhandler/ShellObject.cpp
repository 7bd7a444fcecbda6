#include "tests/propertyhandler/ShellObject.h"

#include <gtest/gtest.h>

namespace qmf::test {
namespace {

std::string NameOf(const PROPERTYKEY& key) {
  const char* const format = key.fmtid == kAudioSummary   ? "Audio "
                             : key.fmtid == kVideoSummary ? "Video "
                                                          : "other ";
  return format + std::to_string(key.pid);
}

std::string TextOf(const PROPVARIANT& value) {
  switch (value.vt) {
    case VT_UI4:
      return "VT_UI4 " + std::to_string(value.ulVal);
    case VT_UI8:
      return "VT_UI8 " + std::to_string(value.uhVal.QuadPart);
    default:
      return "type " + std::to_string(value.vt);
  }
}

}  // namespace

HRESULT Initialize(IUnknown& object, const std::wstring& path) {
  ComPtr<IInitializeWithFile> initialize;
  const HRESULT result = object.QueryInterface(IID_PPV_ARGS(initialize.GetAddressOf()));
  return SUCCEEDED(result) ? initialize->Initialize(path.c_str(), STGM_READ) : result;
}

std::map<std::string, std::string> PropertiesOf(IPropertyStore& store) {
  std::map<std::string, std::string> properties;
  DWORD count = 0;
  EXPECT_EQ(store.GetCount(&count), S_OK);
  for (DWORD i = 0; i < count; ++i) {
    PROPERTYKEY key{};
    PROPVARIANT value{};
    EXPECT_EQ(store.GetAt(i, &key), S_OK);
    EXPECT_EQ(store.GetValue(key, &value), S_OK);
    properties.emplace(NameOf(key), TextOf(value));
  }
  EXPECT_EQ(properties.size(), count);
  return properties;
}

}  // namespace qmf::test
