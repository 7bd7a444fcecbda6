#pragma once

#include <cstdint>

#include "framework/QueryTable.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {

/// Answers a query on tags. Broken tags give QMF_ERR_QF3_PARSE_TAGS, a tag, target or simple tag that is not
/// there QMF_ERR_INDEX_OUT_OF_RANGE, a binary value that the file does not hold QMF_ERR_FILE_CORRUPT, any
/// other identifier QMF_ERR_UNSUPPORTED_QID.
QMFResult AnswerMkvTagQuery(MkvSegment& segment, const QueryCall& call);

/// Makes a tag, and its first simple tag, or a simple tag with its tag, the ones that queries speak of, by
/// the same results.
QMFResult SetMkvTagInfo(MkvSegment& segment, std::uint32_t qid, const QMFQueryData& data);

}  // namespace qmf
