#include <gtest/gtest.h>

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

// The fields of a QMFSimpleTagInfo in their order.
using Info10 = std::array<std::uint32_t, 10>;
constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr std::uint32_t kUnd = sizeof(u"und");

TEST(MkvTags, AreWalkedByTagAndById) {
  MkvFile film(TaggedFilm(TwoTags()));
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
  const auto byIndex = [&](std::uint32_t index) {
    return film.Format<Info10>(QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, index);
  };
  EXPECT_EQ(byIndex(0), (Info10{0, kNone, 0, 1, sizeof(u"CAST"), 0, kUnd, 0, 30, 1}));
  EXPECT_EQ(byIndex(1), (Info10{2, kNone, 0, 0, sizeof(u"TITLE"), 0, sizeof(u"eng"), 0, 30, 1}));
  EXPECT_EQ(film.Format<Info10>(QMF_QID_TAGS_GET_SIMPLETAGINFO_BYID, 1),
            (Info10{1, 0, 0, 0, sizeof(u"ACTOR"), sizeof(u"Zoë"), kUnd, 0, 30, 1}));
  ASSERT_EQ(film.Tell(QMF_QID_TAGS_SET_SIMPLETAGID, 1), QMF_OK);
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_STRING), u"Zoë");
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_SIMPLETAG_STRING_SIZE), sizeof(u"Zoë"));
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_LANGUAGE), u"und");

  ASSERT_EQ(film.Tell(QMF_QID_TAGS_SET_CURRENTTAGIDX, 1), QMF_OK);
  EXPECT_EQ(film.Text(QMF_QID_TAGS_GET_SIMPLETAG_NAME), u"COVER");
  EXPECT_EQ(film.Number(QMF_QID_TAGS_GET_SIMPLETAG_BINARY_SIZE), 3U);
  EXPECT_EQ(byIndex(0), (Info10{3, kNone, 1, 0, sizeof(u"COVER"), 0, kUnd, 3, 50, 0}));
  for (const std::uint32_t qid : {QMF_QID_TAGS_SET_CURRENTTAGIDX, QMF_QID_TAGS_SET_SIMPLETAGID}) {
    EXPECT_EQ(film.Tell(qid, 4), QMF_ERR_INDEX_OUT_OF_RANGE);
  }
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

TEST(MkvTags, ThatAreMissingBrokenOrCutAreReported) {
  MkvFile(TaggedFilm({}))
      .Expect({{QMF_QID_TAGS_GET_INFO, 0, 0},
               {QMF_QID_TAGS_GET_SIMPLETAG_NAME, 0, 0, QMF_ERR_INDEX_OUT_OF_RANGE},
               {QMF_QID_TAGS_GET_TAG_TARGET_TRACK, 0, 0, QMF_ERR_INDEX_OUT_OF_RANGE}});
  Bytes nested = SimpleTag("N", {});
  for (int depth = 0; depth < 40; ++depth) nested = SimpleTag("N", nested);
  for (const Bytes& broken : {Put(E::Targets, Put(E::TagTrackUid, Bytes(9))), nested}) {
    MkvFile film(TaggedFilm(Put(E::Tag, broken)));
    EXPECT_EQ(film.Ask(QMF_QID_TAGS_GET_NUMTAGS), QMF_ERR_QF3_PARSE_TAGS);
    EXPECT_EQ(film.Tell(QMF_QID_TAGS_SET_CURRENTTAGIDX, 0), QMF_ERR_QF3_PARSE_TAGS);
  }
  const Bytes whole = TaggedFilm(Put(E::Tag, SimpleTag("B", Put(E::TagBinaryValue, Bytes(64)))));
  Bytes room(64);
  EXPECT_EQ(
      MkvFile(Cut(whole, whole.size() - 8)).FillBytes(QMF_QID_TAGS_GET_SIMPLETAG_BINARY, room.data(), 64),
      QMF_ERR_FILE_CORRUPT);
}

}  // namespace
}  // namespace qmf::test
