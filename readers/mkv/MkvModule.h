#pragma once

#include "framework/ModuleInterface.h"

namespace qmf {

extern const QMFModuleDescriptor kMkvModule;

}  // namespace qmf
