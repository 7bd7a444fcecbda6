#include "readers/mkv/MkvSections.h"

#include <gtest/gtest.h>

#include <cstring>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

// A film of one subtitle track with links to attachments; the section stands before its tracks or behind.
const Bytes kTrack = Put(E::Tracks, Track(1, kMatroskaSubtitle, "S_TEXT/ASS",
                                          Unsigned(E::AttachmentLink, 77) + Unsigned(E::AttachmentLink, 78)));

Bytes FilmBehind(const Bytes& section) {
  return Segment(Info() + section + kTrack);
}

Bytes FilmBefore(const Bytes& section) {
  return Segment(Info() + kTrack + section);
}

constexpr std::uint64_t kWholeFilm = 54'000'000'000;

// A chapter by its times in seconds.
Bytes Atom(std::uint64_t uid, std::uint64_t start, std::uint64_t end, const Bytes& more = {}) {
  return Chapter(start * 1000, end * 1000, Unsigned(E::ChapterUid2, uid) + more);
}

Bytes Display(std::string_view name, std::string_view language) {
  return Put(E::ChapterDisplay,
             Text(E::ChapString, name) + Text(E::ChapLanguage, language) + Text(E::ChapCountry, "at"));
}

// A plain edition and an ordered one of 10 + 5 seconds.
TEST(MkvChapters, AreToldByEditionAndMakeTheDurationWhenTheirOrderIsPlayed) {
  const Bytes other = Put(E::ChapterSegmentUid, {9, 8, 7}) + Unsigned(E::ChapterSegmentEditionUid, 5) +
                      Unsigned(E::ChapterFlagHidden, 1);
  MkvFile film(FilmBehind(
      Put(E::Chapters,
          Edition(71, E::EditionFlagHidden, Atom(1, 0, 100)) +
              Edition(72, E::EditionFlagOrdered,
                      Atom(10, 0, 10, Atom(11, 2, 3) + Display("Eins", "ger") + Display("One", "eng")) +
                          Atom(12, 20, 25, other) + Atom(13, 30, 90, Unsigned(E::ChapterFlagEnabled, 0))))));
  film.Expect({{QMF_QID_PLAYLISTS_GET_COUNT, 0, 2},
               {QMF_QID_EDITIONENTRY_GET_COUNT, 0, 1},
               {QMF_QID_PLAYLISTS_GET_PROP, 2, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_TITLE_DURATION, 0, kWholeFilm}});
  // The fields of a QMFPlaylistProp, the first two of two words each.
  using EditionWords = std::array<std::uint32_t, 6>;
  const auto edition = [&](std::uint32_t index) {
    return film.Format<EditionWords>(QMF_QID_PLAYLISTS_GET_PROP, index);
  };
  EXPECT_EQ(edition(0), (EditionWords{71, 0, 0, 0, MkvEdition::kHidden, 1}));
  EXPECT_EQ(edition(1), (EditionWords{72, 0, 150'000'000, 0, MkvEdition::kOrdered, 4}));

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
  // Those of a QMFChapterProp: four of two words, the segment's UID, flags and level.
  using ChapterWords = std::array<std::uint32_t, 14>;
  const auto chapter = [&](std::uint32_t index) {
    return film.Format<ChapterWords>(QMF_QID_EDITIONENTRY_GET_PROP, index);
  };
  EXPECT_EQ(chapter(1), (ChapterWords{11, 0, 20'000'000, 0, 30'000'000, 0, 0, 0, 0, 0, 0, 0, 2, 1}));
  EXPECT_EQ(chapter(2), (ChapterWords{12, 0, 200'000'000, 0, 250'000'000, 0, 5, 0, 0x070809, 0, 0, 0, 3, 0}));
  EXPECT_EQ(film.Tell(QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG, 0), QMF_OK);
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), kWholeFilm);
  const Bytes byDefault = Atom(1, 0, 7) + Unsigned(E::EditionFlagDefault, 1);
  EXPECT_EQ(MkvFile(FilmBefore(Put(E::Chapters, Edition(1, E::EditionFlagHidden, Atom(1, 0, 1)) +
                                                    Edition(2, E::EditionFlagOrdered, byDefault))))
                .Number(QMF_QID_TITLE_DURATION),
            70'000'000U);
}

