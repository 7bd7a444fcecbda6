#include "framework/LoggingModule.h"

#include <new>

#include "framework/FileReader.h"
#include "framework/ModuleBidding.h"
#include "framework/ModuleTable.h"
#include "framework/ReturnIf.h"

namespace qmf {
namespace {

constexpr QMFModuleHeader kHeader = {{1, 1, 1, 1, 1, 1}, u"logging", u"logging module."};

const QMFModuleHeader* Header() {
  return &kHeader;
}

struct LoggingInstance {
  QMFModuleHandle inner = nullptr;
  std::int32_t moduleId = 0;
  QMFAllocator* memory = nullptr;
};

const QMFModuleEntryPoints& RealModule(const LoggingInstance& instance) {
  return *FindModule(instance.moduleId)->entryPoints;
}

// Forwards slot `Slot` of the logging module to the same slot of the real one.
template <auto Slot>
struct Forward;

template <class... Parameters, QMFResult (*QMFModuleEntryPoints::*Slot)(QMFModuleHandle, Parameters...)>
struct Forward<Slot> {
  static QMFResult Call(QMFModuleHandle handle, Parameters... parameters) {
    if (handle == nullptr) return QMF_NULL_ARGUMENT;
    const auto& instance = *static_cast<LoggingInstance*>(handle);
    const auto real = RealModule(instance).*Slot;
    if (real == nullptr) return QMF_ERR_NULL_MODULE_FUNC;
    return real(instance.inner, parameters...);
  }
};

QMFResult ProbeContainer(std::int32_t* score, const char16_t*, QMFAllocator*) {
  if (score == nullptr) return QMF_NULL_ARGUMENT;
  *score = 0;
  return QMF_OK;
}

QMFResult OpenReal(LoggingInstance& instance, const char16_t* path, QMFAllocator* allocator) {
  const SharedFileScope oneOpening(path, instance.memory);
  QMF_RETURN_IF_NONZERO(SelectModule(path, allocator, instance.moduleId));
  const auto open = RealModule(instance).OpenContainer;
  if (open == nullptr) return QMF_ERR_NULL_MODULE_FUNC;
  return open(&instance.inner, path, allocator);
}

QMFResult OpenContainer(QMFModuleHandle* handle, const char16_t* path, QMFAllocator* allocator) {
  if (handle == nullptr || path == nullptr) return QMF_NULL_ARGUMENT;
  *handle = nullptr;
  try {
    LoggingInstance opening{.memory = AllocatorOrHeap(allocator)};
    std::pmr::polymorphic_allocator<> memory(opening.memory);
    auto* const instance = memory.new_object<LoggingInstance>(opening);
    const QMFResult result = OpenReal(*instance, path, allocator);
    if (IsFailure(result)) {
      memory.delete_object(instance);
    } else {
      *handle = instance;
    }
    return result;
  } catch (const std::bad_alloc&) {
    return QMF_OUT_OF_MEMORY;
  }
}

QMFResult CloseContainer(QMFModuleHandle handle) {
  const QMFResult result = Forward<&QMFModuleEntryPoints::CloseContainer>::Call(handle);
  if (handle == nullptr) return result;
  auto* const instance = static_cast<LoggingInstance*>(handle);
  std::pmr::polymorphic_allocator<>(instance->memory).delete_object(instance);
  return result;
}

template <auto Slot>
constexpr auto kForward = Forward<Slot>::Call;

constexpr QMFModuleEntryPoints EntryPoints() {
  using Slots = QMFModuleEntryPoints;
  Slots slots{};
  slots.GetModuleHeader = Header;
  slots.ProbeContainer = ProbeContainer;
  slots.OpenContainer = OpenContainer;
  slots.CloseContainer = CloseContainer;
  slots.SetTitle = kForward<&Slots::SetTitle>;
  slots.SetMenu = kForward<&Slots::SetMenu>;
  slots.GetInfo = kForward<&Slots::GetInfo>;
  slots.SetPosition = kForward<&Slots::SetPosition>;
  slots.SetTitleActiveStream = kForward<&Slots::SetTitleActiveStream>;
  slots.ReadNextBlock = kForward<&Slots::ReadNextBlock>;
  slots.ReadNextBlockByStream = kForward<&Slots::ReadNextBlockByStream>;
  slots.SetInfo = kForward<&Slots::SetInfo>;
  return slots;
}

constexpr QMFModuleEntryPoints kEntryPoints = EntryPoints();

}  // namespace

constexpr QMFModuleDescriptor kLoggingModule = {kModuleLogging, &kHeader, &kEntryPoints};

std::int32_t LoggedModuleId(QMFModuleHandle handle) {
  return handle == nullptr ? 0 : static_cast<LoggingInstance*>(handle)->moduleId;
}

}  // namespace qmf
