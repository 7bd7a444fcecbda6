#include "readers/mkv/MkvQueries.h"

#include <gtest/gtest.h>

#include <limits>

#include "readers/mkv/MkvSyncWalk.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using test::MkvFile;
using Bytes = EbmlBuilder::Bytes;

MkvFile WithInfo(const EbmlBuilder& children) {
  return MkvFile(
      test::Header().Master(Element::Segment, EbmlBuilder().Master(Element::SegmentInfo, children)));
}

TEST(MkvDuration, CutsToWholeTicksBeforeScaling) {
  struct Row {
    double ticks;
    std::uint64_t timecodeScale;
    std::uint64_t duration;
  };
  const Row rows[] = {
      {5'400'000.0, 1'000'000, 54'000'000'000},
      {1234.9, 1'000'000, 12'340'000},
      {1000.0, 199, 1000},
      {1000.0, 99, 0},
      {1000.0, 0, 0},
      {9223372036854775808.0, 100, 9223372036854775808U},
      {-1.5, 100, ~std::uint64_t{0}},
      {std::numeric_limits<double>::infinity(), 100, 0},
      {std::numeric_limits<double>::quiet_NaN(), 100, 0},
  };
  for (const Row& row : rows) {
    MkvFile film = WithInfo(EbmlBuilder()
                                .Unsigned(Element::TimecodeScale, row.timecodeScale)
                                .Float(Element::Duration, row.ticks));
    EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), row.duration) << row.ticks;
  }
  EXPECT_EQ(WithInfo({}).Number(QMF_QID_TITLE_DURATION), 0U);
  MkvFile uninformed(test::Header().Master(Element::Segment, {}));
  EXPECT_EQ(uninformed.Selected(), QMF_OK);
  EXPECT_EQ(uninformed.Number(QMF_QID_TITLE_DURATION), 0U);
}

