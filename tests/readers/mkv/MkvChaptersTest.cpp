#include "readers/mkv/MkvChapters.h"

#include <gtest/gtest.h>

#include <cstring>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using test::MkvFile;
using Bytes = EbmlBuilder::Bytes;

constexpr std::uint64_t kSecond = 1'000'000'000;

EbmlBuilder Atom(std::uint64_t uid, std::uint64_t start, std::uint64_t end, const EbmlBuilder& more = {}) {
  return EbmlBuilder().Master(Element::ChapterAtom, EbmlBuilder()
                                                        .Unsigned(Element::ChapterUid2, uid)
                                                        .Unsigned(Element::ChapterTimeStart, start * kSecond)
                                                        .Unsigned(Element::ChapterTimeEnd, end * kSecond)
                                                        .Raw(more.Done()));
}

EbmlBuilder Display(std::string_view name, std::string_view language) {
  return EbmlBuilder().Master(Element::ChapterDisplay, EbmlBuilder()
                                                           .Text(Element::ChapString, name)
                                                           .Text(Element::ChapLanguage, language)
                                                           .Text(Element::ChapCountry, "at"));
}

EbmlBuilder Edition(std::uint64_t uid, Element flag, const EbmlBuilder& atoms) {
  return EbmlBuilder().Master(
      Element::EditionEntry,
      EbmlBuilder().Unsigned(Element::EditionUid2, uid).Unsigned(flag, 1).Raw(atoms.Done()));
}

// A plain edition and an ordered one of 10 + 5 seconds.
EbmlBuilder Chapters() {
  const EbmlBuilder plain = Edition(71, Element::EditionFlagHidden, Atom(1, 0, 100));
  const EbmlBuilder inner = Atom(11, 2, 3);
  const EbmlBuilder other = EbmlBuilder()
                                .Binary(Element::ChapterSegmentUid, {9, 8, 7})
                                .Unsigned(Element::ChapterSegmentEditionUid, 5)
                                .Unsigned(Element::ChapterFlagHidden, 1);
  const EbmlBuilder atoms =
      EbmlBuilder()
          .Raw(Atom(10, 0, 10,
                    EbmlBuilder(inner).Raw(Display("Eins", "ger").Done()).Raw(Display("One", "eng").Done()))
                   .Done())
          .Raw(Atom(12, 20, 25, other).Done())
          .Raw(Atom(13, 30, 90, EbmlBuilder().Unsigned(Element::ChapterFlagEnabled, 0)).Done());
  return EbmlBuilder().Master(Element::Chapters,
                              EbmlBuilder(plain).Raw(Edition(72, Element::EditionFlagOrdered, atoms).Done()));
}

EbmlBuilder ChapteredFilm(const EbmlBuilder& chapters) {
  return test::Header().Master(
      Element::Segment,
      EbmlBuilder().Raw(test::Info().Done()).Master(Element::Tracks, {}).Raw(chapters.Done()).Void(50));
}

template <class Record>
Record RecordOf(MkvFile& film, std::uint32_t qid, std::uint32_t index) {
  const Bytes bytes = film.Bytes(qid, index);
  Record record{};
  if (bytes.size() >= sizeof(record)) std::memcpy(&record, bytes.data(), sizeof(record));
  return record;
}

