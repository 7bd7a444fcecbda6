#include "readers/mkv/MkvAttachments.h"

#include <gtest/gtest.h>

#include <cstring>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

Bytes AttachedFilm(const Bytes& attachments) {
  const Bytes track = Track(1, kMatroskaSubtitle, "S_TEXT/ASS",
                            Unsigned(E::AttachmentLink, 77) + Unsigned(E::AttachmentLink, 78));
  return Segment(Info() + Put(E::Tracks, track) + Put(E::Attachments, attachments));
}

Bytes File(std::uint64_t uid, std::string_view name, const Bytes& data) {
  return Put(E::AttachedFile, Unsigned(E::FileUid, uid) + Text(E::AttachedFileName, name) +
                                  Text(E::FileDescription, "what it is") + Text(E::FileMimeType, "font/ttf") +
                                  Put(E::FileData, data));
}

QMFResult AskInfo(MkvFile& film, std::uint32_t index, Bytes& buffer) {
  return film.FillBytes(QMF_QID_GET_ATTACHMENTINFO, buffer.data(), buffer.size(), index);
}

TEST(MkvAttachments, AreToldAndCopiedOnlyWhole) {
  const Bytes font(20'000, 0xAB);
  MkvFile film(AttachedFilm(File(77, "font.ttf", font) + File(78, std::string(300, 'n'), {})));
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
  info = film.Format<QMFAttachmentInfo>(QMF_QID_GET_ATTACHMENTINFO, 1);
  EXPECT_EQ(std::u16string_view(info.name), std::u16string(259, u'n'));
}

TEST(MkvAttachments, ThatAreBrokenOrCutAreReported) {
  MkvFile broken(AttachedFilm(Put(E::AttachedFile, Put(E::FileUid, Bytes(9)))));
  EXPECT_EQ(broken.Ask(QMF_QID_GET_ATTACHMENT_COUNT), QMF_ERR_QF3_PARSE_ATTACHMENTS);
  const Bytes whole = AttachedFilm(File(1, "a", Bytes(5000, 0xAB)));
  MkvFile film(Cut(whole, whole.size() - 1000));
  Bytes buffer(sizeof(QMFAttachmentInfo) + 5000);
  EXPECT_EQ(AskInfo(film, 0, buffer), QMF_ERR_FILE_CORRUPT);
}

}  // namespace
}  // namespace qmf::test
