#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>
#include <span>

namespace qmf {

/// A class that the library can create.
struct ObjectMapEntry {
  const CLSID* classId;
  UINT registrarScript;  ///< Resource number.
  HRESULT (*createInstance)(REFIID iid, void** out) noexcept;
};

/// The creatable classes of this library.
std::span<const ObjectMapEntry> ObjectMap();

/// What the library is as a COM server: its lock count and its class factories.
class CQivoPropertyHandlerModule {
 public:
  constexpr CQivoPropertyHandlerModule() = default;
  CQivoPropertyHandlerModule(const CQivoPropertyHandlerModule&) = delete;
  CQivoPropertyHandlerModule& operator=(const CQivoPropertyHandlerModule&) = delete;

  /// Called when the library is loaded. `instance` is the library itself.
  void Initialize(HINSTANCE instance);
  /// Called when the library is unloaded.
  void Terminate();

  HINSTANCE Instance() const { return m_instance; }

  /// Keeps the library loaded until the matching Unlock.
  void Lock() { ++m_locks; }
  void Unlock() { --m_locks; }

  /// S_OK when nothing holds a lock, else S_FALSE.
  HRESULT CanUnloadNow() const { return m_locks == 0 ? S_OK : S_FALSE; }

  /// The class factory of `classId`, made at the first request. E_UNEXPECTED before Initialize,
  /// CLASS_E_CLASSNOTAVAILABLE for a class that is not in the object map.
  HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** out);

 private:
  static constexpr std::size_t kMaxClasses = 1;

  HRESULT FactoryOf(const ObjectMapEntry& entry, IClassFactory*& factory);

  HINSTANCE m_instance = nullptr;
  bool m_initialised = false;
  CRITICAL_SECTION m_criticalSection{};
  std::atomic<LONG> m_locks{0};
  IClassFactory* m_factories[kMaxClasses]{};  ///< In the object map's order; guarded by the critical section.
};

/// The library's one module.
CQivoPropertyHandlerModule& Module();

}  // namespace qmf
