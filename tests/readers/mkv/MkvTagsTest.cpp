#include <gtest/gtest.h>

#include <cstring>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

EbmlBuilder SimpleTag(std::string_view name, const EbmlBuilder& more) {
  return EbmlBuilder().Master(Element::SimpleTag,
                              EbmlBuilder().Text(Element::TagName, name).Raw(more.Done()));
}

EbmlBuilder TaggedFilm(const EbmlBuilder& tags) {
  return EbmlBuilder()
      .Raw(Header().Done())
      .Master(Element::Segment, EbmlBuilder()
                                    .Master(Element::SegmentInfo, Info())
                                    .Master(Element::Tracks, Track(1, kMatroskaAudio, "A_AAC", {}))
                                    .Master(Element::Tags, tags));
}

// Two tags: one about two tracks with nested simple tags, one about the whole file with a binary value.
EbmlBuilder TwoTags() {
  const auto actor = SimpleTag("ACTOR", EbmlBuilder().Text(Element::TagString, "Zoë"));
  return EbmlBuilder()
      .Master(Element::Tag,
              EbmlBuilder()
                  .Raw(SimpleTag("CAST", actor).Done())
                  .Raw(SimpleTag("TITLE", EbmlBuilder().Text(Element::TagLanguage, "eng")).Done())
                  .Master(Element::Targets, EbmlBuilder()
                                                .Unsigned(Element::TargetTypeValue, 30)
                                                .Unsigned(Element::TagTrackUid, 0xFEDCBA9876543210)
                                                .Unsigned(Element::TagTrackUid, 8)
                                                .Unsigned(Element::AttachmentUid, 9)))
      .Master(Element::Tag, SimpleTag("COVER", EbmlBuilder()
                                                   .Binary(Element::TagBinaryValue, Bytes{1, 2, 3})
                                                   .Unsigned(Element::TagOriginal, 0)));
}

QMFSimpleTagInfo InfoOf(MkvFile& film, std::uint32_t qid, std::uint32_t index) {
  QMFSimpleTagInfo info{};
  const Bytes bytes = film.Bytes(qid, index);
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
  EXPECT_EQ(film.Bytes(QMF_QID_TAGS_GET_SIMPLETAG_BINARY), (Bytes{1, 2, 3}));
  const QMFSimpleTagInfo cover = InfoOf(film, QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX, 0);
  EXPECT_EQ(cover.tagIndex, 1U);
  EXPECT_EQ(cover.targetTypeValue, 50U);
  EXPECT_EQ(cover.flags, 0U);
  for (const std::uint32_t qid : {QMF_QID_TAGS_SET_CURRENTTAGIDX, QMF_QID_TAGS_SET_SIMPLETAGID}) {
    EXPECT_EQ(film.Set(qid, 4), QMF_ERR_INDEX_OUT_OF_RANGE);
  }
  std::uint8_t room[2] = {};
  QMFQueryData data;
  data.pointer = room;
  data.size = sizeof(room);
  EXPECT_EQ(film.Ask(QMF_QID_TAGS_GET_SIMPLETAG_BINARY, data), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(data.size, 3U);
}

TEST(MkvTags, ThatAreMissingBrokenOrCutAreReported) {
  MkvFile none(TaggedFilm({}));
  EXPECT_EQ(none.Number(QMF_QID_TAGS_GET_INFO), 0U);
  EXPECT_EQ(none.ResultOf(QMF_QID_TAGS_GET_SIMPLETAG_NAME), QMF_ERR_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(none.ResultOf(QMF_QID_TAGS_GET_TAG_TARGET_TRACK), QMF_ERR_INDEX_OUT_OF_RANGE);

  const auto wideUid = EbmlBuilder().Binary(Element::TagTrackUid, Bytes(9));
  MkvFile broken(
      TaggedFilm(EbmlBuilder().Master(Element::Tag, EbmlBuilder().Master(Element::Targets, wideUid))));
  EXPECT_EQ(broken.ResultOf(QMF_QID_TAGS_GET_NUMTAGS), QMF_ERR_QF3_PARSE_TAGS);
  EXPECT_EQ(broken.Set(QMF_QID_TAGS_SET_CURRENTTAGIDX, 0), QMF_ERR_QF3_PARSE_TAGS);

  EbmlBuilder nested = SimpleTag("N", {});
  for (int depth = 0; depth < 40; ++depth) nested = SimpleTag("N", nested);
  MkvFile deep(TaggedFilm(EbmlBuilder().Master(Element::Tag, nested)));
  EXPECT_EQ(deep.ResultOf(QMF_QID_TAGS_GET_NUMTAGS), QMF_ERR_QF3_PARSE_TAGS);

  Bytes cut =
      TaggedFilm(EbmlBuilder().Master(
                     Element::Tag, SimpleTag("B", EbmlBuilder().Binary(Element::TagBinaryValue, Bytes(64)))))
          .Done();
  cut.erase(cut.end() - 8, cut.end());
  EXPECT_EQ(MkvFile(cut).ResultOf(QMF_QID_TAGS_GET_SIMPLETAG_BINARY), QMF_ERR_FILE_CORRUPT);
}

}  // namespace
}  // namespace qmf::test
