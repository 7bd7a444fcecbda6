#include "tools/shellprops/HandlerClass.h"

#include <objbase.h>
#include <propertyhandler/QivoPropertyHandler.h>  // Generated from the interface definition.

namespace qmf {

using Microsoft::WRL::ComPtr;

namespace {

HRESULT LastError() {
  return HRESULT_FROM_WIN32(::GetLastError());
}

}  // namespace

HRESULT HandlerClass::CreateByLibrary(ComPtr<IUnknown>& object) const {
  // Stays loaded until the program ends.
  const HMODULE library = ::LoadLibraryW(reinterpret_cast<const wchar_t*>(m_library.c_str()));
  if (library == nullptr) return LastError();
  const auto getClassObject =
      reinterpret_cast<decltype(&::DllGetClassObject)>(::GetProcAddress(library, "DllGetClassObject"));
  if (getClassObject == nullptr) return LastError();
  ComPtr<IClassFactory> factory;
  const HRESULT result = getClassObject(CLSID_QivoPropertyHandlerObj, IID_PPV_ARGS(factory.GetAddressOf()));
  if (FAILED(result)) return result;
  return factory->CreateInstance(nullptr, IID_PPV_ARGS(object.ReleaseAndGetAddressOf()));
}

HRESULT HandlerClass::Create(ComPtr<IUnknown>& object) const {
  if (!m_library.empty()) return CreateByLibrary(object);
  return ::CoCreateInstance(CLSID_QivoPropertyHandlerObj, nullptr, CLSCTX_INPROC_SERVER,
                            IID_PPV_ARGS(object.ReleaseAndGetAddressOf()));
}

}  // namespace qmf