TEST(MkvQueries, DescribeTheFileAndItsStreams) {
  const EbmlBuilder info = EbmlBuilder()
                               .Text(Element::Title, "Film")
                               .Text(Element::FileName, "b.mkv")
                               .Text(Element::PrevFileName, "a.mkv")
                               .Text(Element::NextFileName, "c.mkv")
                               .Text(Element::MuxingApp, "mux")
                               .Text(Element::WritingApp, "write");
  const auto named = [](std::string_view name) {
    return EbmlBuilder().Text(Element::Name, name).Text(Element::CodecName, "codec");
  };
  const EbmlBuilder tracks =
      EbmlBuilder()
          .Raw(test::Track(11, test::kMatroskaAudio, "A_AC3", named("first")).Done())
          .Raw(test::Track(12, test::kMatroskaVideo, "V_MPEG2", named("picture")).Done())
          .Raw(test::Track(13, test::kMatroskaAudio, "A_OPUS",
                           named("second").Binary(Element::CodecPrivate, {1, 2, 3}))
                   .Done())
          .Raw(test::Track(14, test::kMatroskaSubtitle, "S_TEXT/UTF8", named("words")).Done())
          .Raw(test::Track(15, 3, "X_COMPLEX", {}).Done());
  MkvFile film(test::Header("webm").Master(
      Element::Segment, EbmlBuilder().Master(Element::SegmentInfo, info).Master(Element::Tracks, tracks)));

  struct TextRow {
    std::uint32_t qid;
    std::uint32_t index;
    std::u16string_view text;
  };
  const TextRow texts[] = {
      {QMF_QID_CONTAINER_TITLE_NAME, 0, u"Film"}, {QMF_QID_CONTAINER_FILE_NAME, 0, u"b.mkv"},
      {QMF_QID_CONTAINER_PREV_NAME, 0, u"a.mkv"}, {QMF_QID_CONTAINER_NEXT_NAME, 0, u"c.mkv"},
      {QMF_QID_CONTAINER_MUX_APP, 0, u"mux"},     {QMF_QID_CONTAINER_WRITE_APP, 0, u"write"},
      {QMF_QID_AUD_STREAM_NAME, 0, u"first"},     {QMF_QID_AUD_STREAM_NAME, 1, u"second"},
      {QMF_QID_VID_STREAM_NAME, 0, u"picture"},   {QMF_QID_SUB_STREAM_NAME, 0, u"words"},
      {QMF_QID_VID_CODEC_ID, 0, u"V_MPEG2"},      {QMF_QID_AUD_CODEC_ID, 0, u"A_AC3"},
      {QMF_QID_AUD_CODEC_ID, 1, u"UNKNOWN"},      {QMF_QID_SUB_CODEC_ID, 0, u"S_TEXT/UTF8"},
      {QMF_QID_VID_CODEC_NAME, 0, u"codec"},      {QMF_QID_AUD_CODEC_NAME, 1, u"codec"},
      {QMF_QID_SUB_CODEC_NAME, 0, u"codec"},
  };
  for (const TextRow& row : texts) EXPECT_EQ(film.Text(row.qid, row.index), row.text) << std::hex << row.qid;

  struct NumberRow {
    std::uint32_t qid;
    std::uint32_t index;
    std::uint64_t number;
  };
  const NumberRow numbers[] = {
      {QMF_QID_NUM_CONTAINER_TITLE, 0, 1},
      {QMF_QID_NUM_TITLE_STREAMS, 0, 4},
      {QMF_QID_GET_CONTAINER_TYPE, 0, 1},
      {QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA, 0, 1},
      {QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA, 0, 2},
      {QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA, 0, 1},
      {QMF_QID_TOTAL_NUM_TITLEMEDIA_VIDEOMEDIA, 0, 1},
      {QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA, 0, 2},
      {QMF_QID_TOTAL_NUM_TITLEMEDIA_SUBTITLEMEDIA, 0, 1},
      {QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM, 0, 12},
      {QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, 1, 13},
      {QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, 0, 14},
      {QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE, 0, 0},
      {QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE, 1, 3},
      {QMF_QID_MKV_IS_INTERLACED, 0, 0},
  };
  for (const NumberRow& row : numbers)
    EXPECT_EQ(film.Number(row.qid, row.index), row.number) << std::hex << row.qid;
  EXPECT_EQ(film.Bytes(QMF_QID_AUDIO_CODEC_PRIVATE_DATA, 1), (Bytes{1, 2, 3}));
  EXPECT_EQ(film.Bytes(QMF_QID_VIDEO_CODEC_PRIVATE_DATA, 0), Bytes{});
  EXPECT_EQ(film.ResultOf(QMF_QID_SUB_STREAM_FORMAT, 0), QMF_OK);

  QMFTitleMediaProp prop{};
  QMFQueryData data;
  data.size = sizeof(prop);
  data.pointer = &prop;
  EXPECT_EQ(film.Ask(QMF_QID_GET_TITLE_MEDIA_PROP, data), QMF_OK);
  EXPECT_EQ(prop.counts[0] + prop.counts[1] + prop.counts[2], 4);
}

