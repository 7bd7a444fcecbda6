#include "readers/mkv/MkvModule.h"

#include <gtest/gtest.h>

#include "framework/Container.h"
#include "framework/LogWriter.h"
#include "propertyhandler/PropertyValues.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using test::MkvFile;
using Bytes = EbmlBuilder::Bytes;

const QMFModuleEntryPoints& Module() {
  return *kMkvModule.entryPoints;
}

std::int32_t Score(const char16_t* path, const Bytes& bytes) {
  const SharedFileScope named(path, std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(bytes)));
  std::int32_t score = -1;
  EXPECT_EQ(Module().ProbeContainer(&score, path, nullptr), QMF_OK);
  return score;
}

TEST(MkvModule, BidsByContent) {
  Bytes magic = {0x1A, 0x45, 0xDF, 0xA3};
  magic.resize(83);
  EXPECT_EQ(Score(u"anything.txt", magic), 100);
  EXPECT_EQ(Score(u"film.mkv", Bytes(magic.begin(), magic.end() - 1)), 0);
  magic[3] = 0xA2;
  EXPECT_EQ(Score(u"film.mkv", magic), 0);
  EXPECT_EQ(Score(u"film.mkv", {}), 0);
}

TEST(MkvModule, BidsByExtensionOnlyWhereTheFileCannotBeOpened) {
  const auto score = [](const char16_t* path) {
    std::int32_t given = -1;
    EXPECT_EQ(Module().ProbeContainer(&given, path, nullptr), QMF_OK);
    return given;
  };
  EXPECT_EQ(score(u"missing.mkv"), 100);
  EXPECT_EQ(score(u"missing.qf3"), 100);
  EXPECT_EQ(score(u"missing.mkv  "), 100);
  EXPECT_EQ(score(u"missing.MKV"), 0);
  EXPECT_EQ(score(u"missing.mkv2"), 0);
  EXPECT_EQ(score(u"missing"), 0);
  QMFModuleHandle handle = nullptr;
  EXPECT_EQ(Module().OpenContainer(&handle, u"missing.mkv", nullptr), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(handle, nullptr);
}

TEST(MkvModule, SelectsTitleZeroAndAnswersLittleBeforeThat) {
  const Bytes bytes =
      test::Film(test::Track(1, test::kMatroskaVideo, "V_MPEG2", test::Picture(64, 48))).Done();
  const SharedFileScope named(u"film.mkv",
                              std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(bytes)));
  QMFModuleHandle handle = nullptr;
  ASSERT_EQ(Module().OpenContainer(&handle, u"film.mkv", nullptr), QMF_OK);
  QMFVideoFormat format;
  QMFQueryData data;
  const auto ask = [&](std::uint32_t qid) {
    data = {};
    data.size = sizeof(format);
    data.pointer = &format;
    return Module().GetInfo(handle, qid, &data, 0);
  };
  EXPECT_EQ(ask(QMF_QID_TITLE_DURATION), QMF_OK);
  EXPECT_EQ(data.value, 0U);
  EXPECT_EQ(ask(QMF_QID_VID_STREAM_FORMAT), QMF_FAILURE);
  EXPECT_EQ(ask(QMF_QID_AUD_STREAM_FORMAT), QMF_NULL_ARGUMENT);
  EXPECT_EQ(ask(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), QMF_FAILURE);
  EXPECT_EQ(Module().SetTitleActiveStream(handle, kBlockVideo, 0, 1), QMF_ERR_INVALID_STREAM);

  EXPECT_EQ(Module().SetTitle(handle, 1), QMF_ERR_INVALID_TITLE_INDEX);
  EXPECT_EQ(Module().SetTitle(handle, 0), QMF_OK);
  EXPECT_EQ(ask(QMF_QID_VID_STREAM_FORMAT), QMF_OK);
  EXPECT_EQ(Module().SetTitleActiveStream(handle, kBlockVideo, 0, 1), QMF_OK);
  EXPECT_EQ(Module().SetTitleActiveStream(handle, kBlockVideoAlternate, 0, 1), QMF_OK);
  EXPECT_EQ(ask(QMF_QID_NUM_ACTIVE_TITLE_STREAMS), QMF_OK);
  EXPECT_EQ(data.value, 1U);
  EXPECT_EQ(Module().SetTitleActiveStream(handle, kBlockVideo, 1, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(Module().SetTitleActiveStream(handle, kBlockAudio, 0, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(Module().SetTitleActiveStream(handle, 0, 0, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(Module().SetTitle(handle, 0), QMF_OK);  // again
  EXPECT_EQ(ask(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), QMF_OK);
  EXPECT_EQ(data.value, 1U);
  EXPECT_EQ(Module().SetMenu(handle, 0), QMF_ERR_NO_MENU_FOUND);
  EXPECT_EQ(Module().CloseContainer(handle), QMF_OK);
}

// A file laid out as the usual writers do: room for a seek head in front, a long gap before the first
// cluster.
TEST(MkvModule, AnswersThePropertiesInThreeReads) {
  const Bytes bytes =
      test::Header()
          .Master(
              Element::Segment,
              EbmlBuilder()
                  .Void(4200)
                  .Raw(test::Info().Done())
                  .Master(
                      Element::Tracks,
                      EbmlBuilder()
                          .Raw(test::Track(1, test::kMatroskaVideo, "V_MPEG2", test::Picture(64, 48)).Done())
                          .Raw(test::Track(2, test::kMatroskaAudio, "A_AAC", {}).Done()))
                  .Master(Element::Cluster, EbmlBuilder().Void(1 << 20)))
          .Done();
  const auto reader = std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(bytes));
  const SharedFileScope named(u"film.mkv", reader);
  SetLogOff();
  QMFContainer* container = nullptr;
  ASSERT_EQ(OpenContainer(&container, u"film.mkv", nullptr), QMF_OK);
  ASSERT_EQ(SetTitle(container, 0), QMF_OK);
  const PropertyValues values = ReadPropertyValues(container);
  for (const auto& value : values) EXPECT_TRUE(value);
  EXPECT_EQ(values[kMediaDuration], 54'000'000'000U);
  EXPECT_EQ(CloseContainer(container), QMF_OK);
}

}  // namespace
}  // namespace qmf
