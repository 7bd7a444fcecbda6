#include <gmock/gmock.h>

#include <cstring>

#include "tests/readers/avi/AviMedia.h"

namespace qmf::test {
namespace {

constexpr std::uint32_t kQueryToolFileVersion = 0x85770A;
constexpr std::uint32_t kQueryToolProductName = 0x85780A;

template <class Record>
Bytes BytesOf(const Record& record) {
  return Bytes(reinterpret_cast<const char*>(&record), sizeof(record));
}

TEST(AviQueries, FormatsAreTheFilesOwnByteForByte) {
  StartedAvi avi(
      {.streams = {VideoStream({.handler = "xvid", .scale = 1001, .rate = 24000}, {.compression = "XVID"}),
                   AudioStream({}, {.extra = Le(12, 2) + "twelve bytes"}),
                   VideoStream({.handler = "subs", .scale = 7, .rate = 9}, {.compression = "QXSA"})}});
  EXPECT_EQ(BytesOf(avi.Video()), Le(1, 4) + Le(24000, 4) + Le(1001, 4) + Le(1920, 4) + Le(1080, 4) +
                                      Le(24, 4) + "xvidXVID" + Le(6220800, 4) + Le(0, 4) + Le(2835, 4) +
                                      Le(2836, 4));
  EXPECT_EQ(BytesOf(avi.Format<QMFSubtitleFormat>(QMF_QID_SUB_STREAM_FORMAT)),
            Le(0x21, 4) + Le(9, 4) + Le(7, 4) + Le(1920, 4) + Le(1080, 4) + Le(24, 4) + "subsQXSA" +
                Le(6220800, 4));
  EXPECT_EQ(BytesOf(avi.Audio()), Le(0x11, 2) + Le(0x55, 2) + Le(2, 2) + Le(0, 2) + Le(48000, 4) +
                                      Le(16000, 4) + Le(1152, 2) + Le(16, 2) + Le(0, 2) + Le(12, 2) +
                                      "twelve bytes" + Bytes(12, '\0'));
  std::uint8_t small[47];
  std::memset(small, 0xAA, sizeof(small));
  EXPECT_EQ(avi.FillBytes(QMF_QID_VID_STREAM_FORMAT, small, sizeof(small)), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_THAT(small, ::testing::Each(0xAA));
}

TEST(AviQueries, ExtraAudioBytesAreKeptUpToTwentyTwo) {
  const Bytes full = "abcdefghijklmnopqrstuv";
  const std::tuple<Bytes, std::uint16_t, Bytes> cases[] = {
      {"", 0, ""},
      {Le(0, 2) + "ignored", 0, ""},
      {Le(1, 2) + "xyz", 1, "x"},
      {Le(22, 2) + full, 22, full},
      {Le(23, 2) + full + "w", 23, ""},
      {Le(10, 2) + "abc", 10, "abc"},  // The chunk ends before its own extra bytes do.
  };
  for (const auto& [written, size, kept] : cases) {
    StartedAvi avi({.streams = {AudioStream({}, {.extra = written})}});
    const QMFAudioFormat format = avi.Audio();
    EXPECT_EQ(format.extraSize, size);
    EXPECT_EQ(BytesOf(format.extra), kept + Bytes(sizeof(format.extra) - kept.size(), '\0')) << size;
  }
}

TEST(AviQueries, ShortChunksReadAsZeroBeyondTheirEnd) {
  const Bytes junk = Chunk("JUNK", Bytes(40, 'j'));
  const Bytes format = Chunk("strf", Le(40, 4) + Le(64, 4)) + junk;
  StartedAvi avi({.mainHeader = AviParts().mainHeader + Chunk("avih", Bytes(8, '\0')),
                  .streams = {List("strl", Strh({}) + format + Chunk("indx", Le(4, 4)) + junk)}});
  EXPECT_EQ(avi.Video().width, 64U);
  EXPECT_EQ(avi.Video().height, 0U);
  EXPECT_EQ(avi.Video().displayHeight, 0U);
  ExpectNumbers(avi, {{QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE, 0}, {QMF_QID_GET_SUPER_INDEX_NUM_ENTRIES, 0}});
}

TEST(AviQueries, AnswersAndFlagsThatNeedNoTitle) {
  OpenedFile avi(kAviModule, AviParts().Build());
  ExpectNumbers(avi, {{QMF_QID_NUM_CONTAINER_TITLE, 1},
                      {QMF_QID_MAX_SUPPORTED_VID_STREAMS, 1},
                      {QMF_QID_MAX_SUPPORTED_AUD_STREAMS, 8},
                      {QMF_QID_MAX_SUPPORTED_SUB_STREAMS, 8},
                      {QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE, 0},
                      {QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE, 0},
                      {QMF_QID_SUBTITLE_CODEC_PRIVATE_DATA_SIZE, 0}});
  EXPECT_EQ(avi.Text(QMF_QID_GET_TOOL_VERSION), std::nullopt);
  EXPECT_EQ(avi.Ask(QMF_QID_GET_BITRATE), QMF_ERR_UNSUPPORTED_QID) << "only remote files have one";
  EXPECT_EQ(avi.Ask(QMF_QID_GET_TITLE_MEDIA_PROP), QMF_ERR_UNSUPPORTED_QID) << "only menus have one";
  EXPECT_EQ(avi.SetTitle(1), QMF_OK) << "a title that does not exist changes nothing";
  EXPECT_EQ(avi.Ask(QMF_QID_TITLE_DURATION), QMF_FAILURE);
  for (const auto& [told, flag] : {std::pair(0x100U, 0U), {1U, 1U}, {2U, 1U}, {0U, 0U}}) {
    EXPECT_EQ(avi.Tell(QMF_QID_USE_CACHELESS_INDEX, told), QMF_OK);
    EXPECT_EQ(avi.Tell(QMF_QID_SET_MIN_MEM_USAGE, told), QMF_OK);
    ExpectNumbers(avi, {{QMF_QID_USE_CACHELESS_INDEX, flag}, {QMF_QID_GET_MIN_MEM_USAGE, flag}});
  }
  EXPECT_EQ(avi.Tell(QMF_QID_TITLE_DURATION, 0), QMF_ERR_UNSUPPORTED_QID);
}

TEST(AviQueries, OpenDmlIndexShowsAsContainerTypeAndOnTheFlyIndexIsForPlainFiles) {
  const auto superIndex = [](std::uint32_t entries) {
    return Chunk("indx", Le(4, 4) + Le(entries, 4) + "00dc" + Bytes(12, '\0'));
  };
  const std::vector<Bytes> openDml = {AudioStream({}, {}, superIndex(3)), VideoStream({}, {}, superIndex(5)),
                                      AudioStream({}, {}, superIndex(7))};
  struct Case {
    std::uint32_t isOnTheFly, type, entries;
    AviParts parts;
  };
  const Case cases[] = {
      {1, 0, 0, {}},  // Also when the file has an index.
      {1, 0, 0, {.index = ""}},
      {0, 0, 0, {.index = "", .behindRiff = Riff("MENU", "")}},
      {0, 0, 0, {.behindRiff = Riff("AVIX", "")}},
      {0, 0, 0, {.behindRiff = Chunk("MRIF", "AVIX")}},
      {0, 1, 5, {.streams = openDml}},
      {0, 1, 3, {.streams = {openDml[0], openDml[2]}}},
  };
  for (const Case& c : cases) {
    StartedAvi avi(c.parts);
    ExpectNumbers(avi, {{QMF_QID_ON_THE_FLY_INDEX, c.isOnTheFly},
                        {QMF_QID_GET_CONTAINER_TYPE, c.type},
                        {QMF_QID_GET_SUPER_INDEX_NUM_ENTRIES, c.entries},
                        {QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE, 0x1234}});
  }
}

TEST(AviQueries, DurationsAndFramesFollowTheStreamHeaders) {
  struct Case {
    std::uint32_t scale, rate, length;
    std::optional<std::uint64_t> duration;
    std::uint64_t time;
    std::optional<std::uint64_t> frame;
  };
  const Case cases[] = {
      {1, 25, 250, 100'000'000, 10'000'000, 25},
      {1001, 24000, 2400, 1'001'000'000, 417'082, 0},
      {1001, 24000, 2400, 1'001'000'000, 417'083, 1},
      {1001, 30000, 7, 2'335'666, 333'667, 1},
      {1, 120, 1, 83'333, 0, 0},
      {0xFFFFFFFF, 1, 0xFFFFFFFF, INT64_MAX, 42'949'672'950'000'000, 1},
      {1, 10'000'000, 5, 5, 7, 7},
      // Frames without duration have no number but the first.
      {0, 0, 250, {}, 12345, {}},
      {0, 25, 250, 0, 12345, {}},
      {1, 20'000'000, 250, 125, 12345, {}},
      {1, 0, 250, {}, 0, 0},
  };
  for (const Case& c : cases) {
    StartedAvi avi({.streams = {VideoStream({.scale = c.scale, .rate = c.rate, .length = c.length})}});
    EXPECT_EQ(avi.Number(QMF_QID_TITLE_DURATION), c.duration) << c.rate;
    EXPECT_EQ(avi.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), c.length);
    EXPECT_EQ(avi.Number(QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, 0, c.time), c.frame) << c.rate;
    EXPECT_EQ(avi.Ask(QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, 0, c.time), c.frame ? QMF_OK : QMF_FAILURE);
    StartedAvi counted({.mainHeader = Chunk("avih", Bytes(16, '\0') + Le(c.length, 4) + Bytes(36, '\0')),
                        .streams = {VideoStream({.scale = c.scale, .rate = c.rate, .length = 0})}});
    EXPECT_EQ(counted.Number(QMF_QID_TITLE_DURATION), c.duration) << "by the main header";
  }
}

TEST(AviQueries, WithoutVideoTheLongestAudioStreamIsTheTitlesLengthAndThereAreNoKeyFrames) {
  AviParts parts = {.streams = {VideoStream({}, {.compression = "QXSB"})}};
  EXPECT_EQ(StartedAvi(parts).Ask(QMF_QID_TITLE_DURATION), QMF_FAILURE);
  for (const auto& [rate, length] : {std::pair(48000U, 48000U), {8000, 16000}, {0, 900}}) {
    parts.streams.push_back(AudioStream({.scale = 1, .rate = rate, .length = length}));
  }
  StartedAvi avi(parts);
  ExpectNumbers(avi, {{QMF_QID_TITLE_DURATION, 20'000'000}, {QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA, 0}});
  for (const std::uint32_t qid : {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT,
                                  QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME}) {
    EXPECT_EQ(avi.Ask(qid), QMF_ERR_END_OF_STREAM);
  }
}

TEST(AviQueries, TextsComeFromTheInfoList) {
  using Answer = std::optional<std::u16string>;
  const std::tuple<const char*, Bytes, Answer, Answer, Answer> cases[] = {
      {"none", "", {}, {}, {}},
      {"all", Chunk("ISFT", "tool") + Chunk("IQFV", "1.2") + Chunk("IQPN", "name"), u"tool", u"1.2", u"name"},
      {"software only", Chunk("ISFT", "tool"), u"tool", u"", {}},
      {"version without software", Chunk("IQFV", "1.2") + Chunk("INAM", "other"), {}, {}, {}},
      {"too long", Chunk("ISFT", Bytes(300, 's')) + Chunk("IQPN", Bytes(256, 'p')), {}, {}, {}},
      {"longest", Chunk("ISFT", Bytes(255, 's')), std::u16string(255, u's'), u"", {}},
      {"zero-terminated", Chunk("ISFT", Bytes("to\0ol", 5)), u"to", u"", {}},
      {"UTF-8 and ISO 8859-1", Chunk("ISFT", "\xC3\xA4") + Chunk("IQFV", "\xE4"), u"\u00E4", u"\u00E4", {}},
  };
  for (const auto& [name, info, software, version, product] : cases) {
    StartedAvi avi({.beforeMovi = List("INFO", info)});
    EXPECT_EQ(avi.Text(QMF_QID_GET_TOOL_VERSION), software) << name;
    EXPECT_EQ(avi.Text(kQueryToolFileVersion), version) << name;
    EXPECT_EQ(avi.Text(kQueryToolProductName), product) << name;
  }
}

}  // namespace
}  // namespace qmf::test
