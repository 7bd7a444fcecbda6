#pragma once

#include <atomic>

#include "propertyhandler/ServerModule.h"

namespace qmf {

/// Creates objects of one row of the object map. The module keeps one reference to it for good; only the
/// references that others hold keep the library loaded.
class ClassFactory final : public IClassFactory {
 public:
  /// A factory with the module's reference; null when memory is exhausted.
  static ClassFactory* Create(const ObjectMapEntry& entry);

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
  STDMETHODIMP LockServer(BOOL lock) override;

 private:
  explicit ClassFactory(const ObjectMapEntry& entry) : m_entry(entry) {}
  ~ClassFactory() = default;

  const ObjectMapEntry& m_entry;
  std::atomic<ULONG> m_references{1};
};

}  // namespace qmf
