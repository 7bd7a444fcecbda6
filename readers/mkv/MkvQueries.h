#pragma once

#include <cstdint>

#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"
#include "readers/mkv/MkvTitle.h"

namespace qmf {

/// Answers a query on a title. What needs a selected title gives QMF_FAILURE without one, a stream that does
/// not exist QMF_ERR_INVALID_STREAM, an identifier that the reader does not answer QMF_ERR_UNSUPPORTED_QID.
QMFResult AnswerMkvQuery(MkvTitle& title, std::uint32_t qid, QMFQueryData& data, std::uint32_t index);

/// Switches what a query identifier names. Others than the supported ones give QMF_ERR_UNSUPPORTED_QID.
QMFResult SetMkvInfo(MkvTitle& title, std::uint32_t qid, QMFQueryData& data, std::uint32_t index);

}  // namespace qmf
