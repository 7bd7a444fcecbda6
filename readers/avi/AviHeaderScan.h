#pragma once

#include <cstdint>

#include "framework/ResultCodes.h"
#include "readers/avi/AviContainer.h"

namespace qmf {

/// What a walk met on its way.
struct AviScanFlags {
  bool hdrlSeen = false;
  bool moviFound = false;
  bool indexSeen = false;    ///< Of either kind.
  bool headersDone = false;  ///< A 'hdrl' was read to its end.
};

/// The result of a walk that met no fault: the first thing that is missing, else 0.
QMFResult AviScanVerdict(const AviScanFlags& flags);

/// Walks the RIFF of title `index` (OpenDML AVI File Format Extensions 1.02) and fills `container.title`.
/// Nothing happens, with result 0, when the title is the current one, does not exist, or cannot be located.
/// A fault leaves what was read before it in the title; until the stream headers are complete there is no
/// current title. QMF_ERR_NO_INDEX_FOUND is a warning: the title is usable.
QMFResult ScanAviHeaders(AviContainer& container, std::uint32_t index);

/// Reads the second protection record of the current title where it stands behind AVI 2.0 extensions.
QMFResult ScanAviExtensionsForMeta(AviContainer& container);

}  // namespace qmf
