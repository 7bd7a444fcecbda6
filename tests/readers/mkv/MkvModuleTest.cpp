#include "readers/mkv/MkvModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

TEST(MkvModule, BidsByContentOrWhereTheFileCannotBeOpenedByExtension) {
  Bytes magic = {0x1A, 0x45, 0xDF, 0xA3};
  magic.resize(83);
  Bytes wrong = magic;
  wrong[3] = 0xA2;
  const std::tuple<const char16_t*, std::shared_ptr<FileSource>, std::int32_t> rows[] = {
      {u"anything.txt", SourceOf(magic), 100}, {u"film.mkv", SourceOf(Cut(magic, 82)), 0},
      {u"film.mkv", SourceOf(wrong), 0},       {u"film.mkv", SourceOf(Bytes()), 0},
      {u"missing.mkv", nullptr, 100},          {u"missing.qf3", nullptr, 100},
      {u"missing.mkv  ", nullptr, 100},        {u"missing.MKV", nullptr, 0},
      {u"missing.mkv2", nullptr, 0},           {u"missing", nullptr, 0},
  };
  for (const auto& [name, source, score] : rows)
    EXPECT_EQ(Score(kMkvModule, name, source), score) << testing::PrintToString(name);
  QMFModuleHandle handle = nullptr;
  EXPECT_EQ(kMkvModule.entryPoints->OpenContainer(&handle, u"missing.mkv", nullptr), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(handle, nullptr);
}

TEST(MkvModule, SelectsTitleZeroAndAnswersLittleBeforeThat) {
  OpenedFile film(kMkvModule, OneTrack(kMatroskaVideo, "V_MPEG2", Picture(64, 48)));
  QMFVideoFormat format;
  EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), 0U);
  EXPECT_EQ(film.Fill(QMF_QID_VID_STREAM_FORMAT, format), QMF_FAILURE);
  EXPECT_EQ(film.Fill(QMF_QID_AUD_STREAM_FORMAT, format), QMF_NULL_ARGUMENT);
  for (const std::uint32_t qid :
       {QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA, QMF_QID_LACEINFO, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT}) {
    EXPECT_EQ(film.Ask(qid), QMF_FAILURE) << std::hex << qid;
  }
  EXPECT_EQ(film.Activate(kBlockVideo), QMF_ERR_INVALID_STREAM);

  EXPECT_EQ(film.SetTitle(1), QMF_ERR_INVALID_TITLE_INDEX);
  EXPECT_EQ(film.SetTitle(), QMF_OK);
  EXPECT_EQ(film.Fill(QMF_QID_VID_STREAM_FORMAT, format), QMF_OK);
  for (const auto& [blockType, stream, result] : {std::tuple(kBlockVideo, 0U, QMF_OK),
                                                  {kBlockVideoAlternate, 0U, QMF_OK},
                                                  {kBlockVideo, 1U, QMF_ERR_INVALID_STREAM},
                                                  {kBlockAudio, 0U, QMF_ERR_INVALID_STREAM},
                                                  {QMFBlockType{}, 0U, QMF_ERR_INVALID_STREAM}}) {
    EXPECT_EQ(film.Activate(blockType, stream), result) << blockType;
  }
  EXPECT_EQ(film.Number(QMF_QID_NUM_ACTIVE_TITLE_STREAMS), 1U);
  EXPECT_EQ(film.SetTitle(), QMF_OK) << "again";
  EXPECT_EQ(film.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), 1U);
  EXPECT_EQ(film.Module().SetMenu(film.Handle(), 0), QMF_ERR_NO_MENU_FOUND);
}

TEST(MkvModule, FillsTheSlotsThatProgramsLookFor) {
  EXPECT_THAT(FilledSlots(*kMkvModule.entryPoints),
              testing::ElementsAre(0, 1, 2, 3, 5, 7, 8, 9, 10, 11, 12, 13, 14, 17, 21, 22, 23, 24, 25));
}

}  // namespace
}  // namespace qmf::test
