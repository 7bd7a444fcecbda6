#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "framework/Allocator.h"
#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"

namespace qmf {

/// What a module says of itself. Only `values[0]` has a meaning to the framework: 0 means that the module
/// never wins a bid.
struct QMFModuleHeader {
  std::int32_t values[6];
  const char16_t* extensions;
  const char16_t* description;
};

/// A module's opened file. Owned by the module between its OpenContainer and CloseContainer.
using QMFModuleHandle = void*;

/// An entry point without a name. A valid handle gives 0, a null one -2.
using QMFUnnamedEntryPoint = QMFResult (*)(QMFModuleHandle);

/// The 35 slots. A null slot is reported to callers as QMF_ERR_NULL_MODULE_FUNC. Times are 100-ns units;
/// paths are zero-terminated UTF-16.
struct QMFModuleEntryPoints {
  QMFUnnamedEntryPoint slot0{};
  const QMFModuleHeader* (*GetModuleHeader)() = nullptr;
  /// 0 when the module can judge the file; the higher the score, the surer it is.
  QMFResult (*ProbeContainer)(std::int32_t* score, const char16_t* path, QMFAllocator*) = nullptr;
  QMFResult (*OpenContainer)(QMFModuleHandle*, const char16_t* path, QMFAllocator*) = nullptr;
  QMFUnnamedEntryPoint slots4to6[3]{};
  QMFResult (*CloseContainer)(QMFModuleHandle) = nullptr;
  QMFResult (*SetTitle)(QMFModuleHandle, std::uint32_t titleIndex) = nullptr;
  QMFResult (*SetMenu)(QMFModuleHandle, std::uint32_t menuIndex) = nullptr;
  QMFResult (*GetInfo)(QMFModuleHandle, std::uint32_t qid, QMFQueryData*, std::uint32_t index) = nullptr;
  QMFResult (*SetPosition)(QMFModuleHandle, std::uint32_t blockType, std::uint32_t stream,
                           std::int64_t* time) = nullptr;
  QMFResult (*SetTitleActiveStream)(QMFModuleHandle, std::uint32_t blockType, std::uint32_t stream,
                                    std::uint32_t active) = nullptr;
  QMFResult (*ReadNextBlock)(QMFModuleHandle, std::uint32_t* blockType, std::uint32_t* stream, QMFBlock*,
                             std::int64_t* time) = nullptr;
  QMFResult (*ReadNextBlockByStream)(QMFModuleHandle, std::uint32_t blockType, std::uint32_t stream,
                                     QMFBlock*, std::int64_t* time) = nullptr;
  QMFResult (*WriteNextBlock)(QMFModuleHandle, std::uint32_t blockType, std::int64_t time,
                              std::uint32_t stream, const QMFBlock*) = nullptr;
  QMFResult (*AddStream)(QMFModuleHandle, std::uint32_t blockType, std::uint32_t* streamOfType) = nullptr;
  QMFResult (*SetInfo)(QMFModuleHandle, std::uint32_t qid, QMFQueryData*, std::uint32_t index) = nullptr;
  QMFResult (*AddTitle)(QMFModuleHandle, std::uint32_t* titleId) = nullptr;
  QMFUnnamedEntryPoint slots19to27[9]{};
  QMFUnnamedEntryPoint slots28to30[3]{};
  QMFResult (*FinishTitle)(QMFModuleHandle) = nullptr;
  QMFUnnamedEntryPoint slots32to33[2]{};
  QMFUnnamedEntryPoint slot34{};
};
inline constexpr std::size_t kModuleSlotCount = 35;
static_assert(sizeof(QMFModuleEntryPoints) == kModuleSlotCount * sizeof(void*));
static_assert(offsetof(QMFModuleEntryPoints, GetInfo) == 10 * sizeof(void*));
static_assert(offsetof(QMFModuleEntryPoints, SetInfo) == 17 * sizeof(void*));
static_assert(offsetof(QMFModuleEntryPoints, FinishTitle) == 31 * sizeof(void*));

/// One constant record a module.
struct QMFModuleDescriptor {
  std::int32_t moduleId;  ///< 1 to 18.
  const QMFModuleHeader* header;
  const QMFModuleEntryPoints* entryPoints;
};

inline constexpr std::int32_t kFirstModuleId = 1;
inline constexpr std::int32_t kLastModuleId = 18;

enum QMFModuleId : std::int32_t {
  kModuleAvi = 0x0A,
  kModuleMkv = 0x0C,
  kModuleSrt = 0x0E,
  kModuleAvc = 0x0F,
  kModuleMp4 = 0x10,
  kModuleAac = 0x11,
  kModuleLogging = 0x12,
};

/// The modules of this program, defined by whoever assembles it (readers/ModuleList.cpp).
extern const std::span<const QMFModuleDescriptor* const> kModuleList;

}  // namespace qmf
