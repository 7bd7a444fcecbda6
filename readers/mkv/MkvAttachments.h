#pragma once

#include <cstdint>
#include <memory_resource>
#include <string>
#include <vector>

#include "framework/QueryTable.h"
#include "readers/mkv/EbmlReader.h"

namespace qmf {

struct MkvSegment;

/// A file inside the file. Its data stay there; only where they stand is kept.
struct MkvAttachment {
  explicit MkvAttachment(QMFAllocator* memory) : name(memory), description(memory), mimeType(memory) {}

  std::uint64_t uid = 0;
  std::pmr::u16string name;
  std::pmr::u16string description;
  std::pmr::u16string mimeType;
  std::uint64_t offset = 0;  ///< Of the data in the file.
  std::uint64_t size = 0;    ///< Of the data, in bytes.
};

/// A segment's attachments.
struct MkvAttachments {
  explicit MkvAttachments(QMFAllocator* memory) : files(memory) {}

  std::pmr::vector<MkvAttachment> files;
  QMFResult result = QMF_OK;  ///< Of reading them: QMF_ERR_QF3_PARSE_ATTACHMENTS when they are broken.
};

/// The segment's attachments, read at the first call.
const MkvAttachments& MkvAttachmentsOf(MkvSegment& segment);

/// Answers a query on attachments and on the links of tracks to them. `index` counts attachments, or tracks
/// of a kind. An attachment that is not there gives QMF_ERR_INDEX_OUT_OF_RANGE, a track
/// QMF_ERR_INVALID_STREAM, a link QMF_ERR_ATTACHMENT_LINK_INVALID, any other identifier
/// QMF_ERR_UNSUPPORTED_QID.
QMFResult AnswerMkvAttachmentQuery(MkvSegment& segment, const QueryCall& call);

}  // namespace qmf
