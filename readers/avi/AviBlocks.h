#pragma once

#include <cstdint>

#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"
#include "readers/avi/AviContainer.h"

namespace qmf {

/// Switches delivery of a stream by ReadNextBlock on or off. All streams of a newly selected title are off.
/// QMF_ERR_INVALID_STREAM for a stream that the title does not have, QMF_FAILURE without a title.
QMFResult SetAviStreamActive(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                             bool active);

}  // namespace qmf
