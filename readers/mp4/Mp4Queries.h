#pragma once

#include "readers/mp4/Mp4Demuxer.h"

namespace qmf {

/// Answers a query from a file whose title is selected. QMF_ERR_UNSUPPORTED_QID for identifiers that the
/// module does not serve, QMF_ERR_INVALID_STREAM for a stream that the title does not have.
QMFResult AnswerMp4Query(CMP4Demuxer& demuxer, std::uint32_t qid, QMFQueryData& data, std::uint32_t index);

}  // namespace qmf
