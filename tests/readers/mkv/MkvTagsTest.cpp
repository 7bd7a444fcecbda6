#include <gtest/gtest.h>

#include <cstring>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

Bytes SimpleTag(std::string_view name, const Bytes& more) {
  return Put(E::SimpleTag, Text(E::TagName, name) + more);
}

Bytes TaggedFilm(const Bytes& tags) {
  return Segment(Info() + Put(E::Tracks, Track(1, kMatroskaAudio, "A_AAC")) + Put(E::Tags, tags));
}

// Two tags: one about two tracks with nested simple tags, one about the whole file with a binary value.
Bytes TwoTags() {
  const Bytes targets = Unsigned(E::TargetTypeValue, 30) + Unsigned(E::TagTrackUid, 0xFEDCBA9876543210) +
                        Unsigned(E::TagTrackUid, 8) + Unsigned(E::AttachmentUid, 9);
  return Put(E::Tag, SimpleTag("CAST", SimpleTag("ACTOR", Text(E::TagString, "Zoë"))) +
                         SimpleTag("TITLE", Text(E::TagLanguage, "eng")) + Put(E::Targets, targets)) +
         Put(E::Tag, SimpleTag("COVER", Put(E::TagBinaryValue, {1, 2, 3}) + Unsigned(E::TagOriginal, 0)));
}

QMFSimpleTagInfo InfoOf(MkvFile& film, std::uint32_t qid, std::uint32_t index) {
  QMFSimpleTagInfo info{};
  const Bytes bytes = film.Answer(qid, index);
  if (bytes.size() == sizeof(info)) std::memcpy(&info, bytes.data(), sizeof(info));
  return info;
}

TEST(MkvTags, AreWalkedByTagAndById) {
  MkvFile film(TaggedFilm(TwoTags()));
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_NUMTAGS), 2U);
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_INFO), 1U);
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_TAG_TARGET_TRACK, 0), 0xFEDCBA9876543210U);
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_TAG_TARGET_TRACK, 1), 8U);
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_TAG_TARGET_ATTACHMENT), 9U);
  EXPECT_EQ(film.ResultOf(QMF_QID_TAGS_GET_TAG_TARGET_TRACK, 2), QMF_ERR_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(film.ResultOf(QMF_QID_TAGS_GET_TAG_TARGET_EDITION), QMF_ERR_INDEX_OUT_OF_RANGE);

  const QMFSimpleTagInfo cast = InfoOf(film, QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, 0);
  EXPECT_EQ(cast.childCount, 1U);
  EXPECT_EQ(cast.parentId, 0xFFFFFFFFU);
  EXPECT_EQ(cast.nameSize, sizeof(u"CAST"));
  EXPECT_EQ(cast.targetTypeValue, 30U);
  const QMFSimpleTagInfo title = InfoOf(film, QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, 1);
  EXPECT_EQ(title.id, 2U) << "behind the one inside CAST";
  EXPECT_EQ(film.ResultOf(QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, 2), QMF_ERR_INDEX_OUT_OF_RANGE);

  const auto actor = static_cast<std::uint32_t>(film.Number(QMF_QID_TAGS_GET_SIMPLETAG_CHILDID, 0));
  EXPECT_EQ(InfoOf(film, QMF_QID_TAGS_GET_SIMPLETAGINFO_BYID, actor).parentId, cast.id);
  EXPECT_EQ(film.ResultOf(QMF_QID_TAGS_GET_SIMPLETAG_CHILDID, 1), QMF_ERR_INDEX_OUT_OF_RANGE);
  ASSERT_EQ(film.Set(QMF_QID_TAGS_SET_SIMPLETAGID, actor), QMF_OK);
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_STRING), u"Zoë");
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_SIMPLETAG_STRING_SIZE), sizeof(u"Zoë"));
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_LANGUAGE), u"und");
}

TEST(MkvTags, OfTheSelectedTagAreTold) {
  MkvFile film(TaggedFilm(TwoTags()));
  ASSERT_EQ(film.Set(QMF_QID_TAGS_SET_CURRENTTAGIDX, 1), QMF_OK);
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_NAME), u"COVER");
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_SIMPLETAG_BINARY_SIZE), 3U);
  const QMFSimpleTagInfo cover = InfoOf(film, QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, 0);
  EXPECT_EQ(cover.tagIndex, 1U);
  EXPECT_EQ(cover.targetTypeValue, 50U);
  EXPECT_EQ(cover.flags, 0U);
  for (const std::uint32_t qid : {QMF_QID_TAGS_SET_CURRENTTAGIDX, QMF_QID_TAGS_SET_SIMPLETAGID}) {
    EXPECT_EQ(film.Set(qid, 4), QMF_ERR_INDEX_OUT_OF_RANGE);
  }
  // Its bytes, which are told as a record only when they are.
  for (const std::uint32_t room : {2U, 3U}) {
    Bytes bytes(room);
    QMFQueryData data;
    data.pointer = bytes.data();
    data.size = room;
    EXPECT_EQ(film.Ask(QMF_QID_TAGS_GET_SIMPLETAG_BINARY, data),
              room < 3 ? QMF_ERR_BUFFER_TOO_SMALL : QMF_OK);
    EXPECT_EQ(data.size, 3U);
    EXPECT_EQ(data.type == kValueRecord, room == 3);
    EXPECT_EQ(bytes, room < 3 ? Bytes(2) : (Bytes{1, 2, 3}));
  }
}

TEST(MkvTags, ThatAreMissingBrokenOrCutAreReported) {
  MkvFile none(TaggedFilm({}));
  EXPECT_EQ(none.Number(QMF_QID_TAGS_GET_INFO), 0U);
  EXPECT_EQ(none.ResultOf(QMF_QID_TAGS_GET_SIMPLETAG_NAME), QMF_ERR_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(none.ResultOf(QMF_QID_TAGS_GET_TAG_TARGET_TRACK), QMF_ERR_INDEX_OUT_OF_RANGE);

  MkvFile broken(TaggedFilm(Put(E::Tag, Put(E::Targets, Put(E::TagTrackUid, Bytes(9))))));
  EXPECT_EQ(broken.ResultOf(QMF_QID_TAGS_GET_NUMTAGS), QMF_ERR_QF3_PARSE_TAGS);
  EXPECT_EQ(broken.Set(QMF_QID_TAGS_SET_CURRENTTAGIDX, 0), QMF_ERR_QF3_PARSE_TAGS);

  Bytes nested = SimpleTag("N", {});
  for (int depth = 0; depth < 40; ++depth) nested = SimpleTag("N", nested);
  EXPECT_EQ(MkvFile(TaggedFilm(Put(E::Tag, nested))).ResultOf(QMF_QID_TAGS_GET_NUMTAGS),
            QMF_ERR_QF3_PARSE_TAGS);

  const Bytes whole = TaggedFilm(Put(E::Tag, SimpleTag("B", Put(E::TagBinaryValue, Bytes(64)))));
  EXPECT_EQ(MkvFile(Cut(whole, whole.size() - 8)).ResultOf(QMF_QID_TAGS_GET_SIMPLETAG_BINARY),
            QMF_ERR_FILE_CORRUPT);
}

}  // namespace
}  // namespace qmf::test
