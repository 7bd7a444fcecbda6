#include "propertyhandler/ClassFactory.h"

#include <new>

namespace qmf {

ClassFactory* ClassFactory::Create(const ObjectMapEntry& entry) {
  return new (std::nothrow) ClassFactory(entry);
}

STDMETHODIMP ClassFactory::QueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(IClassFactory);
  *out = known ? static_cast<IClassFactory*>(this) : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) ClassFactory::AddRef() {
  const ULONG references = ++m_references;
  if (references == 2) Module().Lock();
  return references;
}

STDMETHODIMP_(ULONG) ClassFactory::Release() {
  const ULONG left = --m_references;
  if (left == 1) Module().Unlock();
  if (left == 0) delete this;
  return left;
}

STDMETHODIMP ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (outer != nullptr && iid != __uuidof(IUnknown)) return CLASS_E_NOAGGREGATION;
  return m_entry.createInstance(iid, out);
}

STDMETHODIMP ClassFactory::LockServer(BOOL lock) {
  lock ? Module().Lock() : Module().Unlock();
  return S_OK;
}

}  // namespace qmf
