#include "propertyhandler/ServerModule.h"

#include <propertyhandler/QivoPropertyHandler.h>  // Generated from the interface definition.

#include "propertyhandler/CQivoPropertyHandlerObj.h"
#include "propertyhandler/ClassFactory.h"
#include "propertyhandler/Resources.h"

namespace qmf {
namespace {

constexpr ObjectMapEntry kObjectMap[] = {
    {&CLSID_QivoPropertyHandlerObj, QIVO_SCRIPT_HANDLER, CreateComObject<CQivoPropertyHandlerObj>},
};

constinit CQivoPropertyHandlerModule theModule;

class CriticalSectionLock {
 public:
  explicit CriticalSectionLock(CRITICAL_SECTION& section) : m_section(section) {
    ::EnterCriticalSection(&m_section);
  }
  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;
  ~CriticalSectionLock() { ::LeaveCriticalSection(&m_section); }

 private:
  CRITICAL_SECTION& m_section;
};

}  // namespace

std::span<const ObjectMapEntry> ObjectMap() {
  return kObjectMap;
}

CQivoPropertyHandlerModule& Module() {
  return theModule;
}

void CQivoPropertyHandlerModule::Initialize(HINSTANCE instance) {
  m_instance = instance;
  ::InitializeCriticalSection(&m_criticalSection);
  m_initialised = true;
}

void CQivoPropertyHandlerModule::Terminate() {
  if (!m_initialised) return;
  m_initialised = false;
  for (IClassFactory*& factory : m_factories) {
    if (factory != nullptr) factory->Release();
    factory = nullptr;
  }
  ::DeleteCriticalSection(&m_criticalSection);
}

HRESULT CQivoPropertyHandlerModule::FactoryOf(const ObjectMapEntry& entry, IClassFactory*& factory) {
  const CriticalSectionLock lock(m_criticalSection);
  IClassFactory*& cached = m_factories[&entry - kObjectMap];
  if (cached == nullptr) cached = ClassFactory::Create(entry);
  factory = cached;
  return cached != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CQivoPropertyHandlerModule::GetClassObject(REFCLSID classId, REFIID iid, void** out) {
  static_assert(std::size(kObjectMap) == kMaxClasses);
  if (!m_initialised) return E_UNEXPECTED;
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  for (const ObjectMapEntry& entry : kObjectMap) {
    if (*entry.classId != classId) continue;
    IClassFactory* factory = nullptr;
    const HRESULT result = FactoryOf(entry, factory);
    return SUCCEEDED(result) ? factory->QueryInterface(iid, out) : result;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace qmf
