#pragma once

#include "framework/InfoRecords.h"
#include "readers/avi/AviTitle.h"

namespace qmf {

/// The records that describe a stream. Rate, scale and the audio values are the file's, unchanged.
QMFVideoFormat MakeAviVideoFormat(const AviStream& stream);
QMFSubtitleFormat MakeAviSubtitleFormat(const AviStream& stream);
QMFAudioFormat MakeAviAudioFormat(const AviStream& stream);

}  // namespace qmf
