#include "readers/es/AvcModule.h"

#include <gtest/gtest.h>

#include "tests/support/H264Writer.h"
#include "tests/support/OpenedFile.h"
#include "tests/support/SparseSource.h"

namespace qmf::test {
namespace {

using SPL_H264::H264HdrSeqParSet;

constexpr std::int64_t kFrame = 400'000;  // 25 pictures a second

const Bytes kPrefix = {0x6E, 0x80, 0x00, 0x07};

Bytes Frame(std::uint32_t number) {
  return ByteStream({kPrefix, SliceUnit({.frameNum = number % 16, .orderLsb = 2 * number % 16})});
}

// An IDR picture of two slices with its sets, three pictures, one to recover at, and two more.
Bytes PlainStream() {
  const Bytes idr = ByteStream({{0x09, 0xF0},
                                SpsUnit(PlainSps()),
                                PpsUnit(),
                                SliceUnit({.type = 5}),
                                kPrefix,
                                SliceUnit({.type = 5, .firstMb = 6})});
  const Bytes recovery = ByteStream({RecoveryPointUnit(), SliceUnit({.frameNum = 4, .orderLsb = 8})});
  return idr + Frame(1) + Frame(2) + Frame(3) + recovery + Frame(5) + Frame(6);
}

StartedFile Opened(const Bytes& stream) {
  return {kAvcModule, stream};
}

TEST(AvcModule, DeliversAccessUnits) {
  const Bytes stream = PlainStream();
  Bytes all;
  std::int64_t time = 0;
  for (const ReadBlock& block : Opened(stream).Rest()) {
    all += block.bytes;
    EXPECT_EQ(block.time, time);
    EXPECT_TRUE(time != kFrame || block.bytes == Frame(1));
    EXPECT_EQ(block.endTime, time += kFrame);
    EXPECT_EQ(block.key == QMFBlock::kKey, block.time == 0 || block.time == 4 * kFrame);
  }
  EXPECT_EQ(time, 7 * kFrame);
  EXPECT_EQ(all, stream);
}

TEST(AvcModule, TakesStartCodesOfAnyLengthAndZerosBetweenUnits) {
  const Bytes sets = Bytes(5) + WithStartCode(SpsUnit(PlainSps()), false) + Bytes(2) +
                     WithStartCode(PpsUnit(), false) + WithStartCode(SliceUnit({.type = 5}), false);
  const Bytes second = WithStartCode(SliceUnit({.frameNum = 1}), true);
  const Bytes third = WithStartCode(SliceUnit({.frameNum = 2}), false) + Bytes(3);
  StartedFile file = Opened(sets + second + third);
  const auto blocks = file.Rest();
  ASSERT_EQ(blocks.size(), 3U);
  EXPECT_EQ(blocks[0].bytes.size(), sets.size() - 4);  // from the zero byte of the first start code on
  EXPECT_EQ(blocks[1].bytes, second);
  EXPECT_EQ(blocks[2].bytes, third);
  EXPECT_EQ(file.Number(QMF_QID_PPS_SIZE), PpsUnit().size());
}

TEST(AvcModule, FindsStartCodesAcrossAllBordersOfItsBuffers) {
  const Bytes head = ByteStream({SpsUnit(PlainSps()), PpsUnit(), SliceUnit({.type = 5})});
  for (const std::size_t border : {2045U, 4096U, 16384U}) {
    for (std::size_t shift = 0; shift < 10; ++shift) {
      const auto blocks = Opened(head + Bytes(border - head.size() - shift, 0xAA) + Frame(1)).Rest();
      ASSERT_EQ(blocks.size(), 2U) << border << " - " << shift;
      EXPECT_EQ(blocks[1].bytes, Frame(1));
    }
  }
}

TEST(AvcModule, CountsFieldsAsHalfFrames) {
  H264HdrSeqParSet sps = PlainSps();
  sps.frame_mbs_only_flag = 0;
  StartedFile file =
      Opened(ByteStream({SpsUnit(sps), PpsUnit(), SliceUnit({.type = 5, .field = 1}),
                         SliceUnit({.type = 1, .field = 2}), SliceUnit({.frameNum = 1, .field = 0})}));
  for (const std::int64_t time : {0, 200'000, 400'000}) EXPECT_EQ(file.Next().time, time);
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 800'000U);

  // Also where only places of a long file are looked at, far behind the parameter sets.
  Bytes film = ByteStream({SpsUnit(sps), PpsUnit(), SliceUnit({.type = 5, .field = 1})});
  const Bytes second = ByteStream({SliceUnit({.field = 2}) + Bytes(5000, 0x55)});
  const Bytes first = ByteStream({SliceUnit({.frameNum = 1, .field = 1}) + Bytes(5000, 0x55)});
  for (int i = 0; i < 1500; ++i) film += second + first;
  EXPECT_NEAR(static_cast<double>(*Opened(film).Number(QMF_QID_TITLE_DURATION)), 1500 * kFrame, 10 * kFrame);
}

TEST(AvcModule, WalksTheFileWhenAskedAndOnlyOnce) {
  const Bytes plain = PlainStream();
  Bytes stream;
  for (int i = 0; i < 3000; ++i) stream += plain;
  StartedFile file = Opened(stream);
  EXPECT_LT(file.BytesRead(), 20'000U);
  (void)file.Next();
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 21'000U * kFrame);
  EXPECT_LT(file.BytesRead(), stream.size() * 3 / 2);
  EXPECT_EQ(file.Next().time, kFrame);  // reading goes on where it was
  const std::uint64_t read = file.BytesRead();
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 21'000U * kFrame);
  EXPECT_EQ(file.BytesRead(), read);

  // What was read is known to seeks.
  StartedFile other = Opened(stream);
  EXPECT_EQ(other.Rest().size(), 21'000U);
  const std::uint64_t walked = other.BytesRead();
  EXPECT_EQ(other.Seek(kBlockVideo, 20'997 * kFrame), 20'997 * kFrame);
  EXPECT_LT(other.BytesRead(), walked + 100'000);
}

TEST(AvcModule, SearchesNoWholeDiskForTheNextUnit) {
  const auto stream = std::make_shared<SparseSource>(PlainStream(), std::uint64_t{1} << 31);
  StartedFile file(kAvcModule, std::shared_ptr<FileSource>(stream));
  EXPECT_EQ(file.Rest().size(), 6U);
  EXPECT_LT(file.BytesRead(), AnnexBUnits::kMaxUnitSize * 3 / 2);
}

TEST(AvcModule, SeeksToRecoveryPoints) {
  StartedFile file = Opened(PlainStream());
  for (const auto& [wanted, landed] :
       {std::pair(4 * kFrame, 4), {4 * kFrame - 1, 0}, {5 * kFrame, 4}, {INT64_MAX, 4}, {INT64_MIN, 0}}) {
    EXPECT_EQ(file.Seek(kBlockVideo, wanted), landed * kFrame) << wanted;
    const ReadBlock block = file.Next();
    EXPECT_EQ(block.time, landed * kFrame);
    EXPECT_EQ(block.key, QMFBlock::kKey);
  }
  EXPECT_EQ(file.Rest().size(), 6U);
  // Parameter sets that came only once are known behind a seek, by a walk or by what the length taught.
  const Bytes again = PlainStream() + ByteStream({SliceUnit({.type = 5, .idrPicId = 1})}) + Frame(1);
  for (const bool isCounted : {false, true}) {
    StartedFile once = Opened(again);
    EXPECT_TRUE(!isCounted || once.Number(QMF_QID_TITLE_DURATION) == 9 * kFrame);
    EXPECT_EQ(once.Seek(kBlockVideo, 8 * kFrame), 7 * kFrame);
    EXPECT_EQ(once.Next().key, QMFBlock::kKey) << isCounted;
  }
}

TEST(AvcModule, RefusesStreamsItCannotTellAbout) {
  const auto stream = [](const H264HdrSeqParSet& sps, const Bytes& pps) {
    return ByteStream({SpsUnit(sps), pps, SliceUnit({.type = 5})});
  };
  const H264HdrSeqParSet plain = PlainSps();
  const auto behindBrokenSets = [&](int count) {
    Bytes broken(16'000, 0xFF);
    broken[0] = 0x67;
    Bytes bytes;
    for (int i = 0; i < count; ++i) bytes += ByteStream({broken});
    return bytes + stream(plain, PpsUnit());
  };
  H264HdrSeqParSet scaling = plain, still = plain, slow = plain;
  scaling.profile_idc = 100;
  scaling.seq_scaling_matrix_present_flag = 1;
  still.num_units_in_tick = 0;
  slow.time_scale = 1;
  const std::tuple<const char*, Bytes, QMFResult> kRows[] = {
      {"nothing", {}, QMF_ERR_INVALID_FILE},
      {"a start code alone", {0, 0, 1}, QMF_ERR_INVALID_FILE},
      {"no sequence set", ByteStream({PpsUnit(), SliceUnit({})}), QMF_ERR_INVALID_FILE},
      {"behind broken sets", behindBrokenSets(120), QMF_OK},
      {"behind too many of them", behindBrokenSets(140), QMF_FAILURE},
      {"scaling matrix", stream(scaling, PpsUnit()), QMF_ERR_UNSUPPORTED_SPS_DATA},
      {"no units", stream(still, PpsUnit()), QMF_FAILURE},
      {"half a tick", stream(slow, PpsUnit()), QMF_FAILURE},
      {"no picture set", ByteStream({SpsUnit(plain)}), QMF_ERR_AVC_STREAM_NOT_SUPPORTED},
      {"picture set of another", stream(plain, PpsUnit(0, 1)), QMF_ERR_AVC_STREAM_NOT_SUPPORTED},
      {"slice groups", stream(plain, PpsUnit(0, 0, 2)), QMF_ERR_AVC_STREAM_NOT_SUPPORTED},
  };
  for (const auto& [name, bytes, result] : kRows) EXPECT_EQ(Opened(bytes).result, result) << name;
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
  EXPECT_EQ(file.Ask(QMF_QID_TITLE_DURATION, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(file.Module().SetInfo, nullptr);
  EXPECT_EQ(file.Module().SetMenu, nullptr);
}

}  // namespace
}  // namespace qmf::test
