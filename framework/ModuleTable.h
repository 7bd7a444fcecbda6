#pragma once

#include <cstdint>

#include "framework/ModuleInterface.h"

namespace qmf {

/// The registered descriptor of `moduleId`, or null for an id outside 1 to 18 or without a module.
const QMFModuleDescriptor* FindModule(std::int32_t moduleId);

/// Short name of a module for people ("MKV"), or null for an id that no module has.
const char* ModuleName(std::int32_t moduleId);

}  // namespace qmf
