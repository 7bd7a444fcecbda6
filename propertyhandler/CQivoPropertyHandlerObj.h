#pragma once

#include <propertyhandler/QivoPropertyHandler.h>  // Generated from the interface definition.
#include <propsys.h>
#include <windows.h>
#include <wrl/client.h>

#include <atomic>
#include <memory>

#include "framework/Container.h"
#include "propertyhandler/ComObject.h"

namespace qmf {

struct ContainerCloser {
  void operator()(QMFContainer* container) const { (void)CloseContainer(container); }
};
using ContainerPtr = std::unique_ptr<QMFContainer, ContainerCloser>;

/// The Shell's read-only view of one media file. Initialize opens the file, asks the media framework for the
/// seven values and keeps them in the platform's in-memory store, which answers all reads from then on. The
/// file stays open, shared with readers, writers, renaming and deletion, until the object dies or is
/// initialised again. All methods may be called from any thread and apartment.
class CQivoPropertyHandlerObj final : public ComObject<IQivoPropertyHandlerObj, IPropertyStore,
                                                       IPropertyStoreCapabilities, IInitializeWithFile> {
 public:
  CQivoPropertyHandlerObj() = default;

  /// E_UNEXPECTED before Initialize, else the store's answer.
  STDMETHODIMP GetCount(DWORD* count) override;
  STDMETHODIMP GetAt(DWORD index, PROPERTYKEY* key) override;
  STDMETHODIMP GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;

  /// Always STG_E_ACCESSDENIED: nothing can be written.
  STDMETHODIMP SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override;
  STDMETHODIMP Commit() override;

  /// Always S_FALSE.
  STDMETHODIMP IsPropertyWritable(REFPROPERTYKEY key) override;

  /// Opens `filePath`, whatever `mode` says. E_FAIL when the framework cannot open it or select its title,
  /// E_UNEXPECTED without the platform's store; a value that cannot be had is left out of the store.
  STDMETHODIMP Initialize(LPCWSTR filePath, DWORD mode) override;

 private:
  using StorePtr = Microsoft::WRL::ComPtr<IPropertyStoreCache>;

  ~CQivoPropertyHandlerObj() override;

  HRESULT Open(const char16_t* path);
  HRESULT FillProperties(QMFContainer* container);
  StorePtr Store();
  void SetStore(StorePtr store);

  template <class Call>
  HRESULT AskStore(Call&& call);

  /// Guards the pointer only, for the moment of copying or exchanging it.
  SRWLOCK m_storeLock = SRWLOCK_INIT;
  StorePtr m_store;
  std::atomic<QMFContainer*> m_container{nullptr};
};

}  // namespace qmf
