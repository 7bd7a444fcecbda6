#pragma once

#include "framework/ModuleInterface.h"

namespace qmf {

// Modules whose reader does not exist yet. They describe themselves and never bid for a file.

namespace pending {

inline QMFResult ProbeContainer(std::int32_t* score, const char16_t*, QMFAllocator*) {
  if (score == nullptr) return QMF_NULL_ARGUMENT;
  *score = 0;
  return QMF_OK;
}

inline QMFResult OpenContainer(QMFModuleHandle* handle, const char16_t*, QMFAllocator*) {
  if (handle == nullptr) return QMF_NULL_ARGUMENT;
  *handle = nullptr;
  return QMF_ERR_UNSUPPORTED_CONTAINER;
}

template <const QMFModuleHeader& header>
inline constexpr QMFModuleEntryPoints kEntryPoints = {
    .slot0 = [](QMFModuleHandle) { return QMF_OK; },
    .GetModuleHeader = [] { return &header; },
    .ProbeContainer = ProbeContainer,
    .OpenContainer = OpenContainer,
};

inline constexpr QMFModuleHeader kMp4 = {
    {1, 0, 1, 0, 1, 0}, u".mp4, .mov", u"MP4 read module. Supports AVC and AAC in mp4."};

}  // namespace pending

inline constexpr QMFModuleDescriptor kPendingMp4Module = {kModuleMp4, &pending::kMp4,
                                                          &pending::kEntryPoints<pending::kMp4>};

}  // namespace qmf