TEST(MkvQueries, RefuseWhatIsNotThere) {
  MkvFile film(test::Film(test::Track(1, test::kMatroskaAudio, "A_AC3", {})));
  for (const std::uint32_t qid :
       {QMF_QID_AUD_STREAM_NAME, QMF_QID_AUD_CODEC_ID, QMF_QID_AUDIO_CODEC_PRIVATE_DATA}) {
    EXPECT_EQ(film.ResultOf(qid, 0), QMF_OK) << std::hex << qid;
    EXPECT_EQ(film.ResultOf(qid, 1), QMF_ERR_INVALID_STREAM) << std::hex << qid;
  }
  for (const std::uint32_t qid : {QMF_QID_VID_CODEC_NAME, QMF_QID_SPS_SIZE, QMF_QID_SUB_STREAM_FORMAT}) {
    EXPECT_EQ(film.ResultOf(qid, 0), QMF_ERR_INVALID_STREAM) << std::hex << qid;
  }
  EXPECT_EQ(film.ResultOf(QMF_QID_GET_BITRATE), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(film.ResultOf(0x123456), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(film.Text(QMF_QID_CONTAINER_TITLE_NAME), u"");

  std::uint8_t bytes[2] = {0xEE, 0xEE};
  QMFQueryData data;
  data.size = 1;
  data.pointer = bytes;
  EXPECT_EQ(film.Ask(QMF_QID_AUD_CODEC_ID, data), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(data.size, 2 * sizeof("A_AC3"));
  EXPECT_EQ(bytes[0], 0xEE);
}

TEST(MkvQueries, FindParameterSetsInAnAvcConfigurationRecord) {
  const Bytes record = {1, 100, 0,    40, 0xFF, 0xE2,  // two sequence parameter sets
                        0, 3,   0x67, 1,  2,    0,    1, 0x67, 1, 0, 2, 0x68, 9};
  const auto film = [](std::string_view codecId, const Bytes& bytes) {
    return test::Film(
        test::Track(1, test::kMatroskaVideo, codecId, EbmlBuilder().Binary(Element::CodecPrivate, bytes)));
  };
  MkvFile avc(film("V_MPEG4/ISO/AVC", record));
  EXPECT_EQ(avc.Number(QMF_QID_SPS_SIZE), 3U);
  EXPECT_EQ(avc.Bytes(QMF_QID_SPS_DATA), (Bytes{0x67, 1, 2}));
  EXPECT_EQ(avc.Number(QMF_QID_PPS_SIZE), 2U);
  EXPECT_EQ(avc.Bytes(QMF_QID_PPS_DATA), (Bytes{0x68, 9}));
  EXPECT_EQ(MkvFile(film("V_MPEG2", record)).Number(QMF_QID_SPS_SIZE), 0U);
  for (std::size_t size = 0; size < record.size(); ++size) {
    MkvFile cut(
        film("V_MPEG4/ISO/AVC", Bytes(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(size))));
    EXPECT_EQ(cut.Bytes(QMF_QID_SPS_DATA), size < 11 ? Bytes{} : (Bytes{0x67, 1, 2})) << size;
    EXPECT_EQ(cut.Bytes(QMF_QID_PPS_DATA), Bytes{}) << size;
  }
}

TEST(MkvQueries, CountFramesByTheirDuration) {
  const auto film = [](std::uint64_t defaultDuration) {
    return test::Film(test::Track(1, test::kMatroskaVideo, "V_MPEG4/ISO/AVC",
                                  test::Picture(64, 48, EbmlBuilder().Unsigned(Element::FlagInterlaced, 1))
                                      .Unsigned(Element::DefaultDuration, defaultDuration)));
  };
  MkvFile pal(film(40'000'000));
  EXPECT_EQ(pal.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), 135'000U);
  EXPECT_EQ(pal.Number(QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, 0, 10'000'000), 25U);
  EXPECT_EQ(pal.Number(QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, 0, 9'999'999), 24U);
  MkvFile ntsc(film(41'708'333));
  EXPECT_EQ(ntsc.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), 129'471U);  // 129,470.6
  MkvFile unknown(film(0));
  EXPECT_EQ(unknown.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), 0U);
  EXPECT_EQ(unknown.ResultOf(QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME), QMF_FAILURE);
  MkvFile endless(film(~std::uint64_t{0}));
  EXPECT_EQ(endless.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), 0U);
}

TEST(MkvQueries, CombineFieldsOfInterlacedAvcOnly) {
  const auto combine = [](MkvFile& film, std::uint64_t value, std::uint32_t index = 0) {
    return film.Set(QMF_QID_MKV_COMBINE_FIELDS, value, index);
  };
  const auto film = [](std::string_view codecId, std::uint64_t interlaced) {
    return test::Film(
        test::Track(1, test::kMatroskaVideo, codecId,
                    test::Picture(64, 48, EbmlBuilder().Unsigned(Element::FlagInterlaced, interlaced))
                        .Unsigned(Element::DefaultDuration, 20'000'000)));
  };
  MkvFile interlaced(film("V_MPEG4/ISO/AVC", 1));
  EXPECT_EQ(interlaced.Number(QMF_QID_MKV_IS_INTERLACED), 1U);
  EXPECT_EQ(combine(interlaced, 1), QMF_OK);
  EXPECT_EQ(interlaced.Number(QMF_QID_MKV_COMBINE_FIELDS), 1U);
  QMFVideoFormat format;
  ASSERT_EQ(interlaced.Video(format), QMF_OK);
  EXPECT_EQ(format.scale, 40'000'000U);
  EXPECT_EQ(interlaced.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), 135'000U);
  EXPECT_EQ(combine(interlaced, 0), QMF_OK);
  ASSERT_EQ(interlaced.Video(format), QMF_OK);
  EXPECT_EQ(format.scale, 20'000'000U);
  EXPECT_EQ(combine(interlaced, 1, 1), QMF_ERR_INVALID_STREAM);

  MkvFile progressive(film("V_MPEG4/ISO/AVC", 2));
  EXPECT_EQ(progressive.Number(QMF_QID_MKV_IS_INTERLACED), 0U);
  EXPECT_EQ(combine(progressive, 1), QMF_ERR_COMBINE_FIELDS_UNSUPPORTED);
  MkvFile mpeg2(film("V_MPEG2", 1));
  EXPECT_EQ(combine(mpeg2, 1), QMF_ERR_COMBINE_FIELDS_UNSUPPORTED);
}

TEST(MkvQueries, HandProtectionDataOn) {
  const EbmlBuilder protection =
      EbmlBuilder().Master(Element::TracksData, EbmlBuilder().Binary(Element::TracksDataDrmIcp, {4, 5, 6}));
  MkvFile film(
      test::Film(EbmlBuilder()
                     .Raw(test::Track(1, test::kMatroskaAudio, "A_AC3", protection).Done())
                     .Raw(test::Track(2, test::kMatroskaVideo, "V_MPEG2", test::Picture(64, 48)).Done())));
  EXPECT_EQ(film.Number(QMF_QID_HAS_TITLE_DRMICP), 1U);
  EXPECT_EQ(film.Number(QMF_QID_GET_TITLE_DRMICP_DATA_SIZE), 3U);
  EXPECT_EQ(film.Bytes(QMF_QID_GET_TITLE_DRMICP), (Bytes{4, 5, 6}));
  EXPECT_EQ(film.Number(QMF_QID_HAS_TITLE_DRM1), 0U);
  EXPECT_EQ(film.ResultOf(QMF_QID_GET_TITLE_DRM1), QMF_ERR_NO_DRM_PRESENT);
}

// Which segments are asked, in order, and where the walk ends, when segment `answering` has the answer.
struct Walked {
  std::vector<std::uint32_t> asked;
  std::uint32_t current;
  QMFResult result;
};

template <class Walk>
Walked DoWalk(Walk&& walk, std::uint32_t count, std::uint32_t current, std::uint32_t answering) {
  Walked walked{{}, current, QMF_OK};
  walked.result = walk(count, walked.current, [&] {
    walked.asked.push_back(walked.current);
    return walked.current == answering ? QMF_OK : QMF_FAILURE;
  });
  return walked;
}

TEST(MkvSyncWalk, AsksSegmentAfterSegment) {
  constexpr std::uint32_t kNobody = 1000;
  const auto backward = [](auto&&... arguments) { return WalkSyncBackward(arguments...); };
  const auto forward = [](auto&&... arguments) { return WalkSyncForward(arguments...); };
  using Asked = std::vector<std::uint32_t>;

  EXPECT_EQ(DoWalk(backward, 1, 0, 0).asked, Asked{0});
  const Walked alone = DoWalk(backward, 1, 0, kNobody);
  EXPECT_EQ(alone.asked, (Asked{0, 0}));
  EXPECT_EQ(alone.result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(DoWalk(backward, 3, 2, kNobody).asked, (Asked{2, 1, 0, 0}));
  const Walked found = DoWalk(backward, 3, 2, 1);
  EXPECT_EQ(found.result, QMF_OK);
  EXPECT_EQ(found.current, 1U);

  EXPECT_EQ(DoWalk(forward, 1, 0, kNobody).asked, Asked{0});
  const Walked last = DoWalk(forward, 3, 0, kNobody);
  EXPECT_EQ(last.asked, (Asked{0, 1, 2}));
  EXPECT_EQ(last.current, 2U);
  EXPECT_EQ(last.result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(DoWalk(forward, 3, 0, 1).current, 1U);
  // Without a list the bound is 4,294,967,295; the walk ends with the same result in two questions.
  const Walked unlisted = DoWalk(forward, 0, 0, kNobody);
  EXPECT_EQ(unlisted.asked, (Asked{0, 0}));
  EXPECT_EQ(unlisted.result, QMF_ERR_END_OF_STREAM);
}

}  // namespace
}  // namespace qmf
