#include "readers/mkv/MkvQueries.h"

#include <gtest/gtest.h>

#include <limits>

#include "readers/mkv/MkvSyncWalk.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

TEST(MkvDuration, CutsToWholeTicksBeforeScaling) {
  const auto lasting = [](double ticks, std::uint64_t scale) {
    return WithInfo(Unsigned(E::TimecodeScale, scale) + Float(E::Duration, ticks));
  };
  const std::pair<Bytes, std::uint64_t> rows[] = {
      {lasting(5'400'000.0, 1'000'000), 54'000'000'000},
      {lasting(1234.9, 1'000'000), 12'340'000},
      {lasting(1000.0, 199), 1000},
      {lasting(1000.0, 99), 0},
      {lasting(1000.0, 0), 0},
      {lasting(9223372036854775808.0, 100), 9223372036854775808U},
      {lasting(-1.5, 100), ~std::uint64_t{0}},
      {lasting(std::numeric_limits<double>::infinity(), 100), 0},
      {lasting(std::numeric_limits<double>::quiet_NaN(), 100), 0},
      {WithInfo({}), 0},
      {Segment({}), 0},
  };
  for (const auto& [file, duration] : rows) {
    MkvFile film(file);
    EXPECT_EQ(film.result, QMF_OK);
    EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), duration) << testing::PrintToString(file);
  }
}

