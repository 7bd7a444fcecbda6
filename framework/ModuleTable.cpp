#include "framework/ModuleTable.h"

namespace qmf {

const QMFModuleDescriptor* FindModule(std::int32_t moduleId) {
  for (const QMFModuleDescriptor* module : kModuleList) {
    if (module->moduleId == moduleId) return module;
  }
  return nullptr;
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
