#include "readers/mkv/MkvSegment.h"

#include <gtest/gtest.h>

#include "readers/mkv/CodecTable.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

// A segment read straight, for what no query tells.
struct Parsed {
  explicit Parsed(const Bytes& content)
      : segment(std::make_shared<FileReader>(SourceOf(content)), std::pmr::new_delete_resource()),
        result(ReadMkvSegment(segment)) {}

  std::size_t Count(MkvTrackType type) const { return segment.tracks.Of(type).size(); }

  MkvSegment segment;
  const QMFResult result;
};

const Bytes kTwoTracks = Put(E::Tracks, Track(1, kMatroskaVideo, "V_MPEG4/ISO/AVC", Picture(64, 48)) +
                                            Track(2, kMatroskaAudio, "A_AAC"));
const Bytes kBlock = Put(E::SimpleBlock, Bytes(5000, 0x81));
const Bytes kCluster = Cluster(0, kBlock);

TEST(MkvSegment, ReportsWhatIsWrong) {
  const auto header = [](const Bytes& children) { return Put(E::Ebml, children) + Put(E::Segment, Info()); };
  const auto sized = [](Element kind, std::size_t size) { return WithInfo(Put(kind, Bytes(size))); };
  const auto tracks = [](const Bytes& entries) {
    return Segment(Info() + Put(E::Tracks, entries) + Void(100));
  };
  const auto entry = [&](Element kind, std::size_t size) {
    return tracks(Track(1, 1, "V", Put(kind, Bytes(size))));
  };
  Bytes encodings;
  for (int i = 0; i < 78'000; ++i) encodings += Put(E::ContentEncoding, {});
  struct {
    const char* what;
    Bytes file;
    QMFResult result;
  } const rows[] = {
      {"text", Raw("This is a text file."), QMF_ERR_INVALID_FILE},
      {"nothing", {}, QMF_ERR_INVALID_FILE},
      {"WebM", header(Text(E::DocType, "webm")), QMF_OK},
      {"another document", header(Text(E::DocType, "other")), QMF_ERR_UNSUPPORTED_CONTAINER},
      {"ids of up to 5 bytes and sizes of up to 3",
       header(ElementHead(0x42F2, 1) + Bytes{5} + ElementHead(0x42F3, 1) + Bytes{3}), QMF_OK},
      {"no segment", Header(), QMF_ERR_BAD_STRUCTURE},
      {"scale of 9 bytes", sized(E::TimecodeScale, 9), QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {"UID of 17 bytes", sized(E::SegmentUid, 17), QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {"title of 1 MiB", sized(E::Title, std::size_t{1} << 20), QMF_OK},
      {"a longer title", sized(E::Title, (std::size_t{1} << 20) + 1), QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {"no tracks", tracks({}), QMF_OK},
      {"track UID of 9 bytes", entry(E::TrackUid, 9), QMF_ERR_QF3_PARSE_TRACKS},
      {"track scale of 200 bytes", entry(E::TrackTimecodeScale, 200), QMF_ERR_QF3_PARSE_TRACKS},
      {"width of 9 bytes", tracks(Track(1, 1, "V", Picture(1, 1, Put(E::DisplayWidth, Bytes(9))))),
       QMF_ERR_QF3_PARSE_TRACKS},
      {"78,000 encodings", tracks(Track(1, 1, "V", Put(E::ContentEncodings, encodings))),
       QMF_ERR_QF3_PARSE_TRACKS},
      {"an entry beyond its parent", tracks(ElementHead(0xAE, 50) + Bytes(10)), QMF_ERR_QF3_PARSE_TRACKS},
      {"an invalid id", tracks(Bytes(10)), QMF_ERR_QF3_PARSE_TRACKS},
      {"an invalid id in a seek head", Segment(Put(E::SeekHead, {0x00, 0x81, 0})),
       QMF_ERR_QF3_PARSE_SEEKHEAD},
  };
  for (const auto& row : rows) EXPECT_EQ(Parsed(row.file).result, row.result) << row.what;
}

TEST(MkvSegment, KeepsInformation) {
  EXPECT_EQ(Parsed(WithInfo(Unsigned(E::TimecodeScale, 0, 0))).segment.info->timecodeScale, 0U);
  EXPECT_EQ(Parsed(WithInfo({})).segment.info->timecodeScale, 1'000'000U);
  const Parsed slow(WithInfo(Unsigned(E::TimecodeScale, 10'000'000'000'000'000'000U)));
  EXPECT_EQ(slow.segment.TickAt(200'000'000'000'000'000), 2U);
  // What is unknown or of no interest is passed over; a short UID ends with zeros.
  const Parsed odd(WithInfo(Put(E::Crc, Bytes(4)) + Void(3) + ElementHead(0x4461, 8) + Bytes(8) +
                            Put(E::SegmentUid, Bytes(16, 9)) + Put(E::SegmentUid, {1, 2, 3})));
  ASSERT_TRUE(odd.segment.info);
  EXPECT_EQ(odd.segment.info->segmentUid, (MkvSegmentUid{1, 2, 3}));
  for (const auto& [muxingApp, known] : {std::pair("libmatroska v0.8.1", true),
                                         {"libebml v0.7.7 + libmatroska v0.8.1 + another v1", true},
                                         {"libmatroska v0.8.0", false},
                                         {"libmatroska v0.8", false}}) {
    EXPECT_EQ(Parsed(WithInfo(Text(E::MuxingApp, muxingApp))).segment.info->byLibmatroska081, known);
  }
}

TEST(MkvSegment, KeepsTracksByType) {
  Bytes entries = Track(5, kMatroskaAudio, "A_AC3",
                        Unsigned(E::TrackUid, 99) + Text(E::Language, "fre") + Unsigned(E::FileLacing, 0));
  for (const std::uint64_t type : {0U, 1U, 2U, 3U, 0x10U, 0x11U, 0x12U, 0x20U, 255U})
    entries += Track(6, type, "A_AC3/BSID");
  const Parsed parsed(Segment(Info() + Put(E::Tracks, entries)));
  ASSERT_EQ(parsed.result, QMF_OK);
  const MkvTracks& tracks = parsed.segment.tracks;
  using Fields = std::tuple<std::uint64_t, std::uint32_t, std::u16string_view, bool>;
  const auto fields = [](const MkvTrack& track) {
    return Fields(track.uid, track.codecIndex, track.language, track.lacing);
  };
  for (const std::uint32_t type : {kTrackVideo, kTrackSubtitle, kTrackComplex, kTrackLogo, kTrackButtons}) {
    ASSERT_EQ(tracks.Of(type).size(), 1U) << type;
    EXPECT_EQ(fields(tracks.Of(type)[0]), Fields(0, kCodecUnknown, u"eng", true)) << "no prefix matches";
  }
  ASSERT_EQ(parsed.Count(kTrackAudio), 2U);
  EXPECT_EQ(fields(tracks.Of(kTrackAudio)[0]), Fields(99, 23, u"fre", false));

  const char16_t* codecId = nullptr;
  EXPECT_EQ(MkvTrackCodecId(tracks, kTrackAudio, 0, codecId), QMF_OK);
  EXPECT_EQ(std::u16string_view(codecId), u"A_AC3");
  EXPECT_EQ(MkvTrackCodecId(tracks, kTrackAudio, 2, codecId), QMF_FAILURE);
  EXPECT_EQ(MkvTrackCodecId(tracks, 0, 0, codecId), QMF_FAILURE);
  EXPECT_EQ(MkvTrackCodecId(tracks, 7, 0, codecId), QMF_FAILURE);
}

TEST(MkvSegment, PassesOverTooManyTracks) {
  Bytes entries;
  for (std::size_t i = 0; i < MkvTracks::kMaxTracks + 5; ++i) entries += Track(i, kMatroskaAudio, "A_AAC");
  EXPECT_EQ(Parsed(Segment(Info() + Put(E::Tracks, entries))).Count(kTrackAudio), MkvTracks::kMaxTracks);
}

Bytes SeekTo(Element kind, std::uint64_t at) {
  return Put(E::Seek, Unsigned(E::SeekId, ElementId(kind), 4) + Unsigned(E::SeekPosition, at));
}

TEST(MkvSegment, FindsInformationAndTracksWhereverTheyStand) {
  const Bytes info = Info();
  const Bytes both = info + kTwoTracks;
  const Bytes garbage(5);
  const Bytes open = PutOpen(E::Cluster, Unsigned(E::Timecode, 0) + kBlock);
  const auto head = [](Element a, std::uint64_t at, Element b, std::uint64_t bAt) {
    return Put(E::SeekHead, SeekTo(a, at) + SeekTo(b, bAt));
  };
  const auto headOfBoth = [&](std::uint64_t at) {
    return head(E::SegmentInfo, at, E::Tracks, at + info.size());
  };
  const std::size_t headSize = headOfBoth(0).size();
  const std::size_t behind = headSize + kCluster.size() + garbage.size();
  const auto headOfHead = [&](std::uint64_t at) { return head(E::SeekHead, at, E::Void, 0); };
  const std::pair<const char*, Bytes> rows[] = {
      {"in front", both + kCluster},
      {"the other way round", kTwoTracks + info + kCluster},
      {"by a seek head", headOfBoth(behind) + kCluster + garbage + both},
      {"by one that another names",
       headOfHead(behind) + kCluster + garbage + headOfBoth(behind + headSize) + both},
      {"beside one that names itself", headOfHead(0) + kCluster + both},
      {"beside wrong promises", head(E::SegmentInfo, 2, E::Tracks, ~0ULL) + kCluster + both},
      {"behind clusters", kCluster + kCluster + both},
      {"behind clusters of unknown size", open + open + both},
  };
  for (const auto& [what, children] : rows) {
    for (const Bytes& file : {Segment(children), Header() + PutOpen(E::Segment, children)}) {
      const Parsed parsed(file);
      EXPECT_EQ(parsed.result, QMF_OK) << what;
      ASSERT_TRUE(parsed.segment.info) << what;
      EXPECT_EQ(parsed.segment.info->duration, 5'400'000.0) << what;
      EXPECT_EQ(parsed.Count(kTrackVideo) + parsed.Count(kTrackAudio), 2U) << what;
    }
  }
  Bytes clusters;
  for (int i = 0; i < 100; ++i) clusters += kCluster;
  const Parsed spared(Segment(headOfBoth(headSize + clusters.size()) + clusters + both));
  EXPECT_LT(spared.segment.file->BytesRead(), clusters.size() / 4) << "a seek head spares the walk";
}

TEST(MkvSegment, GivesWhatAFileCutAnywhereHas) {
  const Bytes whole = Segment(Info() + kTwoTracks + kCluster);
  std::size_t most = 0;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const Parsed parsed(Cut(whole, size));
    const std::size_t tracks = parsed.Count(kTrackVideo) + parsed.Count(kTrackAudio);
    EXPECT_TRUE(parsed.result == QMF_OK || tracks == 0) << size;
    EXPECT_GE(tracks, most) << size;
    most = tracks;
  }
  EXPECT_EQ(most, 2U);
}

}  // namespace
}  // namespace qmf::test