TEST(MkvChapters, AreToldByEdition) {
  MkvFile film(ChapteredFilm(Chapters()));
  EXPECT_EQ(film.Number(QMF_QID_PLAYLISTS_GET_COUNT), 2U);
  const auto plain = RecordOf<QMFPlaylistProp>(film, QMF_QID_PLAYLISTS_GET_PROP, 0);
  EXPECT_EQ(plain.uid, 71U);
  EXPECT_EQ(plain.flags, MkvEdition::kHidden);
  EXPECT_EQ(plain.duration, 0U);
  const auto ordered = RecordOf<QMFPlaylistProp>(film, QMF_QID_PLAYLISTS_GET_PROP, 1);
  EXPECT_EQ(ordered.flags, MkvEdition::kOrdered);
  EXPECT_EQ(ordered.duration, 150'000'000U);
  EXPECT_EQ(ordered.chapterCount, 4U);
  EXPECT_EQ(film.ResultOf(QMF_QID_PLAYLISTS_GET_PROP, 2), QMF_ERR_INDEX_OUT_OF_RANGE);

  EXPECT_EQ(film.Number(QMF_QID_EDITIONENTRY_GET_COUNT), 1U);
  EXPECT_EQ(film.Set(QMF_QID_PLAYLISTS_SET_PLAYLIST_IDX, 2), QMF_ERR_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(film.Set(QMF_QID_PLAYLISTS_SET_PLAYLIST_IDX, 1), QMF_OK);
  EXPECT_EQ(film.Number(QMF_QID_EDITION_ORDERED), 1U);
  EXPECT_EQ(film.Number(QMF_QID_EDITIONENTRY_GET_COUNT), 4U);
  EXPECT_EQ(film.Number(QMF_QID_CHAPTERS_BEGIN, 3), 1U);
  EXPECT_EQ(film.Number(QMF_QID_CHAPTERS_BEGIN, 4), 0U);
  EXPECT_EQ(film.Number(QMF_QID_CHAPTERS_CHAPTER_STARTTIME, 2), 200'000'000U);
  EXPECT_EQ(film.Number(QMF_QID_CHAPTERS_CHAPTER_ENDTIME, 1), 30'000'000U);
  EXPECT_EQ(film.Number(QMF_QID_CHAPTERS_CHAPTER_HIDDEN, 2), 1U);
  EXPECT_EQ(film.Number(QMF_QID_CHAPTERS_CHAPTER_LANG, 0), std::uint64_t{'g' | 'e' << 8 | 'r' << 16});
  EXPECT_EQ(film.Number(QMF_QID_CHAPTERS_CHAPTER_COUNTRY, 0), std::uint64_t{'a' | 't' << 8});
  EXPECT_EQ(film.Text(QMF_QID_CHAPTERS_CHAPTER_NAME, 0), u"Eins");
  EXPECT_EQ(film.ResultOf(QMF_QID_CHAPTERS_CHAPTER_NAME, 4), QMF_ERR_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(RecordOf<QMFChapterProp>(film, QMF_QID_EDITIONENTRY_GET_PROP, 1).level, 1U);
  const auto other = RecordOf<QMFChapterProp>(film, QMF_QID_EDITIONENTRY_GET_PROP, 2);
  EXPECT_EQ(other.uid, 12U);
  EXPECT_EQ(other.flags, 3U);
  EXPECT_EQ(other.segmentUid[2], 7U);
  EXPECT_EQ(other.segmentUid[3], 0U);
  EXPECT_EQ(other.segmentEdition, 5U);
}

TEST(MkvChapters, MakeTheDurationWhenTheirOrderIsPlayed) {
  MkvFile film(ChapteredFilm(Chapters()));
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), 54'000'000'000U);
  EXPECT_EQ(film.Set(QMF_QID_EDITIONENTRY_SET_PLAYLIST_IDX, 1), QMF_OK);
  // The other segment's five seconds are not to be had.
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), 100'000'000U);
  EXPECT_EQ(film.Set(QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG, 0), QMF_OK);
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), 54'000'000'000U);
  // The default edition is selected from the start.
  MkvFile chosen(ChapteredFilm(EbmlBuilder().Master(
      Element::Chapters,
      EbmlBuilder()
          .Raw(Edition(1, Element::EditionFlagHidden, Atom(1, 0, 1)).Done())
          .Raw(Edition(2, Element::EditionFlagOrdered, Atom(1, 0, 7).Unsigned(Element::EditionFlagDefault, 1))
                   .Done()))));
  EXPECT_EQ(chosen.Number(QMF_QID_TITLE_DURATION), 70'000'000U);
}

TEST(MkvChapters, ThatAreAbsentOrBrokenChangeNothing) {
  MkvFile none(ChapteredFilm({}));
  EXPECT_EQ(none.Number(QMF_QID_PLAYLISTS_GET_COUNT), 0U);
  EXPECT_EQ(none.ResultOf(QMF_QID_EDITION_ORDERED), QMF_ERR_INDEX_OUT_OF_RANGE);
  // Deeper than chapters are followed; a UID of 17 bytes.
  EbmlBuilder deep = Atom(0, 0, 1);
  for (int i = 0; i < 40; ++i) deep = Atom(0, 0, 1, deep);
  for (const EbmlBuilder& atom :
       {deep, Atom(0, 0, 1, EbmlBuilder().Binary(Element::ChapterSegmentUid, Bytes(17)))}) {
    MkvFile broken(ChapteredFilm(
        EbmlBuilder().Master(Element::Chapters, Edition(1, Element::EditionFlagOrdered, atom))));
    EXPECT_EQ(broken.ResultOf(QMF_QID_PLAYLISTS_GET_COUNT), QMF_ERR_QF3_PARSE_CHAPTERS);
    EXPECT_EQ(broken.Number(QMF_QID_TITLE_DURATION), 54'000'000'000U);
  }
}

}  // namespace
}  // namespace qmf
