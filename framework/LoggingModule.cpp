#include "framework/LoggingModule.h"

#include <array>
#include <new>
#include <utility>

#include "framework/FileReader.h"
#include "framework/LogWriter.h"
#include "framework/ModuleBidding.h"
#include "framework/ModuleTable.h"
#include "framework/ReturnIf.h"

namespace qmf {
namespace {

using Slots = QMFModuleEntryPoints;

constexpr QMFModuleHeader kHeader = {{1, 1, 1, 1, 1, 1}, u"logging", u"logging module."};

struct LoggingInstance {
  explicit LoggingInstance(QMFAllocator* allocator) : memory(allocator), log(allocator) {}

  QMFAllocator* const memory;
  QMFModuleHandle inner = nullptr;
  std::int32_t moduleId = 0;
  LogWriter log;
};

const Slots& RealModule(const LoggingInstance& instance) {
  return *FindModule(instance.moduleId)->entryPoints;
}

// How an argument appears in the log: numbers as they are, outputs by what they point to.
LogValue ToLogValue(std::uint32_t number) {
  return {static_cast<std::int32_t>(number)};
}
LogValue ToLogValue(std::int64_t number) {
  return {number};
}
LogValue ToLogValue(const std::uint32_t* number) {
  return number != nullptr ? ToLogValue(*number) : LogValue{};
}
LogValue ToLogValue(const std::int64_t* number) {
  return number != nullptr ? ToLogValue(*number) : LogValue{};
}
LogValue ToLogValue(const QMFBlock* block) {
  return {0, block};
}
LogValue ToLogValue(const QMFQueryData*) {
  return {};
}

struct CallTexts {
  std::u16string_view entry;
  std::u16string_view exit;
};

struct LoggedCalls {
#define QMF_LOGGED_CALL(name, entry, exit) static constexpr CallTexts name = {entry, exit};
#include "framework/LoggedCalls.inc"
#undef QMF_LOGGED_CALL
};

// Forwards a slot of this module to the same slot of the real one.
template <auto Slot>
struct Forward;

template <class... Parameters, QMFResult (*Slots::*Slot)(QMFModuleHandle, Parameters...)>
struct Forward<Slot> {
  template <const CallTexts& texts>
  static QMFResult Call(QMFModuleHandle handle, Parameters... parameters) {
    if (handle == nullptr) return QMF_NULL_ARGUMENT;
    auto& instance = *static_cast<LoggingInstance*>(handle);
    const auto real = RealModule(instance).*Slot;
    if (real == nullptr) return QMF_ERR_NULL_MODULE_FUNC;
    instance.log.Add(texts.entry, std::array{ToLogValue(parameters)..., LogValue{}});
    const QMFResult result = real(instance.inner, parameters...);
    instance.log.Add(texts.exit, std::array{ToLogValue(parameters)..., ToLogValue(std::uint32_t{result})});
    return result;
  }
};

// The real module's unnamed slot number `index`, reached by its place among the 35 pointers.
QMFUnnamedEntryPoint UnnamedSlot(const Slots& slots, std::size_t index) {
  if (index == 0) return slots.slot0;
  if (index <= 6) return slots.slots4to6[index - 4];
  if (index <= 27) return slots.slots19to27[index - 19];
  return slots.slots32to33[index - 32];
}

template <std::size_t index>
QMFResult ForwardUnnamed(QMFModuleHandle handle) {
  if (handle == nullptr) return QMF_NULL_ARGUMENT;
  const auto& instance = *static_cast<LoggingInstance*>(handle);
  const QMFUnnamedEntryPoint real = UnnamedSlot(RealModule(instance), index);
  return real != nullptr ? real(instance.inner) : QMF_ERR_NULL_MODULE_FUNC;
}

template <std::size_t first, std::size_t... offsets>
constexpr void ForwardRange(QMFUnnamedEntryPoint* slots, std::index_sequence<offsets...>) {
  ((slots[offsets] = ForwardUnnamed<first + offsets>), ...);
}

QMFResult ProbeContainer(std::int32_t* score, const char16_t*, QMFAllocator*) {
  if (score == nullptr) return QMF_NULL_ARGUMENT;
  *score = 0;
  return QMF_OK;
}

QMFResult OpenReal(LoggingInstance& instance, const char16_t* path, QMFAllocator* allocator) {
  const SharedFileScope oneOpening(path, instance.memory);
  QMF_RETURN_IF_NONZERO(SelectModule(path, allocator, instance.moduleId));
  const auto open = RealModule(instance).OpenContainer;
  return open != nullptr ? open(&instance.inner, path, allocator) : QMF_ERR_NULL_MODULE_FUNC;
}

void StartLog(LoggingInstance& instance, const char16_t* path) noexcept {
  try {
    if (!instance.log.Open()) return;
  } catch (const std::bad_alloc&) {
    return;
  }
  instance.log.AddOpened(path);
}

void Destroy(LoggingInstance* instance) {
  std::pmr::polymorphic_allocator<>(instance->memory).delete_object(instance);
}

QMFResult OpenInstance(LoggingInstance& instance, const char16_t* path, QMFAllocator* allocator) noexcept {
  try {
    const QMFResult result = OpenReal(instance, path, allocator);
    if (instance.moduleId != 0) StartLog(instance, path);
    return result;
  } catch (const std::bad_alloc&) {
    return QMF_OUT_OF_MEMORY;
  }
}

QMFResult OpenContainer(QMFModuleHandle* handle, const char16_t* path, QMFAllocator* allocator) {
  if (handle == nullptr || path == nullptr) return QMF_NULL_ARGUMENT;
  *handle = nullptr;
  LoggingInstance* instance = nullptr;
  try {
    std::pmr::polymorphic_allocator<> memory(AllocatorOrHeap(allocator));
    instance = memory.new_object<LoggingInstance>(memory.resource());
  } catch (const std::bad_alloc&) {
    return QMF_OUT_OF_MEMORY;
  }
  const QMFResult result = OpenInstance(*instance, path, allocator);
  if (IsFailure(result)) {
    Destroy(instance);
  } else {
    *handle = instance;
  }
  return result;
}

QMFResult CloseContainer(QMFModuleHandle handle) {
  const QMFResult result = Forward<&Slots::CloseContainer>::Call<LoggedCalls::CloseContainer>(handle);
  if (handle != nullptr) Destroy(static_cast<LoggingInstance*>(handle));
  return result;
}

constexpr Slots EntryPoints() {
  Slots slots;
#define QMF_LOGGED_CALL(name, entry, exit) slots.name = Forward<&Slots::name>::Call<LoggedCalls::name>;
#include "framework/LoggedCalls.inc"
#undef QMF_LOGGED_CALL
  slots.slot0 = ForwardUnnamed<0>;
  ForwardRange<4>(slots.slots4to6, std::make_index_sequence<3>());
  ForwardRange<19>(slots.slots19to27, std::make_index_sequence<9>());
  ForwardRange<32>(slots.slots32to33, std::make_index_sequence<2>());
  slots.GetModuleHeader = [] { return &kHeader; };
  slots.ProbeContainer = ProbeContainer;
  slots.OpenContainer = OpenContainer;
  slots.CloseContainer = CloseContainer;
  return slots;
}

constexpr Slots kEntryPoints = EntryPoints();

}  // namespace

constexpr QMFModuleDescriptor kLoggingModule = {kModuleLogging, &kHeader, &kEntryPoints};

std::int32_t LoggedModuleId(QMFModuleHandle handle) {
  return handle == nullptr ? 0 : static_cast<LoggingInstance*>(handle)->moduleId;
}

}  // namespace qmf
