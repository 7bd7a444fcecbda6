#pragma once

#include "framework/ModuleInterface.h"

namespace qmf {

extern const QMFModuleDescriptor kMp4Module;

}  // namespace qmf
