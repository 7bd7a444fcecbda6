#pragma once

#include "readers/mp4/Mp4Blocks.h"

namespace qmf {

/// Answers a query from the selected title, or with QMF_FAILURE while both pointers are null.
/// QMF_ERR_UNSUPPORTED_QID for identifiers that the module does not serve, QMF_ERR_INVALID_STREAM for a
/// stream that the title does not have.
QMFResult AnswerMp4Query(CMP4Title* title, CMP4Blocks* blocks, std::uint32_t qid, QMFQueryData& data,
                         std::uint32_t index);

}  // namespace qmf
