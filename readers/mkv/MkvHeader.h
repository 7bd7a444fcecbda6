#pragma once

#include "readers/mkv/MkvSegment.h"

namespace qmf {

/// Reads the EBML header at the start of the file and finds the segment behind it. Results as of
/// ReadMkvSegment.
QMFResult ReadMkvHeader(EbmlReader& reader, MkvSegment& segment);

}  // namespace qmf
