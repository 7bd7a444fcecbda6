#include "readers/mkv/MkvChapters.h"

#include <gtest/gtest.h>

#include <cstring>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

constexpr std::uint64_t kSecond = 1'000'000'000;

Bytes Atom(std::uint64_t uid, std::uint64_t start, std::uint64_t end, const Bytes& more = {}) {
  return Put(E::ChapterAtom, Unsigned(E::ChapterUid2, uid) + Unsigned(E::ChapterTimeStart, start * kSecond) +
                                 Unsigned(E::ChapterTimeEnd, end * kSecond) + more);
}

Bytes Display(std::string_view name, std::string_view language) {
  return Put(E::ChapterDisplay,
             Text(E::ChapString, name) + Text(E::ChapLanguage, language) + Text(E::ChapCountry, "at"));
}

Bytes Edition(std::uint64_t uid, Element flag, const Bytes& atoms) {
  return Put(E::EditionEntry, Unsigned(E::EditionUid2, uid) + Unsigned(flag, 1) + atoms);
}

Bytes ChapteredFilm(const Bytes& editions) {
  return Segment(Info() + Put(E::Tracks, {}) + Put(E::Chapters, editions) + Void(50));
}

// A plain edition and an ordered one of 10 + 5 seconds.
Bytes TwoEditions() {
  const Bytes other = Put(E::ChapterSegmentUid, {9, 8, 7}) + Unsigned(E::ChapterSegmentEditionUid, 5) +
                      Unsigned(E::ChapterFlagHidden, 1);
  return ChapteredFilm(
      Edition(71, E::EditionFlagHidden, Atom(1, 0, 100)) +
      Edition(72, E::EditionFlagOrdered,
              Atom(10, 0, 10, Atom(11, 2, 3) + Display("Eins", "ger") + Display("One", "eng")) +
                  Atom(12, 20, 25, other) + Atom(13, 30, 90, Unsigned(E::ChapterFlagEnabled, 0))));
}

template <class Record>
Record RecordOf(MkvFile& film, std::uint32_t qid, std::uint32_t index) {
  const Bytes bytes = film.Answer(qid, index);
  Record record{};
  if (bytes.size() >= sizeof(record)) std::memcpy(&record, bytes.data(), sizeof(record));
  return record;
}

TEST(MkvChapters, AreToldByEdition) {
  MkvFile film(TwoEditions());
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
  const std::tuple<std::uint32_t, std::uint32_t, std::uint64_t> numbers[] = {
      {QMF_QID_EDITION_ORDERED, 0, 1},
      {QMF_QID_EDITIONENTRY_GET_COUNT, 0, 4},
      {QMF_QID_CHAPTERS_BEGIN, 3, 1},
      {QMF_QID_CHAPTERS_BEGIN, 4, 0},
      {QMF_QID_CHAPTERS_CHAPTER_STARTTIME, 2, 200'000'000},
      {QMF_QID_CHAPTERS_CHAPTER_ENDTIME, 1, 30'000'000},
      {QMF_QID_CHAPTERS_CHAPTER_HIDDEN, 2, 1},
      {QMF_QID_CHAPTERS_CHAPTER_LANG, 0, 'g' | 'e' << 8 | 'r' << 16},
      {QMF_QID_CHAPTERS_CHAPTER_COUNTRY, 0, 'a' | 't' << 8},
  };
  for (const auto& [qid, index, number] : numbers)
    EXPECT_EQ(film.Number(qid, index), number) << std::hex << qid;
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
  MkvFile film(TwoEditions());
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), 54'000'000'000U);
  EXPECT_EQ(film.Set(QMF_QID_EDITIONENTRY_SET_PLAYLIST_IDX, 1), QMF_OK);
  // The other segment's five seconds are not to be had.
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), 100'000'000U);
  EXPECT_EQ(film.Set(QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG, 0), QMF_OK);
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), 54'000'000'000U);
  // The default edition is selected from the start.
  MkvFile chosen(
      ChapteredFilm(Edition(1, E::EditionFlagHidden, Atom(1, 0, 1)) +
                    Edition(2, E::EditionFlagOrdered, Atom(1, 0, 7) + Unsigned(E::EditionFlagDefault, 1))));
  EXPECT_EQ(chosen.Number(QMF_QID_TITLE_DURATION), 70'000'000U);
}

TEST(MkvChapters, ThatAreAbsentOrBrokenChangeNothing) {
  MkvFile none(ChapteredFilm({}));
  EXPECT_EQ(none.Number(QMF_QID_PLAYLISTS_GET_COUNT), 0U);
  EXPECT_EQ(none.ResultOf(QMF_QID_EDITION_ORDERED), QMF_ERR_INDEX_OUT_OF_RANGE);
  // Deeper than chapters are followed; a UID of 17 bytes.
  Bytes deep = Atom(0, 0, 1);
  for (int i = 0; i < 40; ++i) deep = Atom(0, 0, 1, deep);
  for (const Bytes& atom : {deep, Atom(0, 0, 1, Put(E::ChapterSegmentUid, Bytes(17)))}) {
    MkvFile broken(ChapteredFilm(Edition(1, E::EditionFlagOrdered, atom)));
    EXPECT_EQ(broken.ResultOf(QMF_QID_PLAYLISTS_GET_COUNT), QMF_ERR_QF3_PARSE_CHAPTERS);
    EXPECT_EQ(broken.Number(QMF_QID_TITLE_DURATION), 54'000'000'000U);
  }
}

}  // namespace
}  // namespace qmf::test
