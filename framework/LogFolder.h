#pragma once

#include <string_view>

#include "framework/ResultCodes.h"

namespace qmf {

/// The folder in which the logs of containers opened from now on are written, for the whole process; empty
/// for the current folder, where they go when nobody chooses.
QMFResult SetLogFolder(std::u16string_view folder);

/// Containers opened from now on write no log.
void SetLogOff();

}  // namespace qmf
