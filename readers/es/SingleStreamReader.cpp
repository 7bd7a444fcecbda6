#include "readers/es/SingleStreamReader.h"

#include "framework/QueryAnswer.h"

namespace qmf {
namespace {

// No block may be larger: a stream that never shows its next unit must not be read whole into memory.
constexpr std::uint64_t kMaxBlockSize = 256U << 20;

bool HoldsKind(std::uint32_t blockType, QMFStreamKind kind) {
  switch (blockType) {
    case kBlockVideo:
    case kBlockVideoAlternate:
      return kind == kStreamVideo;
    case kBlockAudio:
      return kind == kStreamAudio;
    case kBlockSubtitle:
    case kBlockSubtitleAlternate:
      return kind == kStreamSubtitle;
    default:
      return false;
  }
}

QMFBlockType BlockTypeOf(QMFStreamKind kind) {
  return kind == kStreamVideo ? kBlockVideo : kind == kStreamAudio ? kBlockAudio : kBlockSubtitle;
}

}  // namespace

bool SingleStreamReader::IsOurs(std::uint32_t blockType, std::uint32_t stream) const {
  return stream == 0 && HoldsKind(blockType, m_kind);
}

QMFResult SingleStreamReader::SetTitle(std::uint32_t titleIndex) {
  if (titleIndex != 0) return QMF_ERR_INVALID_TITLE_INDEX;
  Rewind();
  return QMF_OK;
}

QMFResult SingleStreamReader::SetTitleActiveStream(std::uint32_t blockType, std::uint32_t stream,
                                                   std::uint32_t active) {
  if (!IsOurs(blockType, stream)) return QMF_ERR_INVALID_STREAM;
  m_active = active != 0;
  return QMF_OK;
}

QMFResult SingleStreamReader::ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                                            std::int64_t& time) {
  if (!m_active) return QMF_ERR_END_OF_STREAM;
  blockType = BlockTypeOf(m_kind);
  stream = 0;
  return ReadNextBlockByStream(blockType, stream, block, time);
}

QMFResult SingleStreamReader::ReadNextBlockByStream(std::uint32_t blockType, std::uint32_t stream,
                                                    QMFBlock& block, std::int64_t& time) {
  if (!IsOurs(blockType, stream)) return QMF_ERR_INVALID_STREAM;
  const QMFResult result = ReadBlock(block);
  if (result == QMF_OK) time = block.time;
  return result;
}

QMFResult SingleStreamReader::SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time) {
  if (!IsOurs(blockType, stream)) return QMF_ERR_INVALID_STREAM;
  return Seek(time);
}

std::optional<QMFResult> SingleStreamReader::AnswerCounts(std::uint32_t qid, QMFQueryData& data) const {
  switch (qid) {
    case QMF_QID_NUM_CONTAINER_TITLE:
    case QMF_QID_NUM_TITLE_STREAMS:
      return AnswerNumber(data, qid, 1);
    case QMF_QID_NUM_ACTIVE_TITLE_STREAMS:
      return AnswerNumber(data, qid, m_active ? 1 : 0);
    case QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA:
    case QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA:
    case QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA:
    case QMF_QID_TOTAL_NUM_TITLEMEDIA_VIDEOMEDIA:
    case QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA:
    case QMF_QID_TOTAL_NUM_TITLEMEDIA_SUBTITLEMEDIA:
    case QMF_QID_MAX_SUPPORTED_VID_STREAMS:
    case QMF_QID_MAX_SUPPORTED_AUD_STREAMS:
    case QMF_QID_MAX_SUPPORTED_SUB_STREAMS:
      return AnswerNumber(data, qid, StreamKindOf(qid) == m_kind ? 1 : 0);
    case QMF_QID_GET_TITLE_MEDIA_PROP: {
      QMFTitleMediaProp prop{};
      prop.counts[m_kind - kStreamVideo] = 1;
      return AnswerRecord(data, prop);
    }
    default:
      return std::nullopt;
  }
}

QMFResult SingleStreamReader::DeliverFromFile(std::uint64_t offset, std::uint64_t size, QMFBlock& block) {
  if (size > kMaxBlockSize) return QMF_ERR_BLOCK_READ_FAILURE;
  block.required = static_cast<std::uint32_t>(size);
  if (block.capacity < size) return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  block.size = block.required;
  return File().ReadAt(offset, block.data, block.size) == size ? QMF_OK : QMF_ERR_BLOCK_READ_FAILURE;
}

}  // namespace qmf
