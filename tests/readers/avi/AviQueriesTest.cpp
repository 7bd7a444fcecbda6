#include <gmock/gmock.h>

#include <cstring>

#include "tests/readers/avi/OpenedAvi.h"

namespace qmf::test {
namespace {

using ::testing::Optional;

constexpr std::uint32_t kQueryToolFileVersion = 0x85770A;
constexpr std::uint32_t kQueryToolProductName = 0x85780A;

TEST(AviQueries, FormatsAreTheFilesOwnByteForByte) {
  AviParts parts;
  parts.streams = {VideoStream({.handler = "xvid", .scale = 1001, .rate = 24000}, {.compression = "XVID"}),
                   AudioStream({}, {.extraSize = 12, .extra = "twelve bytes"}),
                   VideoStream({.handler = "subs", .scale = 7, .rate = 9}, {.compression = "QXSA"})};
  OpenedAvi avi(parts.Build());
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  const auto bytes = [](const auto& record) {
    return Bytes(reinterpret_cast<const char*>(&record), sizeof(record));
  };
  const Bytes video = Le(1, 4) + Le(24000, 4) + Le(1001, 4) + Le(1920, 4) + Le(1080, 4) + Le(24, 4) +
                      "xvidXVID" + Le(6220800, 4) + Le(0, 4) + Le(2835, 4) + Le(2836, 4);
  EXPECT_EQ(bytes(*avi.Format<QMFVideoFormat>(QMF_QID_VID_STREAM_FORMAT)), video);
  const Bytes subtitle =
      Le(0x21, 4) + Le(9, 4) + Le(7, 4) + Le(1920, 4) + Le(1080, 4) + Le(24, 4) + "subsQXSA" + Le(6220800, 4);
  EXPECT_EQ(bytes(*avi.Format<QMFSubtitleFormat>(QMF_QID_SUB_STREAM_FORMAT)), subtitle);
  const Bytes audio = Le(0x11, 2) + Le(0x55, 2) + Le(2, 2) + Le(0, 2) + Le(48000, 4) + Le(16000, 4) +
                      Le(1152, 2) + Le(16, 2) + Le(0, 2) + Le(12, 2) + "twelve bytes" + Bytes(12, '\0');
  EXPECT_EQ(bytes(*avi.Format<QMFAudioFormat>(QMF_QID_AUD_STREAM_FORMAT)), audio);
}

TEST(AviQueries, FormatNeedsRoomForItsRecord) {
  OpenedAvi avi(AviParts().Build());
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  std::uint8_t buffer[47];
  std::memset(buffer, 0xAA, sizeof(buffer));
  QMFQueryData data;
  data.size = sizeof(buffer);
  data.pointer = buffer;
  EXPECT_EQ(avi.Module().GetInfo(avi.Handle(), QMF_QID_VID_STREAM_FORMAT, &data, 0),
            QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_THAT(buffer, ::testing::Each(0xAA));
}

struct ExtraCase {
  std::int32_t written;  // The extra-size field; -1 leaves it out.
  const char* bytes;
  std::uint16_t extraSize;
  const char* extra;
};

TEST(AviQueries, ExtraAudioBytesAreKeptUpToTwentyTwo) {
  constexpr char kTwentyTwo[] = "abcdefghijklmnopqrstuv";
  const ExtraCase cases[] = {
      {-1, "", 0, ""},
      {0, "ignored", 0, ""},
      {1, "xyz", 1, "x"},
      {22, kTwentyTwo, 22, kTwentyTwo},
      {23, "abcdefghijklmnopqrstuvw", 23, ""},
      {30, "abcdefghijklmnopqrstuvwxyz0123", 30, ""},
      {10, "abc", 10, "abc"},  // The chunk ends before its own extra bytes do.
  };
  for (const ExtraCase& c : cases) {
    AviParts parts;
    parts.streams = {AudioStream({}, {.extraSize = c.written, .extra = c.bytes})};
    OpenedAvi avi(parts.Build());
    ASSERT_EQ(avi.SetTitle(), QMF_OK) << c.written;
    const auto format = avi.Format<QMFAudioFormat>(QMF_QID_AUD_STREAM_FORMAT);
    ASSERT_TRUE(format) << c.written;
    EXPECT_EQ(format->extraSize, c.extraSize) << c.written;
    Bytes padded = c.extra;
    padded.resize(sizeof(format->extra));
    EXPECT_EQ(Bytes(reinterpret_cast<const char*>(format->extra), sizeof(format->extra)), padded)
        << c.written;
  }
}

TEST(AviQueries, ShortChunksReadAsZeroBeyondTheirEnd) {
  AviParts parts;
  parts.streams = {
      List("strl", Strh({}) + Chunk("strf", Le(40, 4) + Le(64, 4)) + Chunk("JUNK", Bytes(40, 'j')))};
  OpenedAvi avi(parts.Build());
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  const auto format = avi.Format<QMFVideoFormat>(QMF_QID_VID_STREAM_FORMAT);
  EXPECT_EQ(format->width, 64U);
  EXPECT_EQ(format->height, 0U);
  EXPECT_EQ(format->displayHeight, 0U);
}

TEST(AviQueries, AnswersThatNeedNoTitle) {
  OpenedAvi avi(AviParts().Build());
  EXPECT_THAT(avi.Number(QMF_QID_NUM_CONTAINER_TITLE), Optional(1U));
  EXPECT_THAT(avi.Number(QMF_QID_MAX_SUPPORTED_VID_STREAMS), Optional(1U));
  EXPECT_THAT(avi.Number(QMF_QID_MAX_SUPPORTED_AUD_STREAMS), Optional(8U));
  EXPECT_THAT(avi.Number(QMF_QID_MAX_SUPPORTED_SUB_STREAMS), Optional(8U));
  for (const std::uint32_t qid :
       {QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE, QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE,
        QMF_QID_SUBTITLE_CODEC_PRIVATE_DATA_SIZE}) {
    EXPECT_THAT(avi.Number(qid), Optional(0U));
  }
  EXPECT_EQ(avi.Text(QMF_QID_GET_TOOL_VERSION), std::nullopt);
  EXPECT_EQ(avi.Result(QMF_QID_TITLE_DURATION), QMF_FAILURE);
  EXPECT_EQ(avi.Result(QMF_QID_GET_BITRATE), QMF_ERR_UNSUPPORTED_QID) << "only remote files have one";
  EXPECT_EQ(avi.Result(QMF_QID_GET_TITLE_MEDIA_PROP), QMF_ERR_UNSUPPORTED_QID) << "only menus have one";
  EXPECT_EQ(avi.Module().GetInfo(avi.Handle(), QMF_QID_TITLE_DURATION, nullptr, 0), QMF_NULL_ARGUMENT);
  EXPECT_EQ(avi.SetTitle(1), QMF_OK) << "a title that does not exist changes nothing";
  EXPECT_EQ(avi.Result(QMF_QID_TITLE_DURATION), QMF_FAILURE);
}

TEST(AviQueries, FlagsAreWhatWasSet) {
  OpenedAvi avi(AviParts().Build());
  const auto set = [&](std::uint32_t qid, std::uint64_t value) {
    QMFQueryData data;
    data.value = value;
    return avi.Module().SetInfo(avi.Handle(), qid, &data, 0);
  };
  EXPECT_THAT(avi.Number(QMF_QID_USE_CACHELESS_INDEX), Optional(0U));
  EXPECT_THAT(avi.Number(QMF_QID_GET_MIN_MEM_USAGE), Optional(0U));
  EXPECT_EQ(set(QMF_QID_USE_CACHELESS_INDEX, 1), QMF_OK);
  EXPECT_EQ(set(QMF_QID_SET_MIN_MEM_USAGE, 2), QMF_OK);
  EXPECT_THAT(avi.Number(QMF_QID_USE_CACHELESS_INDEX), Optional(1U));
  EXPECT_THAT(avi.Number(QMF_QID_GET_MIN_MEM_USAGE), Optional(1U));
  EXPECT_EQ(set(QMF_QID_USE_CACHELESS_INDEX, 0), QMF_OK);
  EXPECT_THAT(avi.Number(QMF_QID_USE_CACHELESS_INDEX), Optional(0U));
  EXPECT_EQ(set(QMF_QID_TITLE_DURATION, 0), QMF_ERR_UNSUPPORTED_QID);
}

TEST(AviQueries, OnTheFlyIndexIsForPlainFiles) {
  const auto onTheFly = [](const AviParts& parts) {
    OpenedAvi avi(parts.Build());
    EXPECT_FALSE(IsFailure(avi.SetTitle()));
    return avi.Number(QMF_QID_ON_THE_FLY_INDEX).value();
  };
  AviParts parts;
  EXPECT_EQ(onTheFly(parts), 1U) << "also when the file has an index";
  parts.index.clear();
  EXPECT_EQ(onTheFly(parts), 1U);
  parts.behindRiff = Riff("MENU", "");
  EXPECT_EQ(onTheFly(parts), 0U);
  parts.behindRiff = Riff("AVIX", "");
  EXPECT_EQ(onTheFly(parts), 0U);
  parts.behindRiff = Chunk("MRIF", "AVIX");
  EXPECT_EQ(onTheFly(parts), 0U);
  parts.behindRiff.clear();
  parts.streams = {VideoStream({}, {}, Chunk("indx", Bytes(24, '\0')))};
  EXPECT_EQ(onTheFly(parts), 0U);
}

TEST(AviQueries, OpenDmlIndexShowsAsContainerTypeAndEntryCount) {
  const auto superIndex = [](std::uint32_t entries) {
    return Chunk("indx", Le(4, 2) + Le(0, 2) + Le(entries, 4) + "00dc" + Bytes(12, '\0'));
  };
  AviParts parts;
  OpenedAvi plain(parts.Build());
  ASSERT_EQ(plain.SetTitle(), QMF_OK);
  EXPECT_THAT(plain.Number(QMF_QID_GET_CONTAINER_TYPE), Optional(0U));
  EXPECT_THAT(plain.Number(QMF_QID_GET_SUPER_INDEX_NUM_ENTRIES), Optional(0U));
  EXPECT_THAT(plain.Number(QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE), Optional(0x1234U));
  parts.streams = {AudioStream({}, {}, superIndex(3)), VideoStream({}, {}, superIndex(5)),
                   AudioStream({}, {}, superIndex(7))};
  OpenedAvi openDml(parts.Build());
  ASSERT_EQ(openDml.SetTitle(), QMF_OK);
  EXPECT_THAT(openDml.Number(QMF_QID_GET_CONTAINER_TYPE), Optional(1U));
  EXPECT_THAT(openDml.Number(QMF_QID_GET_SUPER_INDEX_NUM_ENTRIES), Optional(5U));
}

TEST(AviQueries, DurationsAndFramesFollowTheStreamHeaders) {
  struct Case {
    std::uint32_t scale, rate, length;
    std::uint64_t duration, time;
    std::uint32_t frame;
  };
  const Case cases[] = {
      {1, 25, 250, 100'000'000, 10'000'000, 25},
      {1001, 24000, 2400, 1'001'000'000, 417'082, 0},
      {1001, 24000, 2400, 1'001'000'000, 417'083, 1},
      {1001, 30000, 7, 2'335'666, 333'667, 1},
      {1, 120, 1, 83'333, 0, 0},
      {0xFFFFFFFF, 1, 0xFFFFFFFF, INT64_MAX, 42'949'672'950'000'000, 1},
      {1, 10'000'000, 5, 5, 7, 7},
  };
  for (const Case& c : cases) {
    AviParts parts;
    parts.streams = {VideoStream({.scale = c.scale, .rate = c.rate, .length = c.length})};
    OpenedAvi avi(parts.Build());
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_THAT(avi.Number(QMF_QID_TITLE_DURATION), Optional(c.duration)) << c.rate;
    EXPECT_THAT(avi.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), Optional(c.length));
    EXPECT_THAT(avi.Number(QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, 0, c.time), Optional(c.frame)) << c.rate;
  }
}

TEST(AviQueries, FramesWithoutDurationHaveNoNumber) {
  struct Case {
    std::uint32_t scale, rate;
  };
  for (const Case& c : {Case{1, 0}, Case{0, 0}, Case{0, 25}, Case{1, 20'000'000}}) {
    AviParts parts;
    parts.streams = {VideoStream({.scale = c.scale, .rate = c.rate})};
    OpenedAvi avi(parts.Build());
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    QMFQueryData data;
    data.value = 12345;
    EXPECT_EQ(avi.Module().GetInfo(avi.Handle(), QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, &data, 0),
              QMF_FAILURE);
    EXPECT_EQ(data.value, 12345U);
    EXPECT_EQ(data.type, 0);
    EXPECT_THAT(avi.Number(QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, 0, 0), Optional(0U));
  }
}

TEST(AviQueries, WithoutVideoTheLongestAudioStreamIsTheTitlesLength) {
  const auto audio = [](std::uint32_t rate, std::uint32_t length) {
    return AudioStream({.scale = 1, .rate = rate, .length = length});
  };
  AviParts parts;
  parts.streams = {audio(48000, 48000), audio(8000, 16000), audio(0, 900), SubtitleStream()};
  OpenedAvi avi(parts.Build());
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_THAT(avi.Number(QMF_QID_TITLE_DURATION), Optional(20'000'000U));
  parts.streams = {SubtitleStream()};
  OpenedAvi subtitles(parts.Build());
  ASSERT_EQ(subtitles.SetTitle(), QMF_OK);
  EXPECT_EQ(subtitles.Result(QMF_QID_TITLE_DURATION), QMF_FAILURE);
}

TEST(AviQueries, TextsComeFromTheInfoList) {
  struct Case {
    const char* name;
    Bytes info;
    std::optional<std::u16string> software, version, product;
  };
  const Case cases[] = {
      {"none", "", {}, {}, {}},
      {"all", Chunk("ISFT", "tool") + Chunk("IQFV", "1.2") + Chunk("IQPN", "name"), u"tool", u"1.2", u"name"},
      {"software only", Chunk("ISFT", "tool"), u"tool", u"", {}},
      {"version without software", Chunk("IQFV", "1.2") + Chunk("INAM", "other"), {}, {}, {}},
      {"too long", Chunk("ISFT", Bytes(300, 's')) + Chunk("IQPN", Bytes(256, 'p')), {}, {}, {}},
      {"longest", Chunk("ISFT", Bytes(255, 's')), std::u16string(255, u's'), u"", {}},
      {"zero-terminated", Chunk("ISFT", Bytes("to\0ol", 5)), u"to", u"", {}},
      {"UTF-8 and ISO 8859-1", Chunk("ISFT", "\xC3\xA4") + Chunk("IQFV", "\xE4"), u"\u00E4", u"\u00E4", {}},
  };
  for (const Case& c : cases) {
    AviParts parts;
    parts.beforeMovi = List("INFO", c.info);
    OpenedAvi avi(parts.Build());
    ASSERT_EQ(avi.SetTitle(), QMF_OK) << c.name;
    EXPECT_EQ(avi.Text(QMF_QID_GET_TOOL_VERSION), c.software) << c.name;
    EXPECT_EQ(avi.Text(kQueryToolFileVersion), c.version) << c.name;
    EXPECT_EQ(avi.Text(kQueryToolProductName), c.product) << c.name;
  }
}

}  // namespace
}  // namespace qmf::test
