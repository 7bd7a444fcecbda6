#include "readers/mkv/MkvTagQueries.h"

#include <algorithm>

#include "framework/ReturnIf.h"
#include "readers/mkv/MkvRecords.h"
#include "readers/mkv/MkvSections.h"

namespace qmf {
namespace {

struct Query : QueryCall {
  const MkvSegment& segment;
  const MkvTags& tags;
};

std::uint32_t Clamped(std::uint64_t size) {
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(size, UINT32_MAX));
}

// Bytes of a text with its terminator; a text that the file lacks has none.
std::uint32_t BytesOf(std::u16string_view text) {
  return text.empty() ? 0 : Clamped((text.size() + 1) * sizeof(char16_t));
}

QMFResult Count(const Query& query) {
  return query.Number(query.tags.tags.size());
}

QMFResult HasTags(const Query& query) {
  return query.Number(query.tags.tags.empty() ? 0 : 1);
}

// Target `index` of the current tag. UIDs take all of the value's 64 bits.
template <std::pmr::vector<std::uint64_t> MkvTag::*targets>
QMFResult Target(const Query& query) {
  if (query.tags.currentTag >= query.tags.tags.size()) return QMF_ERR_INDEX_OUT_OF_RANGE;
  const auto& uids = query.tags.tags[query.tags.currentTag].*targets;
  return query.index < uids.size() ? query.Number(uids[query.index]) : QMF_ERR_INDEX_OUT_OF_RANGE;
}

template <auto answer>
QMFResult OfCurrent(const Query& query) {
  const std::uint32_t id = query.tags.currentSimpleTag;
  return id < query.tags.simpleTags.size() ? answer(query, query.tags.simpleTags[id])
                                           : QMF_ERR_INDEX_OUT_OF_RANGE;
}

template <auto text>
QMFResult TextSize(const Query& query, const MkvSimpleTag& simple) {
  return query.Number(BytesOf(simple.*text));
}

template <auto text>
QMFResult Text(const Query& query, const MkvSimpleTag& simple) {
  return query.Text(simple.*text);
}

QMFResult BinarySize(const Query& query, const MkvSimpleTag& simple) {
  return query.Number(Clamped(simple.binarySize));
}

QMFResult Binary(const Query& query, const MkvSimpleTag& simple) {
  const std::uint32_t room = query.data.size;
  query.data.size = Clamped(simple.binarySize);
  if (simple.binarySize != 0) {
    if (query.data.pointer == nullptr || room < simple.binarySize) return QMF_ERR_BUFFER_TOO_SMALL;
    QMF_RETURN_IF_NONZERO(CopyFromMkv(query.segment, simple.binaryOffset, query.data.pointer,
                                      static_cast<std::size_t>(simple.binarySize)));
  }
  query.data.type = kValueRecord;
  return QMF_OK;
}

QMFResult ChildId(const Query& query, const MkvSimpleTag& simple) {
  const std::uint32_t child = query.tags.FindChild(simple.tag, query.tags.currentSimpleTag, query.index);
  return child != MkvSimpleTag::kNone ? query.Number(child) : QMF_ERR_INDEX_OUT_OF_RANGE;
}

QMFResult Info(const Query& query, std::uint32_t id) {
  if (id >= query.tags.simpleTags.size()) return QMF_ERR_INDEX_OUT_OF_RANGE;
  const MkvSimpleTag& simple = query.tags.simpleTags[id];
  QMFSimpleTagInfo info{};
  info.id = id;
  info.parentId = simple.parent;
  info.tagIndex = simple.tag;
  info.childCount = query.tags.ChildCount(id);
  info.nameSize = BytesOf(simple.name);
  info.stringSize = BytesOf(simple.text);
  info.languageSize = BytesOf(simple.language);
  info.binarySize = Clamped(simple.binarySize);
  info.targetTypeValue = static_cast<std::uint32_t>(query.tags.tags[simple.tag].targetTypeValue);
  info.flags = simple.original ? 1 : 0;
  return query.SizedRecord(info);
}

QMFResult InfoById(const Query& query) {
  return Info(query, query.index);
}

// Of those directly in the current tag.
QMFResult InfoByIndex(const Query& query) {
  return Info(query, query.tags.FindChild(query.tags.currentTag, MkvSimpleTag::kNone, query.index));
}

constexpr QueryRow<Query> kQueries[] = {
    {QMF_QID_TAGS_GET_NUMTAGS, Count},
    {QMF_QID_TAGS_GET_INFO, HasTags},
    {QMF_QID_TAGS_GET_TAG_TARGET_TRACK, Target<&MkvTag::tracks>},
    {QMF_QID_TAGS_GET_TAG_TARGET_EDITION, Target<&MkvTag::editions>},
    {QMF_QID_TAGS_GET_TAG_TARGET_CHAPTER, Target<&MkvTag::chapters>},
    {QMF_QID_TAGS_GET_TAG_TARGET_ATTACHMENT, Target<&MkvTag::attachments>},
    {QMF_QID_TAGS_GET_SIMPLETAG_NAME_SIZE, OfCurrent<TextSize<&MkvSimpleTag::name>>},
    {QMF_QID_TAGS_GET_SIMPLETAG_NAME, OfCurrent<Text<&MkvSimpleTag::name>>},
    {QMF_QID_TAGS_GET_SIMPLETAG_STRING_SIZE, OfCurrent<TextSize<&MkvSimpleTag::text>>},
    {QMF_QID_TAGS_GET_SIMPLETAG_STRING, OfCurrent<Text<&MkvSimpleTag::text>>},
    {QMF_QID_TAGS_GET_SIMPLETAG_LANGUAGE_SIZE, OfCurrent<TextSize<&MkvSimpleTag::language>>},
    {QMF_QID_TAGS_GET_SIMPLETAG_LANGUAGE, OfCurrent<Text<&MkvSimpleTag::language>>},
    {QMF_QID_TAGS_GET_SIMPLETAG_BINARY_SIZE, OfCurrent<BinarySize>},
    {QMF_QID_TAGS_GET_SIMPLETAG_BINARY, OfCurrent<Binary>},
    {QMF_QID_TAGS_GET_SIMPLETAG_CHILDID, OfCurrent<ChildId>},
    {QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, InfoByIndex},
    {QMF_QID_TAGS_GET_SIMPLETAGINFO_BYID, InfoById},
};

QMFResult SelectTag(MkvTags& tags, std::uint32_t tag) {
  if (tag >= tags.tags.size()) return QMF_ERR_INDEX_OUT_OF_RANGE;
  tags.currentTag = tag;
  tags.currentSimpleTag = tags.FindChild(tag, MkvSimpleTag::kNone, 0);
  return QMF_OK;
}

QMFResult SelectSimpleTag(MkvTags& tags, std::uint32_t id) {
  if (id >= tags.simpleTags.size()) return QMF_ERR_INDEX_OUT_OF_RANGE;
  tags.currentSimpleTag = id;
  tags.currentTag = tags.simpleTags[id].tag;
  return QMF_OK;
}

}  // namespace

QMFResult AnswerMkvTagQuery(MkvSegment& segment, const QueryCall& call) {
  const auto* const row = FindQueryRow(kQueries, call.qid);
  if (row == nullptr) return QMF_ERR_UNSUPPORTED_QID;
  const MkvTags& tags = MkvTagsOf(segment);
  return tags.result != QMF_OK ? tags.result : row->answer({call, segment, tags});
}

QMFResult SetMkvTagInfo(MkvSegment& segment, std::uint32_t qid, const QMFQueryData& data) {
  if (qid != QMF_QID_TAGS_SET_CURRENTTAGIDX && qid != QMF_QID_TAGS_SET_SIMPLETAGID)
    return QMF_ERR_UNSUPPORTED_QID;
  MkvTags& tags = MkvTagsOf(segment);
  QMF_RETURN_IF_NONZERO(tags.result);
  const auto number = static_cast<std::uint32_t>(data.value);
  return qid == QMF_QID_TAGS_SET_CURRENTTAGIDX ? SelectTag(tags, number) : SelectSimpleTag(tags, number);
}

}  // namespace qmf
