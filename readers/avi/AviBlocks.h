#pragma once

#include <cstdint>

#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"
#include "readers/avi/AviContainer.h"

namespace qmf {

/// Reading of blocks. Every stream has its own position; ReadNextBlock delivers, of the active streams, the
/// block that comes first in the file. Times come from the stream headers: blocks are counted, and bytes of
/// audio of constant bit rate. An empty chunk stands for a frame that was left out: it takes its time and is
/// not delivered. All of it is QMF_FAILURE without a title and QMF_ERR_INVALID_STREAM for a
/// stream that the title does not have.

/// Switches delivery of a stream by ReadAviBlock on or off. All streams of a newly selected title are off.
QMFResult SetAviStreamActive(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                             bool active);

/// Moves to the last key frame (video) or block (audio, subtitles) that starts at or before `time`, or to the
/// first one, and says when it starts. The video, or the first audio stream of a title without video, takes
/// all other streams along to its place in the file; others move alone. QMF_ERR_END_OF_STREAM for a stream
/// without blocks.
QMFResult SetAviPosition(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                         std::int64_t& time);

/// Delivers the next block of the active streams, or QMF_ERR_END_OF_STREAM.
QMFResult ReadAviBlock(AviContainer& container, std::uint32_t& blockType, std::uint32_t& stream,
                       QMFBlock& block, std::int64_t& time);

/// Delivers the next block of one stream, active or not.
QMFResult ReadAviBlockOf(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                         QMFBlock& block, std::int64_t& time);

}  // namespace qmf
