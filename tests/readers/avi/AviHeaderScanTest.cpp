#include "readers/avi/AviHeaderScan.h"

#include <gmock/gmock.h>

#include "tests/readers/avi/AviMedia.h"
#include "tests/support/FaultyFile.h"

namespace qmf::test {
namespace {

// What a fault leaves: the reader says -1 to questions about a title when there is none.
enum Leaves { kTitle, kNoTitle };

struct ScanCase {
  const char* name;
  AviParts parts;
  std::uint32_t result = QMF_OK;
  Leaves leaves = kTitle;
};

ScanCase Stream(const char* name, const Bytes& children, std::uint32_t result, Leaves leaves = kNoTitle) {
  return {name, {.streams = {List("strl", children)}}, result, leaves};
}

ScanCase Resource(const char* name, const Bytes& picture, std::uint32_t result) {
  return {name, {.behindRiff = Riff("META", List("QXRL", picture))}, result};
}

const ScanCase kScanCases[] = {
    {"known good", {}},
    {"no stream list", {.streams = {}}, QMF_ERR_STRL_NOT_FOUND, kNoTitle},
    Stream("empty stream list", "", QMF_ERR_STRH_NOT_FOUND),
    Stream("format before header", VideoStrf({}) + Strh({}), QMF_ERR_STRH_NOT_FOUND),
    Stream("text stream", Strh({.type = "txts"}) + VideoStrf({}), QMF_ERR_STRH_NOT_FOUND),
    Stream("two headers", Strh({}) + Strh({}) + VideoStrf({}), QMF_ERR_DUPLICATE_STRH_FOUND),
    Stream("two formats", Strh({}) + VideoStrf({}) + VideoStrf({}), QMF_ERR_DUPLICATE_STRF_FOUND),
    Stream("no format", Strh({}), QMF_AVI_NO_STRF),
    Stream("index before header", Chunk("indx", Bytes(24, '\0')), QMF_FAILURE),
    Stream("name larger than the file", Strh({}) + VideoStrf({}) + Chunk("strn", "n", 0xFFFFFFF0),
           QMF_ERR_FILE_CORRUPT),
    Stream("name above the limit", Strh({}) + VideoStrf({}) + Chunk("strn", Bytes(600'000, 'n')),
           QMF_OUT_OF_MEMORY),
    Stream("name of odd size", Strh({}) + VideoStrf({}) + Chunk("strn", "odd"), QMF_OK, kTitle),
    Resource("picture above the limit", Chunk("dpic", Bytes(5U << 20, 'p')), QMF_OUT_OF_MEMORY),
    Resource("picture cut off", Chunk("dpic", "p", 1000), QMF_OK),
    {"no movi", {.movi = ""}, QMF_ERR_MOVI_NOT_FOUND},
    {"no index", {.index = ""}, QMF_ERR_NO_INDEX_FOUND},
    {"index cut off", {.index = Chunk("idx1", Bytes(16, '\0'), 4096)}},
    {"index header cut off", {.index = "idx1" + Le(0, 4)}, QMF_ERR_NO_INDEX_FOUND},
    {"other name of the index", {.index = Chunk("1idx", Bytes(16, '\0'))}},
    {"OpenDML index only", {.streams = {VideoStream({}, {}, Chunk("indx", Bytes(24, '\0')))}, .index = ""}},
    // Sizes near the limit neither wrap nor step back.
    {"largest list in front", {.beforeMovi = "LIST" + Le(0xFFFFFFFF, 4) + "JUNK"}, QMF_ERR_MOVI_NOT_FOUND},
    {"a list ends with its parent",
     {.streams = {"LIST" + Le(0xFFFFFFF8, 4) + "strl" + Strh({}) + VideoStrf({})}}},
    {"a list below four bytes is empty",
     {.streams = {"LIST" + Le(3, 4) + "strl" + Strh({}) + VideoStrf({})}},
     QMF_ERR_STRH_NOT_FOUND,
     kNoTitle},
};

TEST(AviHeaderScan, ResultIsThatOfTheFault) {
  for (const ScanCase& c : kScanCases) {
    OpenedFile avi(kAviModule, c.parts.Build());
    EXPECT_EQ(avi.SetTitle(), c.result) << c.name;
    EXPECT_EQ(avi.Number(QMF_QID_NUM_TITLE_STREAMS).has_value(), c.leaves == kTitle) << c.name;
    // Selecting the current title again does nothing; a title that failed is walked again and not added to.
    EXPECT_EQ(avi.SetTitle(), c.leaves == kTitle ? 0U : c.result) << c.name;
  }
  EXPECT_EQ(AviScanVerdict({.hdrlSeen = true, .moviFound = true, .indexSeen = true}), QMF_ERR_BAD_STRUCTURE);
}

TEST(AviHeaderScan, ACutInTheHeadersIsCorruptAndBehindThemUsable) {
  const AviParts parts;
  const Bytes file = parts.Build();
  const std::size_t headers = 12 + parts.HeaderList().size();
  const std::size_t movi = file.find("movi") + 4;
  const std::size_t index = file.find("idx1") + 12;
  for (std::size_t kept = 24; kept <= index; ++kept) {
    if (kept >= headers && kept < movi) continue;
    OpenedFile avi(kAviModule, file.substr(0, kept));
    EXPECT_EQ(avi.SetTitle(), kept < headers ? QMF_ERR_FILE_CORRUPT
                              : kept < index ? QMF_ERR_NO_INDEX_FOUND
                                             : QMF_OK)
        << kept;
  }
  // What was read before the cut stays.
  const Bytes again = "LIST" + Le(100, 4) + "hdrlavih" + Le(56, 4) + Bytes(20, '\xFF');
  OpenedFile twice(kAviModule, file.substr(0, headers) + again);
  EXPECT_EQ(twice.SetTitle(), QMF_ERR_FILE_CORRUPT);
  ExpectNumbers(twice, {{QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE, 0x1234}});
  // A RIFF of twelve bytes or less has no headers, and what is behind it is not looked at.
  for (const std::uint32_t size : {0U, 4U}) {
    for (const Bytes& behind : {file.substr(12), Riff("AVIX", "")}) {
      OpenedFile avi(kAviModule, "RIFF" + Le(size, 4) + "AVI " + behind);
      EXPECT_EQ(avi.SetTitle(), QMF_ERR_HDRL_NOT_FOUND);
      ExpectNumbers(avi, {{QMF_QID_ON_THE_FLY_INDEX, 1}});
    }
  }
}

TEST(AviHeaderScan, LimitsAdmitOneVideoEightAudioEightSubtitles) {
  AviParts parts = {.streams = {}};
  for (std::uint16_t i = 0; i < 8; ++i) {
    parts.streams.push_back(AudioStream({}, {.channels = static_cast<std::uint16_t>(i + 1)}));
    parts.streams.push_back(VideoStream({}, {.compression = i % 2 == 0 ? "QXSB" : "QXSA"}));
  }
  const Bytes openDml = Chunk("indx", Bytes(24, '\0'));
  // The ninth audio stream's format is never read.
  parts.streams.push_back(List("strl", Strh({.type = "auds"}) + "strf" + Le(2, 4) + "xx" + openDml));
  for (const Bytes& more : {VideoStream({}, {.compression = "QXSB"}), VideoStream({}, {.width = 111}),
                            VideoStream({}, {.width = 222}, openDml)}) {
    parts.streams.push_back(more);
  }
  StartedAvi avi(parts);
  ExpectNumbers(avi, {{QMF_QID_NUM_TITLE_STREAMS, 17},
                      {QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA, 1},
                      {QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA, 8},
                      {QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA, 8},
                      {QMF_QID_TOTAL_NUM_TITLEMEDIA_VIDEOMEDIA, 2},
                      {QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA, 9},
                      {QMF_QID_TOTAL_NUM_TITLEMEDIA_SUBTITLEMEDIA, 9},
                      // The video is track 0 although 18 streams stand before it.
                      {QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM, 0}});
  EXPECT_EQ(avi.Number(QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM, 1), 0xFFFFFFFFU);
  EXPECT_EQ(avi.Video().width, 111U);
  for (std::uint32_t i = 0; i < 8; ++i) {
    EXPECT_EQ(avi.Audio(i).channels, i + 1);
    EXPECT_EQ(avi.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, i), 2 * i);
    EXPECT_EQ(avi.Number(QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, i), 2 * i + 1);
  }
  for (const std::uint32_t index : {8U, 9U, 0x80000000U}) {
    EXPECT_EQ(avi.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, index), 0xFFFFFFFFU);
    EXPECT_EQ(avi.Ask(QMF_QID_AUD_STREAM_FORMAT, index), QMF_ERR_INVALID_STREAM);
  }
}

TEST(AviHeaderScan, CountersThatWrapAdmitNothingMore) {
  AviParts parts = {.streams = {AudioStream({}, {.channels = 5})}};
  parts.streams.resize(0x10001, AudioStream({}, {.channels = 6}));
  StartedAvi avi(parts);
  ExpectNumbers(avi, {{QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA, 8}, {QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA, 1}});
  EXPECT_EQ(avi.Audio().channels, 5);
}

TEST(AviHeaderScan, ProtectionRecordsCountByPlaceAndSize) {
  const Bytes meta = Riff("META", List("QXRL", Chunk("JUNK", "x") + Chunk("dpic", "picture")));
  const Bytes extension = Riff("AVIX", List("movi", ""));
  const Bytes behindItsRiff =
      "RIFF" + Le(16, 4) + "METALIST" + Le(100, 4) + "QXRL" + Chunk("dpic", "picture");
  const std::tuple<std::size_t, std::size_t, Bytes, std::uint64_t, std::uint64_t> rows[] = {
      {2232, 0, "", 1, 0},
      {2231, 0, "", 0, 0},
      {2233, 0, "", 0, 0},
      {2232, 1, "", 0, 0},
      {2232, 0, meta, 1, 1},
      {1, 0, extension + extension + meta, 0, 1},
      {1, 0, Riff("MENU", "") + meta, 0, 1},
      {1, 0, Riff("DATA", "") + meta, 0, 0},
      {1, 0, behindItsRiff, 0, 0},
  };
  for (const auto& [size, stream, behindRiff, hasRecord, hasPicture] : rows) {
    AviParts parts = {.behindRiff = behindRiff};
    const Bytes record = Chunk("strd", Bytes(size, 'd'));
    parts.streams[stream] = stream == 0 ? VideoStream({}, {}, record) : AudioStream({}, {}, record);
    StartedAvi avi(parts);
    ExpectNumbers(avi, {{QMF_QID_HAS_TITLE_DRM1, hasRecord}, {QMF_QID_HAS_TITLE_DRMICP, hasPicture}});
  }
  // The file says that it holds the picture, and does not.
  const Bytes cut =
      AviParts{.behindRiff = Riff("META", List("QXRL", Chunk("dpic", "picture", 1000)))}.Build();
  const std::vector<std::uint8_t> there(cut.begin(), cut.end());
  StartedAvi lying(std::shared_ptr<FileSource>(new FaultyFile(there, {.statedSize = 1 << 20})));
  EXPECT_EQ(lying.result, QMF_OK);
  ExpectNumbers(lying, {{QMF_QID_HAS_TITLE_DRMICP, 0}});
}

TEST(AviModule, FillsItsSlots) {
  EXPECT_THAT(FilledSlots(*kAviModule.entryPoints),
              ::testing::ElementsAre(0, 1, 2, 3, 5, 7, 8, 9, 10, 11, 12, 13, 14, 17, 21, 22, 23, 24, 25));
  EXPECT_EQ(AviReader::SetMenu(7), QMF_OK);
}

}  // namespace
}  // namespace qmf::test
