#include "readers/avi/AviHeaderScan.h"

#include <gmock/gmock.h>

#include <functional>

#include "framework/ModuleAdapter.h"
#include "tests/readers/avi/OpenedAvi.h"

namespace qmf::test {
namespace {

using ::testing::Optional;

// What a fault leaves: the reader says -1 to questions about a title when there is none.
enum class Leaves { kNoTitle, kTitle };

struct ScanCase {
  const char* name;
  std::function<void(AviParts&)> change;
  std::uint32_t result;
  Leaves leaves;
};

void PrintTo(const ScanCase& scanCase, std::ostream* out) {
  *out << scanCase.name;
}

Bytes CutBehind(const AviParts& parts, std::size_t hdrlBytes) {
  return parts.Build().substr(0, 12 + hdrlBytes);
}

Bytes StrlOf(const Bytes& children) {
  return List("strl", children);
}

const ScanCase kScanCases[] = {
    {"known good", [](AviParts&) {}, QMF_OK, Leaves::kTitle},
    {"no stream list", [](AviParts& a) { a.streams.clear(); }, QMF_ERR_STRL_NOT_FOUND, Leaves::kNoTitle},
    {"empty stream list", [](AviParts& a) { a.streams = {StrlOf("")}; }, QMF_ERR_STRH_NOT_FOUND,
     Leaves::kNoTitle},
    {"format before header", [](AviParts& a) { a.streams = {StrlOf(VideoStrf({}) + Strh({}))}; },
     QMF_ERR_STRH_NOT_FOUND, Leaves::kNoTitle},
    {"no header", [](AviParts& a) { a.streams = {StrlOf(Chunk("strn", "name"))}; }, QMF_ERR_STRH_NOT_FOUND,
     Leaves::kNoTitle},
    {"text stream", [](AviParts& a) { a.streams.push_back(VideoStream({.type = "txts"})); },
     QMF_ERR_STRH_NOT_FOUND, Leaves::kNoTitle},
    {"two headers", [](AviParts& a) { a.streams = {StrlOf(Strh({}) + Strh({}) + VideoStrf({}))}; },
     QMF_ERR_DUPLICATE_STRH_FOUND, Leaves::kNoTitle},
    {"two formats", [](AviParts& a) { a.streams = {StrlOf(Strh({}) + VideoStrf({}) + VideoStrf({}))}; },
     QMF_ERR_DUPLICATE_STRF_FOUND, Leaves::kNoTitle},
    {"no format", [](AviParts& a) { a.streams = {StrlOf(Strh({}))}; }, QMF_AVI_NO_STRF, Leaves::kNoTitle},
    {"index before header", [](AviParts& a) { a.streams = {StrlOf(Chunk("indx", Bytes(24, '\0')))}; },
     QMF_FAILURE, Leaves::kNoTitle},
    {"name larger than the file",
     [](AviParts& a) { a.streams = {StrlOf(Strh({}) + VideoStrf({}) + Chunk("strn", "n", 0xFFFFFFF0))}; },
     QMF_ERR_FILE_CORRUPT, Leaves::kNoTitle},
    {"name above the limit",
     [](AviParts& a) { a.streams = {VideoStream({}, {}, Chunk("strn", Bytes(600'000, 'n')))}; },
     QMF_OUT_OF_MEMORY, Leaves::kNoTitle},
    {"picture above the limit",
     [](AviParts& a) { a.behindRiff = Riff("META", List("QXRL", Chunk("dpic", Bytes(5U << 20, 'p')))); },
     QMF_OUT_OF_MEMORY, Leaves::kTitle},
    {"picture cut off",
     [](AviParts& a) { a.behindRiff = Riff("META", List("QXRL", Chunk("dpic", "p", 1000))); }, QMF_OK,
     Leaves::kTitle},
    {"no movi", [](AviParts& a) { a.movi.clear(); }, QMF_ERR_MOVI_NOT_FOUND, Leaves::kTitle},
    {"no index", [](AviParts& a) { a.index.clear(); }, QMF_ERR_NO_INDEX_FOUND, Leaves::kTitle},
    {"index cut off", [](AviParts& a) { a.index = Chunk("idx1", Bytes(16, '\0'), 4096); }, QMF_OK,
     Leaves::kTitle},
    {"index header cut off", [](AviParts& a) { a.index = "idx1" + Le(0, 4); }, QMF_ERR_NO_INDEX_FOUND,
     Leaves::kTitle},
    {"other name of the index", [](AviParts& a) { a.index = Chunk("1idx", Bytes(16, '\0')); }, QMF_OK,
     Leaves::kTitle},
    {"OpenDML index only",
     [](AviParts& a) {
       a.index.clear();
       a.streams = {VideoStream({}, {}, Chunk("indx", Bytes(24, '\0')))};
     },
     QMF_OK, Leaves::kTitle},
    {"odd sizes",
     [](AviParts& a) {
       a.beforeMovi = Chunk("JUNK", "odd");
       a.streams = {VideoStream({}, {}, Chunk("strn", "odd")), AudioStream()};
     },
     QMF_OK, Leaves::kTitle},
};

class ScanResult : public ::testing::TestWithParam<ScanCase> {};

TEST_P(ScanResult, IsThatOfItsFault) {
  AviParts parts;
  GetParam().change(parts);
  OpenedAvi avi(parts.Build());
  ASSERT_EQ(avi.OpenResult(), QMF_OK);
  EXPECT_EQ(avi.SetTitle(), GetParam().result);
  EXPECT_EQ(avi.Number(QMF_QID_NUM_TITLE_STREAMS).has_value(), GetParam().leaves == Leaves::kTitle);
  // Selecting the current title again does nothing; a title that failed is walked again and not added to.
  EXPECT_EQ(avi.SetTitle(), GetParam().leaves == Leaves::kTitle ? 0U : GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Avi, ScanResult, ::testing::ValuesIn(kScanCases));

TEST(AviHeaderScan, HeadersThatEndEarlyAreCorrupt) {
  const AviParts parts;
  const std::size_t whole = parts.HeaderList().size();
  for (std::size_t kept = 12; kept < whole; ++kept) {
    OpenedAvi avi(CutBehind(parts, kept));
    EXPECT_EQ(avi.SetTitle(), QMF_ERR_FILE_CORRUPT) << kept;
    EXPECT_EQ(avi.Result(QMF_QID_NUM_TITLE_STREAMS), QMF_FAILURE);
  }
}

TEST(AviHeaderScan, FilesCutBehindTheHeadersStayUsable) {
  const AviParts parts;
  const std::size_t index = parts.Build().find("idx1");
  for (std::size_t kept = parts.Build().find("movi") + 4; kept < index + 12; ++kept) {
    OpenedAvi avi(parts.Build().substr(0, kept));
    EXPECT_EQ(avi.SetTitle(), QMF_ERR_NO_INDEX_FOUND) << kept;
  }
  EXPECT_EQ(OpenedAvi(parts.Build().substr(0, index + 12)).SetTitle(), QMF_OK);
}

TEST(AviHeaderScan, VerdictNamesWhatIsMissingFirst) {
  EXPECT_EQ(AviScanVerdict({}), QMF_ERR_HDRL_NOT_FOUND);
  EXPECT_EQ(AviScanVerdict({.hdrlSeen = true, .indexSeen = true}), QMF_ERR_MOVI_NOT_FOUND);
  EXPECT_EQ(AviScanVerdict({.hdrlSeen = true, .moviFound = true}), QMF_ERR_NO_INDEX_FOUND);
  EXPECT_EQ(AviScanVerdict({.hdrlSeen = true, .moviFound = true, .indexSeen = true}), QMF_ERR_BAD_STRUCTURE);
}

TEST(AviHeaderScan, RiffOfTwelveBytesOrLessHasNoHeaders) {
  for (const std::uint32_t size : {0U, 4U}) {
    OpenedAvi avi("RIFF" + Le(size, 4) + "AVI " + AviParts().Build().substr(12));
    ASSERT_EQ(avi.OpenResult(), QMF_OK);
    EXPECT_EQ(avi.SetTitle(), QMF_ERR_HDRL_NOT_FOUND);
  }
}

TEST(AviHeaderScan, SizesNearTheLimitNeitherWrapNorStepBack) {
  AviParts parts;
  parts.beforeMovi = "LIST" + Le(0xFFFFFFFF, 4) + "JUNK";
  EXPECT_EQ(OpenedAvi(parts.Build()).SetTitle(), QMF_ERR_MOVI_NOT_FOUND);
  parts = {};
  parts.streams = {"LIST" + Le(0xFFFFFFF8, 4) + "strl" + Strh({}) + VideoStrf({})};
  EXPECT_EQ(OpenedAvi(parts.Build()).SetTitle(), QMF_OK) << "a list ends with its parent";
  parts = {};
  parts.streams = {"LIST" + Le(3, 4) + "strl" + Strh({}) + VideoStrf({})};
  EXPECT_EQ(OpenedAvi(parts.Build()).SetTitle(), QMF_ERR_STRH_NOT_FOUND) << "below four bytes it is empty";
}

TEST(AviHeaderScan, LimitsAdmitOneVideoEightAudioEightSubtitles) {
  AviParts parts;
  parts.streams.clear();
  for (std::uint16_t i = 0; i < 9; ++i) {
    parts.streams.push_back(AudioStream({}, {.channels = static_cast<std::uint16_t>(i + 1)}));
    parts.streams.push_back(SubtitleStream(i % 2 == 0 ? "QXSB" : "QXSA"));
  }
  parts.streams.push_back(VideoStream({}, {.width = 111}));
  parts.streams.push_back(VideoStream({}, {.width = 222}, Chunk("indx", Bytes(24, '\0'))));
  // The ninth audio stream's format is never read.
  parts.streams[16] =
      List("strl", Strh({.type = "auds"}) + "strf" + Le(2, 4) + "xx" + Chunk("indx", Bytes(24, '\0')));
  OpenedAvi avi(parts.Build());
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_THAT(avi.Number(QMF_QID_NUM_TITLE_STREAMS), Optional(17U));
  EXPECT_THAT(avi.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), Optional(1U));
  EXPECT_THAT(avi.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA), Optional(8U));
  EXPECT_THAT(avi.Number(QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA), Optional(8U));
  EXPECT_THAT(avi.Number(QMF_QID_TOTAL_NUM_TITLEMEDIA_VIDEOMEDIA), Optional(2U));
  EXPECT_THAT(avi.Number(QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA), Optional(9U));
  EXPECT_THAT(avi.Number(QMF_QID_TOTAL_NUM_TITLEMEDIA_SUBTITLEMEDIA), Optional(9U));
  EXPECT_EQ(avi.Format<QMFVideoFormat>(QMF_QID_VID_STREAM_FORMAT)->width, 111U);
  for (std::uint32_t i = 0; i < 8; ++i) {
    EXPECT_EQ(avi.Format<QMFAudioFormat>(QMF_QID_AUD_STREAM_FORMAT, i)->channels, i + 1);
    EXPECT_THAT(avi.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, i), Optional(2 * i));
    EXPECT_THAT(avi.Number(QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, i), Optional(2 * i + 1));
  }
  for (const std::uint32_t index : {8U, 9U, 0x80000000U}) {
    EXPECT_THAT(avi.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, index), Optional(0xFFFFFFFFU));
    EXPECT_EQ(avi.Result(QMF_QID_AUD_STREAM_FORMAT, index), QMF_ERR_INVALID_STREAM);
  }
  // The video is track 0 although 18 streams stand before it.
  EXPECT_THAT(avi.Number(QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM), Optional(0U));
  EXPECT_THAT(avi.Number(QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM, 1), Optional(0xFFFFFFFFU));
}

TEST(AviHeaderScan, CountersThatWrapAdmitNothingMore) {
  AviParts parts;
  parts.streams = {AudioStream({}, {.channels = 5})};
  Bytes many;
  const Bytes stream = AudioStream({}, {.channels = 6});
  for (int i = 0; i < 0x10000; ++i) many += stream;
  parts.streams.push_back(many);
  OpenedAvi avi(parts.Build());
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_THAT(avi.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA), Optional(8U));
  EXPECT_THAT(avi.Number(QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA), Optional(1U));
  EXPECT_EQ(avi.Format<QMFAudioFormat>(QMF_QID_AUD_STREAM_FORMAT, 0)->channels, 5);
}

TEST(AviHeaderScan, ProtectionRecordsCountByPlaceAndSize) {
  const auto hasRecord = [](std::size_t size, std::size_t stream, const Bytes& behindRiff) {
    AviParts parts;
    parts.streams[stream] = stream == 0 ? VideoStream({}, {}, Chunk("strd", Bytes(size, 'd')))
                                        : AudioStream({}, {}, Chunk("strd", Bytes(size, 'd')));
    parts.behindRiff = behindRiff;
    OpenedAvi avi(parts.Build());
    EXPECT_EQ(avi.SetTitle(), QMF_OK);
    return std::pair(avi.Number(QMF_QID_HAS_TITLE_DRM1), avi.Number(QMF_QID_HAS_TITLE_DRMICP));
  };
  using Has = std::pair<std::optional<std::uint64_t>, std::optional<std::uint64_t>>;
  const Bytes meta = Riff("META", List("QXRL", Chunk("JUNK", "x") + Chunk("dpic", "picture")));
  const Bytes extension = Riff("AVIX", List("movi", ""));
  EXPECT_EQ(hasRecord(2232, 0, ""), Has(1, 0));
  EXPECT_EQ(hasRecord(2231, 0, ""), Has(0, 0));
  EXPECT_EQ(hasRecord(2233, 0, ""), Has(0, 0));
  EXPECT_EQ(hasRecord(2232, 1, ""), Has(0, 0));
  EXPECT_EQ(hasRecord(2232, 0, meta), Has(1, 1));
  EXPECT_EQ(hasRecord(1, 0, extension + extension + meta), Has(0, 1));
  EXPECT_EQ(hasRecord(1, 0, Riff("MENU", "") + meta), Has(0, 1));
  EXPECT_EQ(hasRecord(1, 0, Riff("DATA", "") + meta), Has(0, 0));
}

TEST(AviModule, FillsItsSlots) {
  const QMFModuleEntryPoints& slots = *kAviModule.entryPoints;
  const auto* const pointers = reinterpret_cast<void* const*>(&slots);
  std::vector<std::size_t> filled;
  for (std::size_t i = 0; i < kModuleSlotCount; ++i) {
    if (pointers[i] != nullptr) filled.push_back(i);
  }
  EXPECT_THAT(filled,
              ::testing::ElementsAre(0, 1, 2, 3, 5, 7, 8, 9, 10, 11, 12, 13, 14, 17, 21, 22, 23, 24, 25));
  for (const auto unnamed : {slots.slots4to6[1], slots.slots19to27[2], slots.slots19to27[6]}) {
    EXPECT_EQ(unnamed(nullptr), QMF_NULL_ARGUMENT);
    EXPECT_EQ(unnamed(OpenedAvi(AviParts().Build()).Handle()), QMF_OK);
  }
  EXPECT_EQ(slots.SetTitle(nullptr, 0), QMF_NULL_ARGUMENT);
  EXPECT_EQ(slots.SetMenu(nullptr, 0), QMF_NULL_ARGUMENT);
  EXPECT_EQ(slots.SetMenu(OpenedAvi(AviParts().Build()).Handle(), 7), QMF_OK);
}

}  // namespace
}  // namespace qmf::test
