#pragma once

#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"
#include "readers/avi/AviContainer.h"

namespace qmf {

/// Key frames of the video around a place in it. The record holds a frame number or a time (100-ns units) and
/// receives that of the key frame; without one, QMF_ERR_END_OF_STREAM.

/// The closest key frame at or before a frame.
QMFResult AnswerAviPrevSyncPoint(AviContainer& container, QMFQueryData& data);

/// The closest key frame behind a frame. With the cacheless index it is looked up in the OpenDML index of the
/// file, and an index that cannot be read is QMF_FAILURE.
QMFResult AnswerAviNextSyncPoint(AviContainer& container, QMFQueryData& data);

/// The same by time. An index that cannot be used gives QMF_ERR_PROCESS_INDEX_FAILED where nothing else
/// tells; looking ahead of what was read so far in a file without index is QMF_ERR_INDEX_INCOMPLETE.
QMFResult AnswerAviPrevSyncTime(AviContainer& container, QMFQueryData& data);
QMFResult AnswerAviNextSyncTime(AviContainer& container, QMFQueryData& data);

}  // namespace qmf
