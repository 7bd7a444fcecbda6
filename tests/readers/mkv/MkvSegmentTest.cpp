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

  MkvSegment segment;
  const QMFResult result;
};

Bytes WithInfo(const Bytes& children) {
  return Segment(Put(E::SegmentInfo, children));
}

Bytes SomeTracks() {
  return Put(E::Tracks, Track(1, 1, "V_MPEG4/ISO/AVC", Picture(64, 48)) + Track(2, 2, "A_AAC"));
}

Bytes SomeCluster() {
  return Cluster(0, Put(E::SimpleBlock, Bytes(5000, 0x81)));
}

TEST(MkvSegment, RefusesWhatIsNoMatroskaDocument) {
  const auto header = [](const Bytes& children) { return Put(E::Ebml, children) + Put(E::Segment, Info()); };
  const std::pair<Bytes, QMFResult> rows[] = {
      {Raw("This is a text file."), QMF_ERR_INVALID_FILE},
      {{}, QMF_ERR_INVALID_FILE},
      {header(Text(E::DocType, "matroska")), QMF_OK},
      {header(Text(E::DocType, "webm")), QMF_OK},
      {header(Text(E::DocType, "other")), QMF_ERR_UNSUPPORTED_CONTAINER},
      {header(Unsigned(E::EbmlMaxIdLength, 5)), QMF_ERR_INVALID_FILE},
      {header(Unsigned(E::EbmlMaxSizeLength, 9)), QMF_ERR_INVALID_FILE},
      {header(Unsigned(E::EbmlMaxSizeLength, 3)), QMF_ERR_BAD_STRUCTURE},  // The segment's has four bytes.
      {Header(), QMF_ERR_BAD_STRUCTURE},
  };
  for (const auto& [file, result] : rows)
    EXPECT_EQ(Parsed(file).result, result) << testing::PrintToString(file);
}

