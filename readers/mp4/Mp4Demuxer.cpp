#include "readers/mp4/Mp4Demuxer.h"

#include "framework/ReturnIf.h"
#include "readers/mp4/Mp4Queries.h"

namespace qmf {

QMFResult CMP4Demuxer::SetTitle(std::uint32_t titleIndex) {
  if (titleIndex != 0) return QMF_ERR_INVALID_TITLE_INDEX;
  m_title.emplace(m_memory);
  const QMFResult result = m_title->Read(m_file);
  if (IsFailure(result)) m_title.reset();
  return result;
}

QMFResult CMP4Demuxer::GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  return AnswerMp4Query(*this, qid, data, index);
}

}  // namespace qmf
