#pragma once

#include <unknwn.h>

/// The platform's registrar, which runs registry scripts. The toolchain's headers do not declare it.
struct DECLSPEC_UUID("44EC053B-400F-11D0-9DCD-00A0C90391D3") IRegistrar : public IUnknown {
  /// %key% in a script stands for `item`.
  virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
  virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
  virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR module, LPCOLESTR name, LPCOLESTR type) = 0;
  virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR module, LPCOLESTR name,
                                                         LPCOLESTR type) = 0;
  virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR file) = 0;
  virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR file) = 0;
  virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR script) = 0;
  virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR script) = 0;
  /// Runs the script that is resource `number` of the library `module`.
  virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR module, UINT number, LPCOLESTR type) = 0;
  virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR module, UINT number, LPCOLESTR type) = 0;
};
__CRT_UUID_DECL(IRegistrar, 0x44EC053B, 0x400F, 0x11D0, 0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3)

namespace qmf {

inline constexpr CLSID kRegistrarClass = {
    0x44EC053A, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};

}  // namespace qmf
