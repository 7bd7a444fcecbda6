#include "propertyhandler/CQivoPropertyHandlerObj.h"

#include "propertyhandler/PropertyKeys.h"
#include "propertyhandler/PropertyValues.h"

namespace qmf {
namespace {

PROPVARIANT MakeVariant(VARTYPE type, std::uint64_t value) {
  PROPVARIANT variant{};
  variant.vt = type;
  // The narrower member lies on the low bytes of the wider one.
  variant.uhVal.QuadPart = value;
  return variant;
}

void WriteValues(IPropertyStore& store, const PropertyValues& values) {
  for (std::size_t property = 0; property < kPropertyCount; ++property) {
    if (!values[property]) continue;
    const auto& [key, type] = ShellPropertyOf(static_cast<PropertyId>(property));
    (void)store.SetValue(key, MakeVariant(type, *values[property]));
  }
}

}  // namespace

CQivoPropertyHandlerObj::~CQivoPropertyHandlerObj() {
  const ContainerPtr last(m_container.exchange(nullptr));
}

CQivoPropertyHandlerObj::StorePtr CQivoPropertyHandlerObj::Store() {
  ::AcquireSRWLockShared(&m_storeLock);
  StorePtr store = m_store;
  ::ReleaseSRWLockShared(&m_storeLock);
  return store;
}

void CQivoPropertyHandlerObj::SetStore(StorePtr store) {
  ::AcquireSRWLockExclusive(&m_storeLock);
  m_store.Swap(store);
  ::ReleaseSRWLockExclusive(&m_storeLock);
}

template <class Call>
HRESULT CQivoPropertyHandlerObj::AskStore(Call&& call) {
  const StorePtr store = Store();
  return store != nullptr ? call(*store.Get()) : E_UNEXPECTED;
}

STDMETHODIMP CQivoPropertyHandlerObj::GetCount(DWORD* count) {
  return AskStore([&](IPropertyStore& store) { return store.GetCount(count); });
}

STDMETHODIMP CQivoPropertyHandlerObj::GetAt(DWORD index, PROPERTYKEY* key) {
  return AskStore([&](IPropertyStore& store) { return store.GetAt(index, key); });
}

STDMETHODIMP CQivoPropertyHandlerObj::GetValue(REFPROPERTYKEY key, PROPVARIANT* value) {
  return AskStore([&](IPropertyStore& store) { return store.GetValue(key, value); });
}

STDMETHODIMP CQivoPropertyHandlerObj::SetValue(REFPROPERTYKEY, REFPROPVARIANT) {
  return STG_E_ACCESSDENIED;
}

STDMETHODIMP CQivoPropertyHandlerObj::Commit() {
  return STG_E_ACCESSDENIED;
}

STDMETHODIMP CQivoPropertyHandlerObj::IsPropertyWritable(REFPROPERTYKEY) {
  return S_FALSE;
}

STDMETHODIMP CQivoPropertyHandlerObj::Initialize(LPCWSTR filePath, DWORD) {
  return AtComBorder([&] { return Open(reinterpret_cast<const char16_t*>(filePath)); });
}

HRESULT CQivoPropertyHandlerObj::Open(const char16_t* path) {
  QMFContainer* container = nullptr;
  if (OpenContainer(&container, path, nullptr) != QMF_OK) return E_FAIL;
  ContainerPtr opened(container);
  const HRESULT result = SetTitle(container, 0) == QMF_OK ? FillProperties(container) : E_FAIL;
  // Only now, when nobody asks it any more, may another Initialize at the same time see and close it.
  const ContainerPtr previous(m_container.exchange(opened.release()));
  return result;
}

HRESULT CQivoPropertyHandlerObj::FillProperties(QMFContainer* container) {
  SetStore(nullptr);
  StorePtr store;
  const HRESULT created = ::CoCreateInstance(CLSID_InMemoryPropertyStore, nullptr, CLSCTX_ALL,
                                             IID_PPV_ARGS(store.GetAddressOf()));
  if (FAILED(created)) return E_UNEXPECTED;
  WriteValues(*store.Get(), ReadPropertyValues(container));
  SetStore(std::move(store));
  return S_OK;
}

}  // namespace qmf
