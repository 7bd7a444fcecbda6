#include "readers/mkv/MkvAttachments.h"

#include "readers/mkv/MkvSections.h"

namespace qmf {
namespace {

constexpr EbmlLimits kLimits = {.elements = 100'000, .bytesRead = 4U << 20, .bytesKept = 4U << 20};

QMFResult NoteData(MkvAttachment& file, EbmlReader&, const EbmlElement& element) {
  file.offset = element.payload;
  file.size = element.Size();
  return QMF_OK;
}

constexpr EbmlRule<MkvAttachment> kFileRules[] = {
    {Element::FileUid, ReadInto<&MkvAttachment::uid>},
    {Element::AttachedFileName, ReadInto<&MkvAttachment::name>},
    {Element::FileDescription, ReadInto<&MkvAttachment::description>},
    {Element::FileMimeType, ReadInto<&MkvAttachment::mimeType>},
    {Element::FileData, NoteData},
};

QMFResult ReadFile(MkvAttachments& attachments, EbmlReader& reader, const EbmlElement& element) {
  QMF_RETURN_IF_NONZERO(reader.Keep(sizeof(MkvAttachment)));
  MkvAttachment file(reader.Memory());
  QMF_RETURN_IF_NONZERO(WalkInto<kFileRules>(file, reader, element));
  attachments.files.push_back(std::move(file));
  return QMF_OK;
}

constexpr EbmlRule<MkvAttachments> kAttachmentsRules[] = {
    {Element::AttachedFile, ReadFile},
};

}  // namespace

const MkvAttachments& MkvAttachmentsOf(MkvSegment& segment) {
  if (!segment.attachments) {
    MkvAttachments& attachments = segment.attachments.emplace(segment.memory);
    attachments.result = ReadMkvSection<kAttachmentsRules>(segment, kSectionAttachments, kLimits,
                                                           QMF_ERR_QF3_PARSE_ATTACHMENTS, attachments);
  }
  return *segment.attachments;
}

}  // namespace qmf
