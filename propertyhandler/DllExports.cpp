#include "propertyhandler/DllExports.h"

#include <iterator>

#include "framework/LogWriter.h"
#include "propertyhandler/ComObject.h"
#include "propertyhandler/ProxyStub.h"
#include "propertyhandler/Registration.h"
#include "propertyhandler/RuntimeLeftovers.h"
#include "propertyhandler/ServerModule.h"
#include "propertyhandler/ShellNotice.h"

namespace {

// The current folder belongs to whoever loads the library, so the log goes where temporary files go.
void ChooseLogFolder() {
  wchar_t folder[MAX_PATH + 1];
  const DWORD length = ::GetTempPathW(static_cast<DWORD>(std::size(folder)), folder);
  const bool fits = length > 0 && length < std::size(folder);
  if (!fits || qmf::SetLogFolder({reinterpret_cast<const char16_t*>(folder), length}) != qmf::QMF_OK) {
    qmf::SetLogOff();
  }
}

}  // namespace

// The entry points of the library. Each asks the proxy and stub of our own interface first, then the module.

STDAPI DllCanUnloadNow() {
  const HRESULT proxy = PrxDllCanUnloadNow();
  return proxy == S_OK ? qmf::Module().CanUnloadNow() : proxy;
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID iid, LPVOID* out) {
  if (out != nullptr && PrxDllGetClassObject(classId, iid, out) == S_OK) return S_OK;
  return qmf::Module().GetClassObject(classId, iid, out);
}

STDAPI DllRegisterServer() {
  const HRESULT result = qmf::AtComBorder(qmf::RegisterServer);
  if (FAILED(result)) return result;
  const HRESULT proxy = PrxDllRegisterServer();
  qmf::TellShellOfChange();
  return proxy;
}

STDAPI DllUnregisterServer() {
  const HRESULT result = qmf::AtComBorder(qmf::UnregisterServer);
  const HRESULT proxy = PrxDllUnregisterServer();
  qmf::TellShellOfChange();
  return SUCCEEDED(result) ? proxy : result;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID processEnds) {
  if (!PrxDllMain(instance, reason, processEnds)) return FALSE;
  if (reason == DLL_PROCESS_ATTACH) {
    qmf::Module().Initialize(instance);
    ChooseLogFolder();
    // The thread that unloads the library may be another.
    qmf::FreeThreadLeftovers(instance);
  }
  // At the end of a process the other threads are gone, perhaps in the middle of something: touch nothing.
  if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) {
    qmf::Module().Terminate();
    qmf::FreeThreadLeftovers(instance);
    qmf::FreeExceptionLeftovers();
  }
  return TRUE;
}
