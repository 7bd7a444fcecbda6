#pragma once

#include "framework/ModuleInterface.h"

namespace qmf {

/// The module that stands in front of every other: it chooses the real module for a file and forwards every
/// call to it.
extern const QMFModuleDescriptor kLoggingModule;

/// The id of the real module behind a handle of the logging module.
std::int32_t LoggedModuleId(QMFModuleHandle handle);

}  // namespace qmf
