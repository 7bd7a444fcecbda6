#include "propertyhandler/Registration.h"

#include <wrl/client.h>

#include <string>

#include "propertyhandler/Registrar.h"
#include "propertyhandler/RegistryLeftovers.h"
#include "propertyhandler/Resources.h"
#include "propertyhandler/ServerModule.h"

namespace qmf {
namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t kApplicationId[] = L"{A347EE76-5A4C-4FBE-972C-0F82B947B269}";
constexpr wchar_t kScriptType[] = L"REGISTRY";

enum class Direction { kRegister, kUnregister };

// What is written must not depend on the language of whoever installs.
class SystemLocaleScope {
 public:
  SystemLocaleScope() : m_saved(::GetThreadLocale()) { ::SetThreadLocale(LOCALE_SYSTEM_DEFAULT); }
  SystemLocaleScope(const SystemLocaleScope&) = delete;
  SystemLocaleScope& operator=(const SystemLocaleScope&) = delete;
  ~SystemLocaleScope() { ::SetThreadLocale(m_saved); }

 private:
  const LCID m_saved;
};

// Installers do not all start COM before they call.
class ComScope {
 public:
  ComScope() : m_started(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;
  ~ComScope() {
    if (m_started) ::CoUninitialize();
  }

 private:
  const bool m_started;
};

std::wstring ModulePath() {
  constexpr std::size_t kLongestPath = 32768;
  std::wstring path(kLongestPath, L'\0');
  path.resize(::GetModuleFileNameW(Module().Instance(), path.data(), kLongestPath));
  return path;
}

// Scripts write their texts between single quotes.
std::wstring QuotedForScript(const std::wstring& text) {
  std::wstring quoted;
  for (const wchar_t unit : text) quoted.append(unit == L'\'' ? 2 : 1, unit);
  return quoted;
}

HRESULT RunScript(UINT script, Direction direction) {
  ComPtr<IRegistrar> registrar;
  const HRESULT created = ::CoCreateInstance(kRegistrarClass, nullptr, CLSCTX_INPROC_SERVER,
                                             IID_PPV_ARGS(registrar.GetAddressOf()));
  if (FAILED(created)) return created;
  const std::wstring path = ModulePath();
  registrar->AddReplacement(L"MODULE", QuotedForScript(path).c_str());
  registrar->AddReplacement(L"APPID", kApplicationId);
  return direction == Direction::kRegister ? registrar->ResourceRegister(path.c_str(), script, kScriptType)
                                           : registrar->ResourceUnregister(path.c_str(), script, kScriptType);
}

}  // namespace

HRESULT RegisterServer() {
  const ComScope com;
  const SystemLocaleScope locale;
  HRESULT result = RunScript(QIVO_SCRIPT_APP_ID, Direction::kRegister);
  for (const ObjectMapEntry& entry : ObjectMap()) {
    if (SUCCEEDED(result)) result = RunScript(entry.registrarScript, Direction::kRegister);
  }
  return result;
}

HRESULT UnregisterServer() {
  const ComScope com;
  const SystemLocaleScope locale;
  HRESULT result = S_OK;
  for (const ObjectMapEntry& entry : ObjectMap()) {
    const HRESULT removed = RunScript(entry.registrarScript, Direction::kUnregister);
    if (SUCCEEDED(result)) result = removed;
  }
  const HRESULT removed = RunScript(QIVO_SCRIPT_APP_ID, Direction::kUnregister);
  RemoveRegistryLeftovers();
  return SUCCEEDED(result) ? removed : result;
}

}  // namespace qmf
