#include "readers/es/AvcModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "framework/ModuleBidding.h"
#include "tests/support/H264Writer.h"
#include "tests/support/OpenedFile.h"
#include "tests/support/SparseSource.h"

namespace qmf::test {
namespace {

using SPL_H264::H264HdrSeqParSet;
using ::testing::ElementsAre;

constexpr std::int64_t kFrame = 400'000;  // 25 pictures a second

Bytes Frame(std::uint32_t number) {
  return ByteStream({SliceUnit({.frameNum = number % 16, .orderLsb = 2 * number % 16})});
}

// An IDR picture of two slices with its sets, three pictures, one to recover at, and two more.
Bytes PlainStream() {
  const Bytes idr = ByteStream({{0x09, 0xF0},
                                SpsUnit(PlainSps()),
                                PpsUnit(),
                                SliceUnit({.type = 5}),
                                SliceUnit({.type = 5, .firstMb = 6})});
  const Bytes recovery = ByteStream({RecoveryPointUnit(), SliceUnit({.frameNum = 4, .orderLsb = 8})});
  return idr + Frame(1) + Frame(2) + Frame(3) + recovery + Frame(5) + Frame(6);
}

StartedFile Opened(const Bytes& stream) {
  return {kAvcModule, stream};
}

std::vector<std::int64_t> TimesOf(const std::vector<ReadBlock>& blocks) {
  std::vector<std::int64_t> times;
  for (const ReadBlock& block : blocks) times.push_back(block.time / kFrame);
  return times;
}

TEST(AvcModule, DeliversAccessUnits) {
  const Bytes stream = PlainStream();
  StartedFile file = Opened(stream);
  ASSERT_EQ(file.result, QMF_OK);
  Bytes all;
  const auto blocks = file.Rest();
  EXPECT_THAT(TimesOf(blocks), ElementsAre(0, 1, 2, 3, 4, 5, 6));
  for (const ReadBlock& block : blocks) {
    all += block.bytes;
    EXPECT_EQ(block.endTime, block.time + kFrame);
    EXPECT_EQ(block.key == QMFBlock::kKey, block.time == 0 || block.time == 4 * kFrame);
  }
  EXPECT_EQ(all, stream);
  EXPECT_EQ(file.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(AvcModule, TakesStartCodesOfAnyLengthAndZerosBetweenUnits) {
  const Bytes sets = Bytes(5) + WithStartCode(SpsUnit(PlainSps()), false) + Bytes(2) +
                     WithStartCode(PpsUnit(), false) + WithStartCode(SliceUnit({.type = 5}), false);
  const Bytes second = WithStartCode(SliceUnit({.frameNum = 1}), true) + Bytes(3);
  StartedFile file = Opened(sets + second);
  ASSERT_EQ(file.result, QMF_OK);
  const auto blocks = file.Rest();
  ASSERT_EQ(blocks.size(), 2U);
  EXPECT_EQ(blocks[0].bytes.size(), sets.size() - 4);  // from the zero byte of the first start code on
  EXPECT_EQ(blocks[1].bytes, second);
  EXPECT_EQ(file.Number(QMF_QID_PPS_SIZE), PpsUnit().size());
}

TEST(AvcModule, FindsStartCodesAcrossAllBordersOfItsBuffers) {
  const Bytes head = ByteStream({SpsUnit(PlainSps()), PpsUnit(), SliceUnit({.type = 5})});
  for (const std::size_t border : {2045U, 4096U, 16384U}) {
    for (std::size_t shift = 0; shift < 10; ++shift) {
      StartedFile file = Opened(head + Bytes(border - head.size() - shift, 0xAA) + Frame(1));
      const auto blocks = file.Rest();
      ASSERT_EQ(blocks.size(), 2U) << border << " - " << shift;
      EXPECT_EQ(blocks[1].bytes, Frame(1));
    }
  }
}

TEST(AvcModule, CountsFieldsAsHalfFrames) {
  H264HdrSeqParSet sps = PlainSps();
  sps.frame_mbs_only_flag = 0;
  sps.time_scale = 50;
  const Bytes stream =
      ByteStream({SpsUnit(sps), PpsUnit(), SliceUnit({.type = 5, .field = 1}),
                  SliceUnit({.type = 1, .field = 2}), SliceUnit({.frameNum = 1, .field = 0})});
  StartedFile file = Opened(stream);
  std::vector<std::int64_t> times;
  for (const ReadBlock& block : file.Rest()) times.push_back(block.time);
  EXPECT_THAT(times, ElementsAre(0, 200'000, 400'000));
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 800'000U);
}

TEST(AvcModule, CountsTheDurationOnlyWhenAsked) {
  Bytes stream = PlainStream();
  for (std::uint32_t i = 7; i < 20000; ++i) stream += Frame(i);
  StartedFile file = Opened(stream);
  EXPECT_LT(file.BytesRead(), 20'000U);
  (void)file.Next();
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 20000U * kFrame);
  EXPECT_LT(file.BytesRead(), stream.size() * 3 / 2);
  EXPECT_EQ(file.Next().time, kFrame);  // reading goes on where it was
  const std::uint64_t read = file.BytesRead();
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 20000U * kFrame);
  EXPECT_EQ(file.BytesRead(), read);
}

TEST(AvcModule, SearchesNoWholeDiskForTheNextUnit) {
  const auto stream = std::make_shared<SparseSource>(PlainStream(), std::uint64_t{1} << 31);
  StartedFile file(kAvcModule, std::shared_ptr<FileSource>(stream));
  EXPECT_EQ(file.Rest().size(), 6U);
  EXPECT_LT(file.BytesRead(), AnnexBUnits::kMaxUnitSize * 3 / 2);
}

TEST(AvcModule, SeeksToRecoveryPoints) {
  const Bytes stream = PlainStream();
  StartedFile file = Opened(stream);
  for (const auto& [wanted, landed] : {std::pair<std::int64_t, std::int64_t>{4 * kFrame, 4 * kFrame},
                                       {4 * kFrame - 1, 0},
                                       {5 * kFrame, 4 * kFrame},
                                       {INT64_MAX, 4 * kFrame},
                                       {INT64_MIN, 0}}) {
    EXPECT_EQ(file.Seek(kBlockVideo, wanted), landed) << wanted;
    const ReadBlock block = file.Next();
    EXPECT_EQ(block.time, landed);
    EXPECT_EQ(block.key, QMFBlock::kKey);
  }
  EXPECT_EQ(file.Rest().size(), 6U);
  EXPECT_EQ(file.SetTitle(0), QMF_OK);
  EXPECT_EQ(file.Rest().size(), 7U);
}

TEST(AvcModule, RefusesStreamsItCannotTellAbout) {
  const auto stream = [](const std::function<void(H264HdrSeqParSet&)>& change, const Bytes& pps) {
    H264HdrSeqParSet sps = PlainSps();
    change(sps);
    return ByteStream({SpsUnit(sps), pps, SliceUnit({.type = 5})});
  };
  const auto same = [](H264HdrSeqParSet&) {};
  const auto scaling = [](H264HdrSeqParSet& s) {
    s.profile_idc = 100, s.seq_scaling_matrix_present_flag = 1;
  };
  const std::tuple<const char*, Bytes, QMFResult> kRows[] = {
      {"nothing", {}, QMF_ERR_INVALID_FILE},
      {"a start code alone", {0, 0, 1}, QMF_ERR_INVALID_FILE},
      {"no sequence set", ByteStream({PpsUnit(), SliceUnit({})}), QMF_ERR_INVALID_FILE},
      {"scaling matrix", stream(scaling, PpsUnit()), QMF_ERR_UNSUPPORTED_SPS_DATA},
      {"no units", stream([](H264HdrSeqParSet& s) { s.num_units_in_tick = 0; }, PpsUnit()), QMF_FAILURE},
      {"half a tick", stream([](H264HdrSeqParSet& s) { s.time_scale = 1; }, PpsUnit()), QMF_FAILURE},
      {"no picture set", ByteStream({SpsUnit(PlainSps())}), QMF_ERR_AVC_STREAM_NOT_SUPPORTED},
      {"picture set of another", stream(same, PpsUnit(0, 1)), QMF_ERR_AVC_STREAM_NOT_SUPPORTED},
      {"slice groups", stream(same, PpsUnit(0, 0, 2)), QMF_ERR_AVC_STREAM_NOT_SUPPORTED},
  };
  for (const auto& [name, bytes, result] : kRows) {
    EXPECT_EQ(Opened(bytes).result, result) << name;
  }
}

TEST(AvcModule, AnswersQueries) {
  H264HdrSeqParSet sps = PlainSps();
  sps.aspect_ratio_info_present_flag = 1;
  sps.aspect_ratio_idc = 255;
  StartedFile file = Opened(ByteStream({SpsUnit(sps), PpsUnit(), SliceUnit({.type = 5})}));
  QMFVideoFormat format{};
  EXPECT_EQ(file.Fill(QMF_QID_VID_STREAM_FORMAT, format), QMF_ERR_AR_EXTENDED_UNSUPPORTED);
  EXPECT_EQ(file.FillBytes(QMF_QID_VID_STREAM_FORMAT, &format, 47), QMF_ERR_BUFFER_TOO_SMALL);
  Bytes set(SpsUnit(sps).size());
  EXPECT_EQ(file.FillBytes(QMF_QID_SPS_DATA, set.data(), set.size()), QMF_OK);
  EXPECT_EQ(set, SpsUnit(sps));
  EXPECT_EQ(file.Number(QMF_QID_SPS_SIZE), set.size());
  EXPECT_EQ(file.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), 1U);
  EXPECT_EQ(file.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA), 0U);
  EXPECT_THAT(file.Format<QMFTitleMediaProp>(QMF_QID_GET_TITLE_MEDIA_PROP).counts, ElementsAre(1, 0, 0));
  EXPECT_EQ(file.Ask(QMF_QID_GET_BITRATE), QMF_ERR_INVALID_QUERY_ID);
  EXPECT_EQ(file.Ask(QMF_QID_TITLE_DURATION, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(file.SetTitle(1), QMF_ERR_INVALID_TITLE_INDEX);
  EXPECT_EQ(file.Module().SetInfo, nullptr);
  EXPECT_EQ(file.Module().SetMenu, nullptr);
  EXPECT_EQ(file.Activate(kBlockVideo, 0, false), QMF_OK);
  EXPECT_EQ(file.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(AvcModule, IsChosenByExtensionAlone) {
  for (const auto& [name, score] :
       {std::pair{u"a.264", 100}, {u"a.h264 ", 100}, {u"a.H264", 0}, {u"a.mkv", 0}}) {
    EXPECT_EQ(Score(kAvcModule, name), score);
  }
}

}  // namespace
}  // namespace qmf::test
