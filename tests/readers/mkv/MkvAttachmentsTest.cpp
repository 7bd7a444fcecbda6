#include "readers/mkv/MkvAttachments.h"

#include <gtest/gtest.h>

#include <cstring>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using test::MkvFile;
using Bytes = EbmlBuilder::Bytes;

EbmlBuilder AttachedFilm(const EbmlBuilder& attachments) {
  const EbmlBuilder track =
      test::Track(1, test::kMatroskaSubtitle, "S_TEXT/ASS",
                  EbmlBuilder().Unsigned(Element::AttachmentLink, 77).Unsigned(Element::AttachmentLink, 78));
  return test::Header().Master(Element::Segment, EbmlBuilder()
                                                     .Raw(test::Info().Done())
                                                     .Master(Element::Tracks, track)
                                                     .Master(Element::Attachments, attachments));
}

EbmlBuilder File(std::uint64_t uid, std::string_view name, const Bytes& data) {
  return EbmlBuilder().Master(Element::AttachedFile, EbmlBuilder()
                                                         .Unsigned(Element::FileUid, uid)
                                                         .Text(Element::AttachedFileName, name)
                                                         .Text(Element::FileDescription, "what it is")
                                                         .Text(Element::FileMimeType, "font/ttf")
                                                         .Binary(Element::FileData, data));
}

QMFResult AskInfo(MkvFile& film, std::uint32_t index, Bytes& buffer) {
  QMFQueryData data;
  data.size = static_cast<std::uint32_t>(buffer.size());
  data.pointer = buffer.data();
  return film.Ask(QMF_QID_GET_ATTACHMENTINFO, data, index);
}

TEST(MkvAttachments, AreToldAndCopiedOnlyWhole) {
  const Bytes font(20'000, 0xAB);
  MkvFile film(AttachedFilm(
      EbmlBuilder().Raw(File(77, "font.ttf", font).Done()).Raw(File(78, std::string(300, 'n'), {}).Done())));
  EXPECT_EQ(film.Number(QMF_QID_GET_ATTACHMENT_COUNT), 2U);
  EXPECT_EQ(film.Number(QMF_QID_GET_ATTACHMENT_SIZE, 0), 20'000U);
  EXPECT_EQ(film.ResultOf(QMF_QID_GET_ATTACHMENT_SIZE, 2), QMF_ERR_INDEX_OUT_OF_RANGE);
  QMFAttachmentInfo info;
  for (const std::size_t room : {std::size_t{0}, font.size() - 1, font.size()}) {
    Bytes buffer(sizeof(info) + room);
    ASSERT_EQ(AskInfo(film, 0, buffer), QMF_OK);
    std::memcpy(&info, buffer.data(), sizeof(info));
    EXPECT_EQ(info.uid, 77U);
    EXPECT_EQ(info.size, 20'000U);
    EXPECT_EQ(std::u16string_view(info.name), u"font.ttf");
    EXPECT_EQ(std::u16string_view(info.description), u"what it is");
    EXPECT_EQ(std::u16string_view(info.mimeType), u"font/ttf");
    EXPECT_EQ(std::count(buffer.begin() + sizeof(info), buffer.end(), 0xAB), room < font.size() ? 0 : 20'000);
  }
  Bytes small(sizeof(info) - 1);
  EXPECT_EQ(AskInfo(film, 0, small), QMF_ERR_BUFFER_TOO_SMALL);
  Bytes exact(sizeof(info));
  ASSERT_EQ(AskInfo(film, 1, exact), QMF_OK);
  std::memcpy(&info, exact.data(), sizeof(info));
  EXPECT_EQ(std::u16string_view(info.name), std::u16string(259, u'n'));
}

TEST(MkvAttachments, AreLinkedFromTracks) {
  MkvFile film(AttachedFilm({}));
  EXPECT_EQ(film.Number(QMF_QID_GET_SUB_ATTACHMENT_LINK_COUNT), 2U);
  EXPECT_EQ(film.Number(QMF_QID_GET_SUB_ATTACHMENT_LINKS, 0, 1), 78U);
  QMFQueryData data;
  data.value = 2;
  EXPECT_EQ(film.Ask(QMF_QID_GET_SUB_ATTACHMENT_LINKS, data), QMF_ERR_ATTACHMENT_LINK_INVALID);
  EXPECT_EQ(film.ResultOf(QMF_QID_GET_VID_ATTACHMENT_LINK_COUNT), QMF_ERR_INVALID_STREAM);
}

TEST(MkvAttachments, ThatAreBrokenOrCutAreReported) {
  MkvFile broken(AttachedFilm(
      EbmlBuilder().Master(Element::AttachedFile, EbmlBuilder().Binary(Element::FileUid, Bytes(9)))));
  EXPECT_EQ(broken.ResultOf(QMF_QID_GET_ATTACHMENT_COUNT), QMF_ERR_QF3_PARSE_ATTACHMENTS);
  Bytes cut = AttachedFilm(File(1, "a", Bytes(5000, 0xAB))).Done();
  cut.erase(cut.end() - 1000, cut.end());
  MkvFile film(cut);
  Bytes buffer(sizeof(QMFAttachmentInfo) + 5000);
  EXPECT_EQ(AskInfo(film, 0, buffer), QMF_ERR_FILE_CORRUPT);
}

}  // namespace
}  // namespace qmf
