#pragma once

#include "framework/QueryTable.h"
#include "readers/avi/AviContainer.h"

namespace qmf {

/// Answers a query. What concerns a title gives QMF_FAILURE and leaves the record as it was while no title is
/// current; a stream that the title does not have is QMF_ERR_INVALID_STREAM. What the reader does not serve
/// is passed on to the menu, and is QMF_ERR_UNSUPPORTED_QID without one.
QMFResult AnswerAviQuery(AviContainer& container, const QueryCall& call);

/// Sets one of the container's flags; everything else is QMF_ERR_UNSUPPORTED_QID.
QMFResult SetAviInfo(AviContainer& container, std::uint32_t qid, const QMFQueryData& data);

}  // namespace qmf
