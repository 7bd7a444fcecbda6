#include "framework/ModuleTable.h"

#include <array>

namespace qmf {
namespace {

// Indexed by module id; index 0 is never filled.
using Registry = std::array<const QMFModuleDescriptor*, kLastModuleId + 1>;

Registry FillRegistry() {
  Registry registry{};
  for (const QMFModuleDescriptor* module : kModuleList)
    registry[static_cast<std::size_t>(module->moduleId)] = module;
  return registry;
}

}  // namespace

const QMFModuleDescriptor* FindModule(std::int32_t moduleId) {
  static const Registry registry = FillRegistry();
  if (moduleId < kFirstModuleId || moduleId > kLastModuleId) return nullptr;
  return registry[static_cast<std::size_t>(moduleId)];
}

const char* ModuleName(std::int32_t moduleId) {
  switch (moduleId) {
    case kModuleAvi:
      return "AVI";
    case kModuleMkv:
      return "MKV";
    case kModuleSrt:
      return "SRT";
    case kModuleAvc:
      return "AVC";
    case kModuleMp4:
      return "MP4";
    case kModuleAac:
      return "AAC";
    case kModuleLogging:
      return "logging";
    default:
      return nullptr;
  }
}

}  // namespace qmf