TEST(MkvQueries, DescribeTheFileAndItsStreams) {
  const Bytes info = Text(E::Title, "Film") + Text(E::FileName, "b.mkv") + Text(E::PrevFileName, "a.mkv") +
                     Text(E::NextFileName, "c.mkv") + Text(E::MuxingApp, "mux") +
                     Text(E::WritingApp, "write");
  const auto named = [](std::string_view name) { return Text(E::Name, name) + Text(E::CodecName, "codec"); };
  const Bytes tracks =
      Track(11, kMatroskaAudio, "A_AC3", named("first")) +
      Track(12, kMatroskaVideo, "V_MPEG2", named("picture")) +
      Track(13, kMatroskaAudio, "A_OPUS", named("second") + Put(E::CodecPrivate, {1, 2, 3})) +
      Track(14, kMatroskaSubtitle, "S_TEXT/UTF8", named("words")) + Track(15, 3, "X_COMPLEX");
  MkvFile film(Header("webm") + Put(E::Segment, Put(E::SegmentInfo, info) + Put(E::Tracks, tracks)));

  const std::tuple<std::uint32_t, std::uint32_t, std::u16string_view> texts[] = {
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
  for (const auto& [qid, index, text] : texts) EXPECT_EQ(film.Text(qid, index), text) << std::hex << qid;
  film.Expect({{QMF_QID_NUM_CONTAINER_TITLE, 0, 1},
               {QMF_QID_NUM_TITLE_STREAMS, 0, 4},
               {QMF_QID_GET_CONTAINER_TYPE, 0, 1},
               {QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA, 0, 1},
               {QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA, 0, 2},
               {QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA, 0, 1},
               {QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA, 0, 2},
               {QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM, 0, 12},
               {QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, 1, 13},
               {QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, 0, 14},
               {QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE, 0, 0},
               {QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE, 1, 3},
               {QMF_QID_MKV_IS_INTERLACED, 0, 0},
               {QMF_QID_AUD_STREAM_NAME, 2, 0, QMF_ERR_INVALID_STREAM},
               {QMF_QID_VID_CODEC_NAME, 1, 0, QMF_ERR_INVALID_STREAM},
               {QMF_QID_SUB_STREAM_FORMAT, 1, 0, QMF_ERR_INVALID_STREAM},
               {QMF_QID_GET_BITRATE, 0, 0, QMF_ERR_UNSUPPORTED_QID},
               {0x123456, 0, 0, QMF_ERR_UNSUPPORTED_QID}});
  EXPECT_EQ(film.Answer(QMF_QID_AUDIO_CODEC_PRIVATE_DATA, 1), (Bytes{1, 2, 3}));
  EXPECT_EQ(film.Answer(QMF_QID_VIDEO_CODEC_PRIVATE_DATA, 0), Bytes{});
  const auto subtitle = film.Format<QMFSubtitleFormat>(QMF_QID_SUB_STREAM_FORMAT);
  EXPECT_EQ(std::tuple(subtitle.kind, subtitle.scale), std::tuple(0x21, 1U));
  const auto prop = film.Format<QMFTitleMediaProp>(QMF_QID_GET_TITLE_MEDIA_PROP);
  EXPECT_EQ(std::tuple(prop.counts[0], prop.counts[1], prop.counts[2]), std::tuple(1, 2, 1));
  EXPECT_EQ(film.Tell(0x123456, 0), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(MkvFile(WithClusters({})).Text(QMF_QID_CONTAINER_TITLE_NAME), std::nullopt);
}

TEST(MkvQueries, FindParameterSetsInAnAvcConfigurationRecord) {
  const Bytes record = {1, 100, 0,    40, 0xFF, 0xE2,  // two sequence parameter sets
                        0, 3,   0x67, 1,  2,    0,    1, 0x67, 1, 0, 2, 0x68, 9};
  const auto film = [](std::string_view codecId, const Bytes& bytes) {
    return OneTrack(kMatroskaVideo, codecId, Put(E::CodecPrivate, bytes));
  };
  for (std::size_t size = 0; size <= record.size(); ++size) {
    MkvFile cut(film("V_MPEG4/ISO/AVC", Cut(record, size)));
    const Bytes sps = size < 11 ? Bytes{} : Bytes{0x67, 1, 2};
    const Bytes pps = size < record.size() ? Bytes{} : Bytes{0x68, 9};
    EXPECT_EQ(cut.Answer(QMF_QID_SPS_DATA), sps) << size;
    EXPECT_EQ(cut.Answer(QMF_QID_PPS_DATA), pps) << size;
    cut.Expect({{QMF_QID_SPS_SIZE, 0, sps.size()}, {QMF_QID_PPS_SIZE, 0, pps.size()}});
  }
  EXPECT_EQ(MkvFile(film("V_MPEG2", record)).Number(QMF_QID_SPS_SIZE), 0U);
  // What is left of a cut set is no list of others.
  const Bytes cutInASet = {1, 100, 0, 40, 0xFF, 0xE1, 0, 9, 0x67, 0, 2, 0x68, 9};
  EXPECT_EQ(MkvFile(film("V_MPEG4/ISO/AVC", cutInASet)).Answer(QMF_QID_PPS_DATA), Bytes{});
}

// A video track of this kind.
Bytes VideoTrack(std::string_view codecId, std::uint64_t interlaced, std::uint64_t defaultDuration) {
  return OneTrack(kMatroskaVideo, codecId,
                  Picture(64, 48, Unsigned(E::FlagInterlaced, interlaced)) +
                      Unsigned(E::DefaultDuration, defaultDuration));
}

TEST(MkvQueries, CountFramesByTheirDuration) {
  struct {
    std::uint64_t frame;
    std::uint64_t count;
    std::uint64_t atOneSecond;
    QMFResult result = QMF_OK;
  } const rows[] = {
      {40'000'000, 135'000, 25},
      {41'708'333, 129'471, 23},  // 129,470.6 and 23.98
      {0, 0, 0, QMF_FAILURE},
      {std::uint64_t{1} << 62, 0, 0, QMF_FAILURE},
      {~std::uint64_t{0}, 0, 0, QMF_FAILURE},
  };
  for (const auto& row : rows) {
    MkvFile(VideoTrack("V_MPEG4/ISO/AVC", 1, row.frame))
        .Expect({{QMF_QID_TITLEDATA_VIDEOFRAMECOUNT, 0, row.count},
                 {QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, 0, row.atOneSecond, row.result, 10'000'000}});
  }
}

TEST(MkvQueries, CombineFieldsOfInterlacedAvcOnly) {
  MkvFile interlaced(VideoTrack("V_MPEG4/ISO/AVC", 1, 20'000'000));
  EXPECT_EQ(interlaced.Number(QMF_QID_MKV_IS_INTERLACED), 1U);
  for (const std::uint64_t combined : {1U, 0U}) {
    EXPECT_EQ(interlaced.Tell(QMF_QID_MKV_COMBINE_FIELDS, combined), QMF_OK);
    EXPECT_EQ(interlaced.Video().scale, combined != 0 ? 40'000'000U : 20'000'000U);
    interlaced.Expect({{QMF_QID_MKV_COMBINE_FIELDS, 0, combined},
                       {QMF_QID_TITLEDATA_VIDEOFRAMECOUNT, 0, combined != 0 ? 135'000U : 270'000U}});
  }
  EXPECT_EQ(interlaced.Tell(QMF_QID_MKV_COMBINE_FIELDS, 1, 1), QMF_ERR_INVALID_STREAM);
  for (const Bytes& file :
       {VideoTrack("V_MPEG4/ISO/AVC", 2, 20'000'000), VideoTrack("V_MPEG2", 1, 20'000'000)})
    EXPECT_EQ(MkvFile(file).Tell(QMF_QID_MKV_COMBINE_FIELDS, 1), QMF_ERR_COMBINE_FIELDS_UNSUPPORTED);
}

TEST(MkvQueries, HandProtectionDataOn) {
  const Bytes protection = Put(E::TracksData, Put(E::TracksDataDrmIcp, {4, 5, 6}));
  MkvFile film(Segment(Info() + Put(E::Tracks, Track(1, kMatroskaAudio, "A_AC3", protection) +
                                                   Track(2, kMatroskaVideo, "V_MPEG2"))));
  film.Expect({{QMF_QID_HAS_TITLE_DRMICP, 0, 1},
               {QMF_QID_GET_TITLE_DRMICP_DATA_SIZE, 0, 3},
               {QMF_QID_HAS_TITLE_DRM1, 0, 0},
               {QMF_QID_GET_TITLE_DRM1, 0, 0, QMF_ERR_NO_DRM_PRESENT}});
  EXPECT_EQ(film.Answer(QMF_QID_GET_TITLE_DRMICP), (Bytes{4, 5, 6}));
}

// Which segments are asked, in order, when segment `answering` has the answer.
TEST(MkvSyncWalk, AsksSegmentAfterSegment) {
  using Asked = std::vector<std::uint32_t>;
  constexpr std::uint32_t kNobody = 1000;
  const auto walk = [](auto&& direction, std::uint32_t count, std::uint32_t current,
                       std::uint32_t answering) {
    Asked asked;
    const QMFResult result = direction(count, current, [&] {
      asked.push_back(current);
      return current == answering ? QMF_OK : QMF_FAILURE;
    });
    EXPECT_EQ(result, answering == kNobody ? QMF_ERR_END_OF_STREAM : QMF_OK);
    return asked;
  };
  const auto backward = [](auto&&... arguments) { return WalkSyncBackward(arguments...); };
  const auto forward = [](auto&&... arguments) { return WalkSyncForward(arguments...); };
  EXPECT_EQ(walk(backward, 1, 0, 0), Asked({0}));
  EXPECT_EQ(walk(backward, 1, 0, kNobody), Asked({0, 0}));
  EXPECT_EQ(walk(backward, 3, 2, kNobody), Asked({2, 1, 0, 0}));
  EXPECT_EQ(walk(backward, 3, 2, 1), Asked({2, 1}));
  EXPECT_EQ(walk(forward, 1, 0, kNobody), Asked({0}));
  EXPECT_EQ(walk(forward, 3, 0, kNobody), Asked({0, 1, 2}));
  EXPECT_EQ(walk(forward, 3, 0, 1), Asked({0, 1}));
  // Without a list the bound is 4,294,967,295; the walk ends with the same result in two questions.
  EXPECT_EQ(walk(forward, 0, 0, kNobody), Asked({0, 0}));
}

}  // namespace
}  // namespace qmf::test