Bytes SimpleTag(std::string_view name, const Bytes& more) {
  return Put(E::SimpleTag, Text(E::TagName, name) + more);
}

// Two tags: one about two tracks with nested simple tags, one about the whole file with a binary value.
Bytes TwoTags() {
  const Bytes targets = Unsigned(E::TargetTypeValue, 30) + Unsigned(E::TagTrackUid, 0xFEDCBA9876543210) +
                        Unsigned(E::TagTrackUid, 8) + Unsigned(E::AttachmentUid, 9);
  return Put(E::Tag, SimpleTag("CAST", SimpleTag("ACTOR", Text(E::TagString, "Zoë"))) +
                         SimpleTag("TITLE", Text(E::TagLanguage, "eng")) + Put(E::Targets, targets)) +
         Put(E::Tag, SimpleTag("COVER", Put(E::TagBinaryValue, {1, 2, 3}) + Unsigned(E::TagOriginal, 0)));
}

TEST(MkvTags, AreWalkedByTagAndById) {
  MkvFile film(FilmBefore(Put(E::Tags, TwoTags())));
  film.Expect({{QMF_QID_TAGS_GET_NUMTAGS, 0, 2},
               {QMF_QID_TAGS_GET_INFO, 0, 1},
               {QMF_QID_TAGS_GET_TAG_TARGET_TRACK, 0, 0xFEDCBA9876543210},
               {QMF_QID_TAGS_GET_TAG_TARGET_TRACK, 1, 8},
               {QMF_QID_TAGS_GET_TAG_TARGET_TRACK, 2, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_TAGS_GET_TAG_TARGET_ATTACHMENT, 0, 9},
               {QMF_QID_TAGS_GET_TAG_TARGET_EDITION, 0, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, 2, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_TAGS_GET_SIMPLETAG_CHILDID, 0, 1},
               {QMF_QID_TAGS_GET_SIMPLETAG_CHILDID, 1, 0, QMF_ERR_INDEX_OUT_OF_RANGE}});
  // The fields of a QMFSimpleTagInfo.
  using Words = std::array<std::uint32_t, 10>;
  constexpr std::uint32_t kNone = 0xFFFFFFFF;
  constexpr std::uint32_t kUnd = sizeof(u"und");
  const auto byIndex = [&](std::uint32_t index) {
    return film.Format<Words>(QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, index);
  };
  EXPECT_EQ(byIndex(0), (Words{0, kNone, 0, 1, sizeof(u"CAST"), 0, kUnd, 0, 30, 1}));
  EXPECT_EQ(byIndex(1), (Words{2, kNone, 0, 0, sizeof(u"TITLE"), 0, sizeof(u"eng"), 0, 30, 1}));
  EXPECT_EQ(film.Format<Words>(QMF_QID_TAGS_GET_SIMPLETAGINFO_BYID, 1),
            (Words{1, 0, 0, 0, sizeof(u"ACTOR"), sizeof(u"Zoë"), kUnd, 0, 30, 1}));
  ASSERT_EQ(film.Tell(QMF_QID_TAGS_SET_SIMPLETAGID, 1), QMF_OK);
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_STRING), u"Zoë");
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_SIMPLETAG_STRING_SIZE), sizeof(u"Zoë"));
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_LANGUAGE), u"und");

  ASSERT_EQ(film.Tell(QMF_QID_TAGS_SET_CURRENTTAGIDX, 1), QMF_OK);
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_NAME), u"COVER");
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_SIMPLETAG_BINARY_SIZE), 3U);
  EXPECT_EQ(byIndex(0), (Words{3, kNone, 1, 0, sizeof(u"COVER"), 0, kUnd, 3, 50, 0}));
  for (const std::uint32_t qid : {QMF_QID_TAGS_SET_CURRENTTAGIDX, QMF_QID_TAGS_SET_SIMPLETAGID})
    EXPECT_EQ(film.Tell(qid, 4), QMF_ERR_INDEX_OUT_OF_RANGE);
  // Its bytes, which are told as a record only when they are.
  for (const std::uint32_t room : {2U, 3U}) {
    Bytes bytes(room);
    QMFQueryData data;
    data.pointer = bytes.data();
    data.size = room;
    EXPECT_EQ(film.Module().GetInfo(film.Handle(), QMF_QID_TAGS_GET_SIMPLETAG_BINARY, &data, 0),
              room < 3 ? QMF_ERR_BUFFER_TOO_SMALL : QMF_OK);
    EXPECT_EQ(data.size, 3U);
    EXPECT_EQ(data.type == kValueRecord, room == 3);
    EXPECT_EQ(bytes, room < 3 ? Bytes(2) : (Bytes{1, 2, 3}));
  }
}

