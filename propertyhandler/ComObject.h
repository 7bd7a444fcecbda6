#pragma once

#include <objbase.h>
#include <wrl/client.h>

#include <atomic>
#include <new>

#include "propertyhandler/ServerModule.h"

namespace qmf {

/// The border that no exception crosses: `call` runs, and whatever it throws becomes E_FAIL.
template <class Call>
HRESULT AtComBorder(Call&& call) noexcept {
  try {
    return call();
  } catch (...) {
    return E_FAIL;
  }
}

/// A COM object with the given interfaces, in this order; the first one is its identity. Free-threaded, and
/// holding one lock of the module while it lives. Derived classes leave the references alone: objects begin
/// with one for their creator.
template <class First, class... Rest>
class ComObject : public First, public Rest... {
 public:
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    if (iid == __uuidof(IMarshal) && m_marshaler != nullptr) return m_marshaler->QueryInterface(iid, out);
    *out = Find(iid);
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }

  STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }

  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
  }

 protected:
  ComObject() {
    Module().Lock();
    (void)::CoCreateFreeThreadedMarshaler(static_cast<First*>(this), m_marshaler.GetAddressOf());
  }
  virtual ~ComObject() {
    m_marshaler.Reset();
    Module().Unlock();
  }

 private:
  void* Find(REFIID iid) {
    void* found = iid == __uuidof(IUnknown) ? static_cast<First*>(this) : nullptr;
    Match<First>(iid, found);
    (Match<Rest>(iid, found), ...);
    return found;
  }

  template <class Interface>
  void Match(REFIID iid, void*& found) {
    if (found == nullptr && iid == __uuidof(Interface)) found = static_cast<Interface*>(this);
  }

  std::atomic<ULONG> m_references{1};
  /// Hands every apartment of the process the object itself. The class is registered as free-threaded, so
  /// threads of single-threaded apartments would otherwise call through proxies, which not every platform has
  /// for these interfaces.
  Microsoft::WRL::ComPtr<IUnknown> m_marshaler;
};

/// Creates an object and hands it out as interface `iid`: what the object map calls.
template <class Object>
HRESULT CreateComObject(REFIID iid, void** out) noexcept {
  auto* const object = new (std::nothrow) Object;
  if (object == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = object->QueryInterface(iid, out);
  object->Release();
  return result;
}

}  // namespace qmf
