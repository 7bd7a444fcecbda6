#pragma once

#include "framework/QueryTable.h"
#include "readers/mkv/MkvTitle.h"

namespace qmf {

/// Answers a query on what a segment of the title names in other files: the files before and behind it, and
/// tracks that belong to its own. A track that names none gives QMF_ERR_STREAM_DNE, a stream that is not
/// there QMF_ERR_INVALID_STREAM, any other identifier QMF_ERR_UNSUPPORTED_QID.
QMFResult AnswerMkvLinkQuery(MkvTitle& title, const MkvSegment& segment, const QueryCall& call);

}  // namespace qmf
