#include "tools/shellprops/PropertyReport.h"

#include <propsys.h>
#include <propvarutil.h>

#include "framework/Text.h"
#include "propertyhandler/PropertyKeys.h"
#include "tools/shellprops/Texts.h"

namespace qmf {
namespace {

using Json = nlohmann::ordered_json;
using Microsoft::WRL::ComPtr;

// Wine exports the function without having it: a call ends the program.
bool PlatformHasNames() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr;
}

std::string PlatformName(REFPROPERTYKEY key) {
  if (!PlatformHasNames()) return {};
  PWSTR name = nullptr;
  if (FAILED(::PSGetNameFromPropertyKey(key, &name)) || name == nullptr) return {};
  std::string text = Utf8(name);
  ::CoTaskMemFree(name);
  return text;
}

bool IsSameKey(REFPROPERTYKEY a, REFPROPERTYKEY b) {
  return a.pid == b.pid && a.fmtid == b.fmtid;
}

// Not every platform knows its own names.
std::string KeyName(REFPROPERTYKEY key) {
  std::string known = PlatformName(key);
  if (!known.empty()) return known;
  for (std::size_t i = 0; i < kPropertyCount; ++i) {
    const auto property = static_cast<PropertyId>(i);
    if (IsSameKey(key, ShellPropertyOf(property).key)) return PropertyName(property);
  }
  wchar_t format[39];
  ::StringFromGUID2(key.fmtid, format, static_cast<int>(std::size(format)));
  return Utf8(format) + " " + std::to_string(key.pid);
}

Json ToJson(const PROPVARIANT& value) {
  switch (value.vt) {
    case VT_UI4:
      return value.ulVal;
    case VT_UI8:
      return value.uhVal.QuadPart;
    case VT_LPWSTR:
      return Utf8(value.pwszVal);
    default:
      return nullptr;
  }
}

Json ReadProperties(IPropertyStore& store, DWORD count) {
  Json properties = Json::object();
  for (DWORD index = 0; index < count; ++index) {
    PROPERTYKEY key{};
    PROPVARIANT value{};
    if (FAILED(store.GetAt(index, &key)) || FAILED(store.GetValue(key, &value))) continue;
    properties[KeyName(key)] = ToJson(value);
    ::PropVariantClear(&value);
  }
  return properties;
}

HRESULT TrySetValue(IPropertyStore& store) {
  PROPVARIANT value{};
  value.vt = VT_UI4;
  return store.SetValue(ShellPropertyOf(kVideoFrameWidth).key, value);
}

HRESULT InitializeWith(IUnknown& object, const std::u16string& path) {
  ComPtr<IInitializeWithFile> initialize;
  const HRESULT result = object.QueryInterface(IID_PPV_ARGS(initialize.GetAddressOf()));
  if (FAILED(result)) return result;
  return initialize->Initialize(reinterpret_cast<const wchar_t*>(path.c_str()), STGM_READ);
}

void DescribeStore(IPropertyStore& store, Json& json) {
  DWORD count = 0;
  json["getcount"] = Hex(store.GetCount(&count));
  json["count"] = count;
  json["properties"] = ReadProperties(store, count);
  json["setvalue"] = Hex(TrySetValue(store));
  json["commit"] = Hex(store.Commit());
}

}  // namespace

PropertyReport ReportProperties(const HandlerClass& handler, const std::u16string& path) {
  PropertyReport report{.json = {{"path", ToUtf8(path)}}, .complete = false};
  ComPtr<IUnknown> object;
  const HRESULT created = handler.Create(object);
  if (FAILED(created)) {
    report.json["create"] = Hex(created);
    return report;
  }
  const HRESULT initialized = InitializeWith(*object.Get(), path);
  report.json["initialize"] = Hex(initialized);
  report.complete = initialized == S_OK;
  ComPtr<IPropertyStore> store;
  if (SUCCEEDED(object.As(&store))) DescribeStore(*store.Get(), report.json);
  ComPtr<IPropertyStoreCapabilities> capabilities;
  if (SUCCEEDED(object.As(&capabilities))) {
    report.json["writable"] = Hex(capabilities->IsPropertyWritable(ShellPropertyOf(kVideoFrameWidth).key));
  }
  return report;
}

}  // namespace qmf
