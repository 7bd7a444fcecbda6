#include "readers/mkv/MkvChapterQueries.h"

#include <algorithm>

#include "framework/QueryTable.h"
#include "framework/ReturnIf.h"
#include "readers/mkv/MkvChapters.h"
#include "readers/mkv/MkvRecords.h"

namespace qmf {
namespace {

constexpr std::uint64_t kNanosecondsPerUnit = 100;

struct Query : QueryCall {
  const MkvSegment& segment;

  const MkvEdition* Edition() const { return segment.SelectedEdition(); }
  const MkvChapter* Chapter() const {
    const MkvEdition* const edition = Edition();
    return edition != nullptr && index < edition->chapters.size() ? &edition->chapters[index] : nullptr;
  }
};

template <auto answer>
QMFResult OfChapter(const Query& query) {
  const MkvChapter* const chapter = query.Chapter();
  return chapter != nullptr ? answer(query, *chapter) : QMF_ERR_INDEX_OUT_OF_RANGE;
}

QMFResult EditionCount(const Query& query) {
  return query.Number(query.segment.editions.size());
}

QMFResult EditionProp(const Query& query) {
  if (query.index >= query.segment.editions.size()) return QMF_ERR_INDEX_OUT_OF_RANGE;
  const MkvEdition& edition = query.segment.editions[query.index];
  const bool ordered = (edition.flags & MkvEdition::kOrdered) != 0;
  return query.SizedRecord(
      QMFPlaylistProp{edition.uid, ordered ? edition.OrderedDuration() / kNanosecondsPerUnit : 0,
                      edition.flags, static_cast<std::uint32_t>(edition.chapters.size())});
}

QMFResult EditionOrdered(const Query& query) {
  const MkvEdition* const edition = query.Edition();
  if (edition == nullptr) return QMF_ERR_INDEX_OUT_OF_RANGE;
  return query.Number((edition->flags & MkvEdition::kOrdered) != 0 ? 1 : 0);
}

QMFResult ChapterCount(const Query& query) {
  return query.Number(query.Edition() != nullptr ? query.Edition()->chapters.size() : 0);
}

QMFResult ChapterProp(const Query& query, const MkvChapter& chapter) {
  QMFChapterProp prop{};
  prop.uid = chapter.uid;
  prop.start = chapter.start / kNanosecondsPerUnit;
  prop.end = chapter.end.value_or(0) / kNanosecondsPerUnit;
  prop.segmentEdition = chapter.segmentEdition;
  std::ranges::copy(chapter.segmentUid.value_or(MkvSegmentUid{}), prop.segmentUid);
  prop.flags = (chapter.hidden ? 1U : 0U) | (chapter.enabled ? 2U : 0U);
  prop.level = chapter.level;
  return query.SizedRecord(prop);
}

// Whether there is a chapter `index`, so that chapters can be walked without knowing their number.
QMFResult ChapterExists(const Query& query) {
  return query.Number(query.Chapter() != nullptr ? 1 : 0);
}

QMFResult ChapterName(const Query& query, const MkvChapter& chapter) {
  return AnswerText(query.data, query.qid, chapter.name);
}

QMFResult ChapterStart(const Query& query, const MkvChapter& chapter) {
  return query.Number(chapter.start / kNanosecondsPerUnit);
}

QMFResult ChapterEnd(const Query& query, const MkvChapter& chapter) {
  return query.Number(chapter.end.value_or(0) / kNanosecondsPerUnit);
}

QMFResult ChapterHidden(const Query& query, const MkvChapter& chapter) {
  return query.Number(chapter.hidden ? 1 : 0);
}

// Up to eight letters, the first in the lowest byte.
std::uint64_t PackedCode(std::u16string_view code) {
  std::uint64_t packed = 0;
  for (std::size_t i = std::min<std::size_t>(code.size(), sizeof(packed)); i > 0; --i) {
    packed = packed << 8 | (code[i - 1] & 0x7FU);
  }
  return packed;
}

QMFResult ChapterLanguage(const Query& query, const MkvChapter& chapter) {
  return query.Number(PackedCode(chapter.language));
}

QMFResult ChapterCountry(const Query& query, const MkvChapter& chapter) {
  return query.Number(PackedCode(chapter.country));
}

constexpr QueryRow<Query> kQueries[] = {
    {QMF_QID_PLAYLISTS_GET_COUNT, EditionCount},
    {QMF_QID_PLAYLISTS_GET_PROP, EditionProp},
    {QMF_QID_EDITION_ORDERED, EditionOrdered},
    {QMF_QID_EDITIONENTRY_GET_COUNT, ChapterCount},
    {QMF_QID_EDITIONENTRY_GET_PROP, OfChapter<ChapterProp>},
    {QMF_QID_CHAPTERS_BEGIN, ChapterExists},
    {QMF_QID_CHAPTERS_CHAPTER_NAME, OfChapter<ChapterName>},
    {QMF_QID_CHAPTERS_CHAPTER_STARTTIME, OfChapter<ChapterStart>},
    {QMF_QID_CHAPTERS_CHAPTER_ENDTIME, OfChapter<ChapterEnd>},
    {QMF_QID_CHAPTERS_CHAPTER_HIDDEN, OfChapter<ChapterHidden>},
    {QMF_QID_CHAPTERS_CHAPTER_LANG, OfChapter<ChapterLanguage>},
    {QMF_QID_CHAPTERS_CHAPTER_COUNTRY, OfChapter<ChapterCountry>},
};

}  // namespace

QMFResult AnswerMkvChapterQuery(MkvSegment& segment, const QueryCall& call) {
  const auto* const row = FindQueryRow(kQueries, call.qid);
  if (row == nullptr) return QMF_ERR_UNSUPPORTED_QID;
  QMF_RETURN_IF_NONZERO(ReadMkvChapters(segment));
  return row->answer({call, segment});
}

QMFResult SetMkvChapterInfo(MkvSegment& segment, std::uint32_t qid, const QMFQueryData& data) {
  switch (qid) {
    case QMF_QID_PLAYLISTS_SET_PLAYLIST_IDX:
    case QMF_QID_EDITIONENTRY_SET_PLAYLIST_IDX: {
      QMF_RETURN_IF_NONZERO(ReadMkvChapters(segment));
      const auto edition = static_cast<std::uint32_t>(data.value);
      if (edition >= segment.editions.size()) return QMF_ERR_INDEX_OUT_OF_RANGE;
      segment.selectedPlaylist = edition;
      return QMF_OK;
    }
    case QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG:
      segment.allowOrdered = static_cast<std::uint8_t>(data.value) != 0;
      return QMF_OK;
    default:
      return QMF_ERR_UNSUPPORTED_QID;
  }
}

}  // namespace qmf
