#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "framework/Container.h"
#include "propertyhandler/PropertyIds.h"

namespace qmf {

/// What the Shell gets to see of a file; a property without value is left out. The duration is in 100-ns
/// units (64 bits), the frame rate in frames per 1,000 seconds, the others as named; all but the duration are
/// 16 bits wide.
using PropertyValues = std::array<std::optional<std::uint64_t>, kPropertyCount>;

/// Asks a container with a selected title for the seven values. Queries that fail leave their values out;
/// when video stream 0 cannot be activated, only the duration is there, even for a file with audio.
/// Activating it is a side effect.
PropertyValues ReadPropertyValues(QMFContainer* container);

}  // namespace qmf