TEST(MkvSegment, ChecksTheSizesOfTheInformation) {
  const std::tuple<Element, std::size_t, QMFResult> rows[] = {
      {E::TimecodeScale, 0, QMF_OK},
      {E::TimecodeScale, 8, QMF_OK},
      {E::TimecodeScale, 9, QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {E::SegmentUid, 16, QMF_OK},
      {E::SegmentUid, 17, QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {E::Duration, 0, QMF_OK},
      {E::Duration, 3, QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {E::Title, std::size_t{1} << 20, QMF_OK},
      {E::Title, (std::size_t{1} << 20) + 1, QMF_ERR_QF3_PARSE_SEGMENTINFO},
  };
  for (const auto& [kind, size, result] : rows) {
    EXPECT_EQ(Parsed(WithInfo(Put(kind, Bytes(size)))).result, result)
        << size << " bytes of element " << static_cast<int>(kind);
  }
  EXPECT_EQ(Parsed(WithInfo(Unsigned(E::TimecodeScale, 0, 0))).segment.info->timecodeScale, 0U);
  EXPECT_EQ(Parsed(WithInfo({})).segment.info->timecodeScale, 1'000'000U);
  // What is unknown or of no interest is passed over; a short UID ends with zeros.
  const Parsed odd(WithInfo(Put(E::Crc, Bytes(4)) + Void(3) + ElementHead(0x4461, 8) + Bytes(8) +
                            Put(E::SegmentUid, Bytes(16, 9)) + Put(E::SegmentUid, {1, 2, 3})));
  ASSERT_TRUE(odd.segment.info);
  EXPECT_EQ(odd.segment.info->segmentUid, (MkvSegmentUid{1, 2, 3}));
}

TEST(MkvSegment, KnowsOneEarlyLibraryByItsName) {
  for (const auto& [muxingApp, known] : {std::pair("libmatroska v0.8.1", true),
                                         {"libebml v0.7.7 + libmatroska v0.8.1 + another v1", true},
                                         {"libmatroska v0.8.0", false},
                                         {"libmatroska v0.8", false}}) {
    EXPECT_EQ(Parsed(WithInfo(Text(E::MuxingApp, muxingApp))).segment.info->byLibmatroska081, known);
  }
}

TEST(MkvSegment, KeepsTracksByType) {
  Bytes entries =
      Track(5, 2, "A_AC3", Unsigned(E::TrackUid, 99) + Text(E::Language, "fre") + Unsigned(E::FileLacing, 0));
  for (const std::uint64_t type : {0U, 1U, 2U, 3U, 0x10U, 0x11U, 0x12U, 0x20U, 255U}) {
    entries += Track(6, type, "A_AC3/BSID");
  }
  const Parsed parsed(Film(entries));
  ASSERT_EQ(parsed.result, QMF_OK);
  const MkvTracks& tracks = parsed.segment.tracks;
  for (const std::uint32_t type : {kTrackVideo, kTrackSubtitle, kTrackComplex, kTrackLogo, kTrackButtons}) {
    ASSERT_EQ(tracks.Of(type).size(), 1U) << type;
    EXPECT_EQ(tracks.Of(type)[0].codecIndex, kCodecUnknown);  // no prefix matches
    EXPECT_EQ(tracks.Of(type)[0].language, u"eng");
    EXPECT_TRUE(tracks.Of(type)[0].lacing);
  }
  ASSERT_EQ(tracks.Of(kTrackAudio).size(), 2U);
  const MkvTrack& track = tracks.Of(kTrackAudio)[0];
  EXPECT_EQ(track.uid, 99U);
  EXPECT_EQ(track.language, u"fre");
  EXPECT_EQ(track.codecIndex, 23U);
  EXPECT_FALSE(track.lacing);

  const char16_t* codecId = nullptr;
  EXPECT_EQ(MkvTrackCodecId(tracks, kTrackAudio, 0, codecId), QMF_OK);
  EXPECT_EQ(std::u16string_view(codecId), u"A_AC3");
  EXPECT_EQ(MkvTrackCodecId(tracks, kTrackAudio, 2, codecId), QMF_FAILURE);
  EXPECT_EQ(MkvTrackCodecId(tracks, 0, 0, codecId), QMF_FAILURE);
  EXPECT_EQ(MkvTrackCodecId(tracks, 7, 0, codecId), QMF_FAILURE);
}

TEST(MkvSegment, HoldsManyTracksAndPassesOverTooMany) {
  Bytes entries;
  for (std::size_t i = 0; i < MkvTracks::kMaxTracks + 5; ++i) entries += Track(i, 2, "A_AAC");
  const Parsed parsed(Film(entries));
  EXPECT_EQ(parsed.result, QMF_OK);
  EXPECT_EQ(parsed.segment.tracks.Of(kTrackAudio).size(), MkvTracks::kMaxTracks);
}

// Seek heads.
Bytes SeekTo(Element kind, std::uint64_t at) {
  return Put(E::Seek, Unsigned(E::SeekId, ElementId(kind), 4) + Unsigned(E::SeekPosition, at));
}
Bytes SeekHead(std::uint64_t infoAt, std::uint64_t tracksAt) {
  return Put(E::SeekHead, SeekTo(E::SegmentInfo, infoAt) + SeekTo(E::Tracks, tracksAt));
}

TEST(MkvSegment, FindsInformationAndTracksWhereverTheyStand) {
  const Bytes info = Info();
  const Bytes tracks = SomeTracks();
  const Bytes cluster = SomeCluster();
  const Bytes open = PutOpen(E::Cluster, Unsigned(E::Timecode, 0) + Put(E::SimpleBlock, Bytes(5000, 0x81)));
  const std::uint64_t behind = SeekHead(0, 0).size() + cluster.size();
  for (const Bytes& children : {info + tracks + cluster, tracks + info + cluster,
                                SeekHead(behind, behind + info.size()) + cluster + info + tracks,
                                // Promises that do not hold: into another element, beyond the file.
                                SeekHead(2, ~0ULL) + cluster + info + tracks,
                                // Behind clusters of known and of unknown size, without seek head.
                                cluster + cluster + info + tracks, open + open + info + tracks}) {
    for (const Bytes& file : {Segment(children), Header() + PutOpen(E::Segment, children)}) {
      const Parsed parsed(file);
      EXPECT_EQ(parsed.result, QMF_OK);
      ASSERT_TRUE(parsed.segment.info);
      EXPECT_EQ(parsed.segment.info->duration, 5'400'000.0);
      EXPECT_EQ(parsed.segment.tracks.Of(kTrackVideo).size(), 1U);
      EXPECT_EQ(parsed.segment.tracks.Of(kTrackAudio).size(), 1U);
    }
  }
}

TEST(MkvSegment, FollowsOneSeekHeadToTheNextButNotForEver) {
  const auto seekTo = [](Element kind, std::uint64_t at) { return Put(E::SeekHead, SeekTo(kind, at)); };
  const Bytes cluster = SomeCluster();
  const std::uint64_t second = seekTo(E::SeekHead, 0).size() + cluster.size();
  const std::uint64_t third = second + seekTo(E::Tracks, 0).size();
  const Parsed chained(
      Segment(seekTo(E::SeekHead, second) + cluster + seekTo(E::Tracks, third) + SomeTracks()));
  EXPECT_EQ(chained.segment.tracks.Of(kTrackVideo).size(), 1U);
  EXPECT_EQ(Parsed(Segment(seekTo(E::SeekHead, 0) + cluster)).result, QMF_OK);
  EXPECT_EQ(Parsed(Segment(Put(E::SeekHead, {0x00, 0x81, 0}))).result, QMF_ERR_QF3_PARSE_SEEKHEAD);
}

TEST(MkvSegment, GivesWhatAFileCutAnywhereHas) {
  const Bytes whole = Segment(Info() + SomeTracks() + SomeCluster());
  std::size_t most = 0;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const Parsed parsed(Cut(whole, size));
    const std::size_t video = parsed.segment.tracks.Of(kTrackVideo).size();
    const std::size_t audio = parsed.segment.tracks.Of(kTrackAudio).size();
    EXPECT_TRUE(parsed.result == QMF_OK || parsed.result == QMF_ERR_INVALID_FILE ||
                parsed.result == QMF_ERR_BAD_STRUCTURE || parsed.result == QMF_ERR_QF3_PARSE_SEGMENTINFO)
        << size;
    EXPECT_TRUE(video >= audio && video + audio >= most) << size;
    most = video + audio;
  }
  EXPECT_EQ(most, 2U);
}

TEST(MkvSegment, ReportsBrokenTracks) {
  const auto entry = [](Element kind, std::size_t size) { return Track(1, 1, "V", Put(kind, Bytes(size))); };
  for (const Bytes& tracks :
       {entry(E::TrackUid, 9), entry(E::DefaultDuration, 9), entry(E::TrackTimecodeScale, 200),
        Track(1, 1, "V", Picture(1, 1, Put(E::DisplayWidth, Bytes(9)))),
        // An entry that claims to be larger than its parent, an invalid id.
        ElementHead(0xAE, 50) + Bytes(10), Bytes(10)}) {
    EXPECT_EQ(Parsed(Segment(Info() + Put(E::Tracks, tracks) + Void(100))).result, QMF_ERR_QF3_PARSE_TRACKS);
  }
  EXPECT_EQ(Parsed(Segment(Info() + Put(E::Tracks, {}) + Void(100))).result, QMF_OK);
}

}  // namespace
}  // namespace qmf::test
