#include <algorithm>

#include "framework/QueryTable.h"
#include "framework/ReturnIf.h"
#include "readers/mkv/MkvAttachments.h"
#include "readers/mkv/MkvRecords.h"
#include "readers/mkv/MkvSections.h"

namespace qmf {
namespace {

struct Query : QueryCall {
  MkvSegment& segment;
};

template <auto answer>
QMFResult OfFile(const Query& query) {
  const MkvAttachments& attachments = MkvAttachmentsOf(query.segment);
  QMF_RETURN_IF_NONZERO(attachments.result);
  if (query.index >= attachments.files.size()) return QMF_ERR_INDEX_OUT_OF_RANGE;
  return answer(query, attachments.files[query.index]);
}

QMFResult Count(const Query& query) {
  const MkvAttachments& attachments = MkvAttachmentsOf(query.segment);
  QMF_RETURN_IF_NONZERO(attachments.result);
  return query.Number(attachments.files.size());
}

// In 32 bits; a larger size is told as the largest, the record has it whole.
QMFResult Size(const Query& query, const MkvAttachment& file) {
  return query.Number(std::min<std::uint64_t>(file.size, UINT32_MAX));
}

// The record alone, or with the data behind it where the caller's buffer has room for all of them.
QMFResult Info(const Query& query, const MkvAttachment& file) {
  QMFAttachmentInfo info{};
  info.uid = file.uid;
  info.size = file.size;
  CopyText(info.name, file.name);
  CopyText(info.description, file.description);
  CopyText(info.mimeType, file.mimeType);
  const std::uint32_t room = query.data.size;
  QMF_RETURN_IF_NONZERO(query.SizedRecord(info));
  if (room - sizeof(info) < file.size || file.size == 0) return QMF_OK;
  auto* const out = static_cast<std::uint8_t*>(query.data.pointer) + sizeof(info);
  const auto size = static_cast<std::size_t>(file.size);
  query.data.size += static_cast<std::uint32_t>(size);
  return CopyFromMkv(query.segment, file.offset, out, size);
}

template <MkvTrackType type, auto answer>
QMFResult OfTrack(const Query& query) {
  const auto& tracks = query.segment.tracks.Of(type);
  if (query.index >= tracks.size()) return QMF_ERR_INVALID_STREAM;
  return answer(query, tracks[query.index].attachmentLinks);
}

using Links = std::pmr::vector<std::uint64_t>;

QMFResult LinkCount(const Query& query, const Links& links) {
  return query.Number(links.size());
}

// The value says which of the track's links, the answer is the attachment's UID.
QMFResult Link(const Query& query, const Links& links) {
  if (query.data.value >= links.size()) return QMF_ERR_ATTACHMENT_LINK_INVALID;
  return query.Number(links[static_cast<std::size_t>(query.data.value)]);
}

constexpr QueryRow<Query> kQueries[] = {
    {QMF_QID_GET_ATTACHMENT_COUNT, Count},
    {QMF_QID_GET_ATTACHMENT_SIZE, OfFile<Size>},
    {QMF_QID_GET_ATTACHMENTINFO, OfFile<Info>},
    {QMF_QID_GET_VID_ATTACHMENT_LINK_COUNT, OfTrack<kTrackVideo, LinkCount>},
    {QMF_QID_GET_AUD_ATTACHMENT_LINK_COUNT, OfTrack<kTrackAudio, LinkCount>},
    {QMF_QID_GET_SUB_ATTACHMENT_LINK_COUNT, OfTrack<kTrackSubtitle, LinkCount>},
    {QMF_QID_GET_VID_ATTACHMENT_LINKS, OfTrack<kTrackVideo, Link>},
    {QMF_QID_GET_AUD_ATTACHMENT_LINKS, OfTrack<kTrackAudio, Link>},
    {QMF_QID_GET_SUB_ATTACHMENT_LINKS, OfTrack<kTrackSubtitle, Link>},
    {QMF_QID_GET_SUB_ATTACHMENT_LINK, OfTrack<kTrackSubtitle, Link>},
};

}  // namespace

QMFResult AnswerMkvAttachmentQuery(MkvSegment& segment, const QueryCall& call) {
  const auto* const row = FindQueryRow(kQueries, call.qid);
  return row == nullptr ? QMF_ERR_UNSUPPORTED_QID : row->answer({call, segment});
}

}  // namespace qmf
