#include "readers/mkv/MkvChapters.h"

#include <gtest/gtest.h>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

// A chapter by its times in seconds.
Bytes Atom(std::uint64_t uid, std::uint64_t start, std::uint64_t end, const Bytes& more = {}) {
  return Chapter(start * 1000, end * 1000, Unsigned(E::ChapterUid2, uid) + more);
}

Bytes Display(std::string_view name, std::string_view language) {
  return Put(E::ChapterDisplay,
             Text(E::ChapString, name) + Text(E::ChapLanguage, language) + Text(E::ChapCountry, "at"));
}

Bytes ChapteredFilm(const Bytes& editions) {
  return Segment(Info() + Put(E::Tracks, {}) + Put(E::Chapters, editions) + Void(50));
}

constexpr std::uint64_t kWholeFilm = 54'000'000'000;

// A plain edition and an ordered one of 10 + 5 seconds.
TEST(MkvChapters, AreToldByEditionAndMakeTheDurationWhenTheirOrderIsPlayed) {
  const Bytes other = Put(E::ChapterSegmentUid, {9, 8, 7}) + Unsigned(E::ChapterSegmentEditionUid, 5) +
                      Unsigned(E::ChapterFlagHidden, 1);
  MkvFile film(ChapteredFilm(
      Edition(71, E::EditionFlagHidden, Atom(1, 0, 100)) +
      Edition(72, E::EditionFlagOrdered,
              Atom(10, 0, 10, Atom(11, 2, 3) + Display("Eins", "ger") + Display("One", "eng")) +
                  Atom(12, 20, 25, other) + Atom(13, 30, 90, Unsigned(E::ChapterFlagEnabled, 0)))));
  film.Expect({{QMF_QID_PLAYLISTS_GET_COUNT, 0, 2},
               {QMF_QID_EDITIONENTRY_GET_COUNT, 0, 1},
               {QMF_QID_PLAYLISTS_GET_PROP, 2, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_TITLE_DURATION, 0, kWholeFilm}});
  const auto editionIs = [&](std::uint32_t index, const QMFPlaylistProp& expected) {
    const auto edition = film.Format<QMFPlaylistProp>(QMF_QID_PLAYLISTS_GET_PROP, index);
    EXPECT_EQ(std::tuple(edition.uid, edition.duration, edition.flags, edition.chapterCount),
              std::tuple(expected.uid, expected.duration, expected.flags, expected.chapterCount));
  };
  editionIs(0, {71, 0, MkvEdition::kHidden, 1});
  editionIs(1, {72, 150'000'000, MkvEdition::kOrdered, 4});

  EXPECT_EQ(film.Tell(QMF_QID_PLAYLISTS_SET_PLAYLIST_IDX, 2), QMF_ERR_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(film.Tell(QMF_QID_EDITIONENTRY_SET_PLAYLIST_IDX, 1), QMF_OK);
  film.Expect({{QMF_QID_EDITION_ORDERED, 0, 1},
               {QMF_QID_EDITIONENTRY_GET_COUNT, 0, 4},
               {QMF_QID_CHAPTERS_BEGIN, 3, 1},
               {QMF_QID_CHAPTERS_BEGIN, 4, 0},
               {QMF_QID_CHAPTERS_CHAPTER_STARTTIME, 2, 200'000'000},
               {QMF_QID_CHAPTERS_CHAPTER_ENDTIME, 1, 30'000'000},
               {QMF_QID_CHAPTERS_CHAPTER_HIDDEN, 2, 1},
               {QMF_QID_CHAPTERS_CHAPTER_LANG, 0, 'g' | 'e' << 8 | 'r' << 16},
               {QMF_QID_CHAPTERS_CHAPTER_COUNTRY, 0, 'a' | 't' << 8},
               {QMF_QID_CHAPTERS_CHAPTER_NAME, 4, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               // The other segment's five seconds are not to be had.
               {QMF_QID_TITLE_DURATION, 0, 100'000'000}});
  EXPECT_EQ(film.Text(QMF_QID_CHAPTERS_CHAPTER_NAME), u"Eins");
  EXPECT_EQ(film.Format<QMFChapterProp>(QMF_QID_EDITIONENTRY_GET_PROP, 1).level, 1U);
  const auto third = film.Format<QMFChapterProp>(QMF_QID_EDITIONENTRY_GET_PROP, 2);
  EXPECT_EQ(std::tuple(third.uid, third.flags, third.segmentEdition), std::tuple(12U, 3U, 5U));
  EXPECT_EQ(std::tuple(third.segmentUid[2], third.segmentUid[3]), std::tuple(7, 0));
  EXPECT_EQ(film.Tell(QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG, 0), QMF_OK);
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), kWholeFilm);
}

TEST(MkvChapters, OfTheDefaultEditionArePlayedFromTheStart) {
  MkvFile film(
      ChapteredFilm(Edition(1, E::EditionFlagHidden, Atom(1, 0, 1)) +
                    Edition(2, E::EditionFlagOrdered, Atom(1, 0, 7) + Unsigned(E::EditionFlagDefault, 1))));
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), 70'000'000U);
}

TEST(MkvChapters, ThatAreAbsentOrBrokenChangeNothing) {
  MkvFile(ChapteredFilm({}))
      .Expect(
          {{QMF_QID_PLAYLISTS_GET_COUNT, 0, 0}, {QMF_QID_EDITION_ORDERED, 0, 0, QMF_ERR_INDEX_OUT_OF_RANGE}});
  // Deeper than chapters are followed; a UID of 17 bytes.
  Bytes deep = Atom(0, 0, 1);
  for (int i = 0; i < 40; ++i) deep = Atom(0, 0, 1, deep);
  for (const Bytes& atom : {deep, Atom(0, 0, 1, Put(E::ChapterSegmentUid, Bytes(17)))}) {
    MkvFile(ChapteredFilm(Edition(1, E::EditionFlagOrdered, atom)))
        .Expect({{QMF_QID_PLAYLISTS_GET_COUNT, 0, 0, QMF_ERR_QF3_PARSE_CHAPTERS},
                 {QMF_QID_TITLE_DURATION, 0, kWholeFilm}});
  }
}

}  // namespace
}  // namespace qmf::test
