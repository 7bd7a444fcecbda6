#pragma once

#include <cstdint>

#include "framework/QueryTable.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {

/// Answers a query on editions and chapters, those of the selected edition. A broken Chapters element gives
/// QMF_ERR_QF3_PARSE_CHAPTERS, an index that is not there QMF_ERR_INDEX_OUT_OF_RANGE, any other identifier
/// QMF_ERR_UNSUPPORTED_QID.
QMFResult AnswerMkvChapterQuery(MkvSegment& segment, const QueryCall& call);

/// Selects an edition, or allows or forbids its order, by the same results.
QMFResult SetMkvChapterInfo(MkvSegment& segment, std::uint32_t qid, const QMFQueryData& data);

}  // namespace qmf
