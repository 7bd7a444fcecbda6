#include "readers/mp4/Mp4Demuxer.h"

#include "framework/ReturnIf.h"
#include "readers/mp4/Mp4Queries.h"

namespace qmf {

QMFResult CMP4Demuxer::SetTitle(std::uint32_t titleIndex) {
  if (titleIndex != 0) return QMF_ERR_INVALID_TITLE_INDEX;
  m_blocks.reset();
  m_title.emplace(m_memory);
  const QMFResult result = m_title->Read(m_file);
  if (IsFailure(result)) {
    m_title.reset();
  } else {
    m_blocks.emplace(*m_title);
  }
  return result;
}

QMFResult CMP4Demuxer::GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  return AnswerMp4Query(m_title ? &*m_title : nullptr, m_blocks ? &*m_blocks : nullptr, qid, data, index);
}

QMFResult CMP4Demuxer::SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time) {
  return m_blocks ? m_blocks->SetPosition(blockType, stream, time) : QMF_FAILURE;
}

QMFResult CMP4Demuxer::SetTitleActiveStream(std::uint32_t blockType, std::uint32_t stream,
                                            std::uint32_t active) {
  return m_blocks ? m_blocks->SetActive(blockType, stream, active != 0) : QMF_FAILURE;
}

QMFResult CMP4Demuxer::ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                                     std::int64_t& time) {
  return m_blocks ? m_blocks->ReadNext(blockType, stream, block, time) : QMF_FAILURE;
}

QMFResult CMP4Demuxer::ReadNextBlockByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block,
                                             std::int64_t& time) {
  return m_blocks ? m_blocks->ReadNextOf(blockType, stream, block, time) : QMF_FAILURE;
}

}  // namespace qmf