Bytes File(std::uint64_t uid, std::string_view name, const Bytes& data) {
  return Put(E::AttachedFile, Unsigned(E::FileUid, uid) + Text(E::AttachedFileName, name) +
                                  Text(E::FileDescription, "what it is") + Text(E::FileMimeType, "font/ttf") +
                                  Put(E::FileData, data));
}

TEST(MkvAttachments, AreToldAndCopiedOnlyWhole) {
  const Bytes font(20'000, 0xAB);
  MkvFile film(
      FilmBefore(Put(E::Attachments, File(77, "font.ttf", font) + File(78, std::string(300, 'n'), {}))));
  film.Expect({{QMF_QID_GET_ATTACHMENT_COUNT, 0, 2},
               {QMF_QID_GET_ATTACHMENT_SIZE, 0, 20'000},
               {QMF_QID_GET_ATTACHMENT_SIZE, 2, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_GET_SUB_ATTACHMENT_LINK_COUNT, 0, 2},
               {QMF_QID_GET_SUB_ATTACHMENT_LINKS, 0, 78, QMF_OK, 1},
               {QMF_QID_GET_SUB_ATTACHMENT_LINKS, 0, 0, QMF_ERR_ATTACHMENT_LINK_INVALID, 2},
               {QMF_QID_GET_SUB_ATTACHMENT_LINKS, 1, 0, QMF_ERR_INVALID_STREAM},
               {QMF_QID_GET_VID_ATTACHMENT_LINK_COUNT, 0, 0, QMF_ERR_INVALID_STREAM}});
  QMFAttachmentInfo info;
  for (const std::size_t room : {std::size_t{0}, font.size() - 1, font.size()}) {
    Bytes buffer(sizeof(info) + room);
    ASSERT_EQ(film.FillBytes(QMF_QID_GET_ATTACHMENTINFO, buffer.data(), buffer.size()), QMF_OK);
    std::memcpy(&info, buffer.data(), sizeof(info));
    EXPECT_EQ(std::tuple(info.uid, info.size), std::tuple(77U, 20'000U));
    EXPECT_EQ(std::u16string_view(info.name), u"font.ttf");
    EXPECT_EQ(std::u16string_view(info.description), u"what it is");
    EXPECT_EQ(std::u16string_view(info.mimeType), u"font/ttf");
    EXPECT_EQ(std::count(buffer.begin() + sizeof(info), buffer.end(), 0xAB), room < font.size() ? 0 : 20'000);
  }
  EXPECT_EQ(film.FillBytes(QMF_QID_GET_ATTACHMENTINFO, &info, sizeof(info) - 1), QMF_ERR_BUFFER_TOO_SMALL);
  info = film.Format<QMFAttachmentInfo>(QMF_QID_GET_ATTACHMENTINFO, 1);
  EXPECT_EQ(std::u16string_view(info.name), std::u16string(259, u'n'));
}

TEST(MkvSections, ThatAreAbsentOrBrokenAreReported) {
  MkvFile(FilmBehind({}))
      .Expect({{QMF_QID_PLAYLISTS_GET_COUNT, 0, 0},
               {QMF_QID_EDITION_ORDERED, 0, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_GET_ATTACHMENT_COUNT, 0, 0},
               {QMF_QID_TAGS_GET_INFO, 0, 0},
               {QMF_QID_TAGS_GET_SIMPLETAG_NAME, 0, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_TAGS_GET_TAG_TARGET_TRACK, 0, 0, QMF_ERR_INDEX_OUT_OF_RANGE}});
  // Deeper than children are followed.
  Bytes deepChapter;
  Bytes deepTag;
  for (int depth = 0; depth < 40; ++depth) {
    deepChapter = Atom(0, 0, 1, deepChapter);
    deepTag = SimpleTag("N", deepTag);
  }
  const auto chapters = [](const Bytes& atom) {
    return Put(E::Chapters, Edition(1, E::EditionFlagOrdered, atom));
  };
  const auto tag = [](const Bytes& children) { return Put(E::Tags, Put(E::Tag, children)); };
  const std::tuple<Bytes, std::uint32_t, QMFResult> rows[] = {
      {chapters(deepChapter), QMF_QID_PLAYLISTS_GET_COUNT, QMF_ERR_QF3_PARSE_CHAPTERS},
      {chapters(Atom(0, 0, 1, Put(E::ChapterSegmentUid, Bytes(17)))), QMF_QID_PLAYLISTS_GET_COUNT,
       QMF_ERR_QF3_PARSE_CHAPTERS},
      {tag(deepTag), QMF_QID_TAGS_GET_NUMTAGS, QMF_ERR_QF3_PARSE_TAGS},
      {tag(Put(E::Targets, Put(E::TagTrackUid, Bytes(9)))), QMF_QID_TAGS_GET_NUMTAGS, QMF_ERR_QF3_PARSE_TAGS},
      {Put(E::Attachments, Put(E::AttachedFile, Put(E::FileUid, Bytes(9)))), QMF_QID_GET_ATTACHMENT_COUNT,
       QMF_ERR_QF3_PARSE_ATTACHMENTS},
  };
  for (const auto& [section, qid, result] : rows) {
    MkvFile film(FilmBefore(section));
    film.Expect({{qid, 0, 0, result}, {QMF_QID_TITLE_DURATION, 0, kWholeFilm}});
    EXPECT_EQ(film.Tell(QMF_QID_TAGS_SET_CURRENTTAGIDX, 0),
              result == QMF_ERR_QF3_PARSE_TAGS ? result : QMF_ERR_INDEX_OUT_OF_RANGE);
  }
}

TEST(MkvSections, WhoseBytesAreCutGiveZeros) {
  const std::tuple<Bytes, std::uint32_t, std::size_t> rows[] = {
      {Put(E::Tags, Put(E::Tag, SimpleTag("B", Put(E::TagBinaryValue, Bytes(64, 0xAB))))),
       QMF_QID_TAGS_GET_SIMPLETAG_BINARY, 64},
      {Put(E::Attachments, File(1, "a", Bytes(64, 0xAB))), QMF_QID_GET_ATTACHMENTINFO,
       sizeof(QMFAttachmentInfo) + 64},
  };
  for (const auto& [section, qid, size] : rows) {
    const Bytes whole = FilmBefore(section);
    Bytes answer(size, 0xEE);
    EXPECT_EQ(MkvFile(Cut(whole, whole.size() - 8)).FillBytes(qid, answer.data(), size),
              QMF_ERR_FILE_CORRUPT);
    EXPECT_EQ(Bytes(answer.end() - 64, answer.end()), Bytes(64));
  }
}

}  // namespace
}  // namespace qmf::test
