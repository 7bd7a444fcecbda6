#include "readers/mkv/MkvSegment.h"

#include <gtest/gtest.h>

#include "readers/mkv/CodecTable.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using Bytes = EbmlBuilder::Bytes;

// A segment read straight, for what no query tells.
struct Parsed {
  explicit Parsed(Bytes content)
      : bytes(std::move(content)),
        segment(std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(bytes)),
                std::pmr::new_delete_resource()),
        result(ReadMkvSegment(segment)) {}
  explicit Parsed(const EbmlBuilder& file) : Parsed(file.Done()) {}

  const Bytes bytes;
  MkvSegment segment;
  const QMFResult result;
};

EbmlBuilder WithInfo(const EbmlBuilder& children) {
  return test::Header().Master(Element::Segment, EbmlBuilder().Master(Element::SegmentInfo, children));
}

EbmlBuilder SomeTracks() {
  return EbmlBuilder().Master(Element::Tracks,
                              EbmlBuilder()
                                  .Raw(test::Track(1, 1, "V_MPEG4/ISO/AVC", test::Picture(64, 48)).Done())
                                  .Raw(test::Track(2, 2, "A_AAC", {}).Done()));
}

EbmlBuilder ClusterChildren() {
  return EbmlBuilder().Unsigned(Element::Timecode, 0).Binary(Element::SimpleBlock, Bytes(5000, 0x81));
}

TEST(MkvSegment, RefusesWhatIsNoMatroskaDocument) {
  const auto header = [](const EbmlBuilder& children) {
    return EbmlBuilder().Master(Element::Ebml, children).Master(Element::Segment, test::Info());
  };
  EXPECT_EQ(Parsed(EbmlBuilder().Raw("This is a text file.")).result, QMF_ERR_INVALID_FILE);
  EXPECT_EQ(Parsed(Bytes{}).result, QMF_ERR_INVALID_FILE);
  EXPECT_EQ(Parsed(header(EbmlBuilder().Text(Element::DocType, "matroska"))).result, QMF_OK);
  EXPECT_EQ(Parsed(header(EbmlBuilder().Text(Element::DocType, "webm"))).result, QMF_OK);
  EXPECT_EQ(Parsed(header(EbmlBuilder().Text(Element::DocType, "other"))).result,
            QMF_ERR_UNSUPPORTED_CONTAINER);
  EXPECT_EQ(Parsed(header(EbmlBuilder().Unsigned(Element::EbmlMaxIdLength, 5))).result, QMF_ERR_INVALID_FILE);
  EXPECT_EQ(Parsed(header(EbmlBuilder().Unsigned(Element::EbmlMaxSizeLength, 9))).result,
            QMF_ERR_INVALID_FILE);
  // The segment's size has four bytes.
  EXPECT_EQ(Parsed(header(EbmlBuilder().Unsigned(Element::EbmlMaxSizeLength, 3))).result,
            QMF_ERR_BAD_STRUCTURE);
  EXPECT_EQ(Parsed(test::Header()).result, QMF_ERR_BAD_STRUCTURE);
}

TEST(MkvSegment, KeepsTheInformation) {
  const Parsed parsed(WithInfo(EbmlBuilder()
                                   .Binary(Element::Crc, Bytes(4))
                                   .Text(Element::Title, "Ti\xC3\xA9tle")
                                   .Void(3)
                                   .Element(0x4461, Bytes(8))  // unknown: the date
                                   .Binary(Element::SegmentUid, {1, 2, 3})
                                   .Unsigned(Element::TimecodeScale, 2'000'050)
                                   .Float(Element::Duration, 12.5)));
  ASSERT_EQ(parsed.result, QMF_OK);
  ASSERT_TRUE(parsed.segment.info);
  const MkvInfo& info = *parsed.segment.info;
  EXPECT_EQ(info.title, u"Ti\u00e9tle");
  EXPECT_EQ(info.segmentUid, (MkvSegmentUid{1, 2, 3}));
  EXPECT_EQ(info.Scale100ns(), 20'000U);
  EXPECT_EQ(info.duration, 12.5);
}

TEST(MkvSegment, ChecksTheSizesOfTheInformation) {
  struct Row {
    Element kind;
    std::size_t size;
    QMFResult result;
  };
  const Row rows[] = {
      {Element::TimecodeScale, 0, QMF_OK},
      {Element::TimecodeScale, 8, QMF_OK},
      {Element::TimecodeScale, 9, QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {Element::SegmentUid, 16, QMF_OK},
      {Element::SegmentUid, 17, QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {Element::Duration, 0, QMF_OK},
      {Element::Duration, 3, QMF_ERR_QF3_PARSE_SEGMENTINFO},
      {Element::Title, std::size_t{1} << 20, QMF_OK},
      {Element::Title, (std::size_t{1} << 20) + 1, QMF_ERR_QF3_PARSE_SEGMENTINFO},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Parsed(WithInfo(EbmlBuilder().Binary(row.kind, Bytes(row.size)))).result, row.result)
        << row.size << " bytes of element " << static_cast<int>(row.kind);
  }
  EXPECT_EQ(
      Parsed(WithInfo(EbmlBuilder().Unsigned(Element::TimecodeScale, 0, 0))).segment.info->timecodeScale, 0U);
  EXPECT_EQ(Parsed(WithInfo({})).segment.info->timecodeScale, 1'000'000U);
}

TEST(MkvSegment, KnowsOneEarlyLibraryByItsName) {
  const auto flag = [](std::string_view muxingApp) {
    return Parsed(WithInfo(EbmlBuilder().Text(Element::MuxingApp, muxingApp))).segment.info->byLibmatroska081;
  };
  EXPECT_TRUE(flag("libmatroska v0.8.1"));
  EXPECT_TRUE(flag("libebml v0.7.7 + libmatroska v0.8.1 + another v1"));
  EXPECT_FALSE(flag("libmatroska v0.8.0"));
  EXPECT_FALSE(flag("libmatroska v0.8"));
}

TEST(MkvSegment, KeepsTracksByType) {
  const EbmlBuilder encodings = EbmlBuilder().Master(
      Element::ContentEncodings,
      EbmlBuilder().Master(
          Element::ContentEncoding,
          EbmlBuilder()
              .Unsigned(Element::ContentEncodingOrder, 1)
              .Unsigned(Element::ContentEncodingScope, 3)
              .Master(Element::ContentCompression, EbmlBuilder()
                                                       .Unsigned(Element::ContentCompAlgo, 3)
                                                       .Binary(Element::ContentCompSettings, {0xAA, 0xBB}))));
  const EbmlBuilder more = EbmlBuilder()
                               .Unsigned(Element::TrackUid, 99)
                               .Unsigned(Element::DefaultDuration, 40'000'000)
                               .Float(Element::TrackTimecodeScale, 1.5)
                               .Text(Element::Name, "Commentary")
                               .Text(Element::Language, "fre")
                               .Text(Element::CodecName, "codec")
                               .Binary(Element::CodecPrivate, {1, 2})
                               .Unsigned(Element::AttachmentLink, 7)
                               .Unsigned(Element::AttachmentLink, 8)
                               .Unsigned(Element::FileLacing, 0)
                               .Raw(encodings.Done());
  EbmlBuilder entries = test::Track(5, 2, "A_AC3", more);
  for (const std::uint64_t type : {0U, 1U, 2U, 3U, 0x10U, 0x11U, 0x12U, 0x20U, 255U}) {
    entries.Raw(test::Track(6, type, "A_AC3/BSID", {}).Done());
  }
  const Parsed parsed(test::Film(entries));
  ASSERT_EQ(parsed.result, QMF_OK);
  const MkvTracks& tracks = parsed.segment.tracks;
  for (const std::uint32_t type : {kTrackVideo, kTrackSubtitle, kTrackComplex, kTrackLogo, kTrackButtons}) {
    ASSERT_EQ(tracks.Of(type).size(), 1U) << type;
    EXPECT_EQ(tracks.Of(type)[0].codecIndex, kCodecUnknown);  // no prefix matches
    EXPECT_EQ(tracks.Of(type)[0].language, u"eng");
  }
  ASSERT_EQ(tracks.Of(kTrackAudio).size(), 2U);
  const MkvTrack& track = tracks.Of(kTrackAudio)[0];
  EXPECT_EQ(track.number, 5U);
  EXPECT_EQ(track.uid, 99U);
  EXPECT_EQ(track.defaultDuration, 40'000'000U);
  EXPECT_EQ(track.timecodeScale, 1.5F);
  EXPECT_EQ(track.name, u"Commentary");
  EXPECT_EQ(track.language, u"fre");
  EXPECT_EQ(track.codecName, u"codec");
  EXPECT_EQ(track.codecIndex, 23U);
  EXPECT_EQ(std::vector(track.codecPrivate.begin(), track.codecPrivate.end()), (Bytes{0xAA, 0xBB, 1, 2}));
  EXPECT_EQ(track.attachmentLinks.size(), 2U);
  EXPECT_FALSE(track.lacing);
  ASSERT_EQ(track.encodings.size(), 1U);
  EXPECT_EQ(track.encodings[0].order, 1U);
  EXPECT_EQ(track.encodings[0].scope, 3U);
  EXPECT_EQ(track.encodings[0].algorithm, 3U);
  EXPECT_EQ(track.encodings[0].settings.size(), 2U);

  const char16_t* codecId = nullptr;
  EXPECT_EQ(MkvTrackCodecId(tracks, kTrackAudio, 0, codecId), QMF_OK);
  EXPECT_EQ(std::u16string_view(codecId), u"A_AC3");
  EXPECT_EQ(MkvTrackCodecId(tracks, kTrackAudio, 2, codecId), QMF_FAILURE);
  EXPECT_EQ(MkvTrackCodecId(tracks, 0, 0, codecId), QMF_FAILURE);
  EXPECT_EQ(MkvTrackCodecId(tracks, 7, 0, codecId), QMF_FAILURE);
}

TEST(MkvSegment, HoldsManyTracksAndPassesOverTooMany) {
  EbmlBuilder entries;
  for (std::size_t i = 0; i < MkvTracks::kMaxTracks + 5; ++i)
    entries.Raw(test::Track(i, 2, "A_AAC", {}).Done());
  const Parsed parsed(test::Film(entries));
  EXPECT_EQ(parsed.result, QMF_OK);
  EXPECT_EQ(parsed.segment.tracks.Of(kTrackAudio).size(), MkvTracks::kMaxTracks);
}

TEST(MkvSegment, FindsInformationAndTracksWhereverTheyStand) {
  const EbmlBuilder info = test::Info();
  const EbmlBuilder tracks = SomeTracks();
  const EbmlBuilder cluster = EbmlBuilder().Master(Element::Cluster, ClusterChildren());
  const EbmlBuilder openCluster = EbmlBuilder().OpenMaster(Element::Cluster, ClusterChildren());
  const auto seek = [](std::uint64_t infoAt, std::uint64_t tracksAt) {
    const auto entry = [](Element kind, std::uint64_t at) {
      return EbmlBuilder().Master(
          Element::Seek,
          EbmlBuilder().Unsigned(Element::SeekId, ElementId(kind), 4).Unsigned(Element::SeekPosition, at));
    };
    return EbmlBuilder().Master(
        Element::SeekHead, entry(Element::SegmentInfo, infoAt).Raw(entry(Element::Tracks, tracksAt).Done()));
  };
  const std::uint64_t behind = seek(0, 0).Size() + cluster.Size();
  const EbmlBuilder segments[] = {
      EbmlBuilder().Raw(info.Done()).Raw(tracks.Done()).Raw(cluster.Done()),
      EbmlBuilder().Raw(tracks.Done()).Raw(info.Done()).Raw(cluster.Done()),
      EbmlBuilder()
          .Raw(seek(behind, behind + info.Size()).Done())
          .Raw(cluster.Done())
          .Raw(info.Done())
          .Raw(tracks.Done()),
      // Promises that do not hold: into another element, beyond the file.
      EbmlBuilder().Raw(seek(2, ~0ULL).Done()).Raw(cluster.Done()).Raw(info.Done()).Raw(tracks.Done()),
      // Behind clusters of known and of unknown size, without seek head.
      EbmlBuilder().Raw(cluster.Done()).Raw(cluster.Done()).Raw(info.Done()).Raw(tracks.Done()),
      EbmlBuilder().Raw(openCluster.Done()).Raw(openCluster.Done()).Raw(info.Done()).Raw(tracks.Done()),
  };
  for (const EbmlBuilder& children : segments) {
    for (const EbmlBuilder& file : {test::Header().Master(Element::Segment, children),
                                    test::Header().OpenMaster(Element::Segment, children)}) {
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
  const auto seekTo = [](Element kind, std::uint64_t at) {
    return EbmlBuilder().Master(
        Element::SeekHead,
        EbmlBuilder().Master(
            Element::Seek,
            EbmlBuilder().Unsigned(Element::SeekId, ElementId(kind), 4).Unsigned(Element::SeekPosition, at)));
  };
  const EbmlBuilder cluster = EbmlBuilder().Master(Element::Cluster, ClusterChildren());
  const std::uint64_t second = seekTo(Element::SeekHead, 0).Size() + cluster.Size();
  const std::uint64_t third = second + seekTo(Element::Tracks, 0).Size();
  const Parsed chained(test::Header().Master(Element::Segment, seekTo(Element::SeekHead, second)
                                                                   .Raw(cluster.Done())
                                                                   .Raw(seekTo(Element::Tracks, third).Done())
                                                                   .Raw(SomeTracks().Done())));
  EXPECT_EQ(chained.segment.tracks.Of(kTrackVideo).size(), 1U);
  const Parsed circular(
      test::Header().Master(Element::Segment, seekTo(Element::SeekHead, 0).Raw(cluster.Done())));
  EXPECT_EQ(circular.result, QMF_OK);
  const Parsed broken(
      test::Header().Master(Element::Segment, EbmlBuilder().Binary(Element::SeekHead, {0x00, 0x81, 0})));
  EXPECT_EQ(broken.result, QMF_ERR_QF3_PARSE_SEEKHEAD);
}

TEST(MkvSegment, GivesWhatAFileCutAnywhereHas) {
  const Bytes whole = test::Header()
                          .Master(Element::Segment, EbmlBuilder()
                                                        .Raw(test::Info().Done())
                                                        .Raw(SomeTracks().Done())
                                                        .Master(Element::Cluster, ClusterChildren()))
                          .Done();
  std::size_t mostVideo = 0;
  std::size_t mostAudio = 0;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const Parsed parsed(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    const std::size_t video = parsed.segment.tracks.Of(kTrackVideo).size();
    const std::size_t audio = parsed.segment.tracks.Of(kTrackAudio).size();
    EXPECT_TRUE(parsed.result == QMF_OK || parsed.result == QMF_ERR_INVALID_FILE ||
                parsed.result == QMF_ERR_BAD_STRUCTURE || parsed.result == QMF_ERR_QF3_PARSE_SEGMENTINFO)
        << size;
    EXPECT_TRUE(video >= mostVideo && audio >= mostAudio && video >= audio) << size;
    mostVideo = video;
    mostAudio = audio;
  }
  EXPECT_EQ(mostAudio, 1U);
}

TEST(MkvSegment, ReportsBrokenTracks) {
  const auto result = [](const EbmlBuilder& tracks) {
    return Parsed(test::Header().Master(
                      Element::Segment,
                      EbmlBuilder().Raw(test::Info().Done()).Master(Element::Tracks, tracks).Void(100)))
        .result;
  };
  const auto entry = [&](Element kind, std::size_t size) {
    return result(test::Track(1, 1, "V", EbmlBuilder().Binary(kind, Bytes(size))));
  };
  EXPECT_EQ(entry(Element::TrackUid, 9), QMF_ERR_QF3_PARSE_TRACKS);
  EXPECT_EQ(entry(Element::DefaultDuration, 9), QMF_ERR_QF3_PARSE_TRACKS);
  EXPECT_EQ(entry(Element::TrackTimecodeScale, 200), QMF_ERR_QF3_PARSE_TRACKS);
  EXPECT_EQ(result(test::Track(1, 1, "V",
                               test::Picture(1, 1, EbmlBuilder().Binary(Element::DisplayWidth, Bytes(9))))),
            QMF_ERR_QF3_PARSE_TRACKS);
  // An entry that claims to be larger than its parent, an invalid id.
  EXPECT_EQ(result(EbmlBuilder().Id(0xAE).ElementSize(50).Raw(Bytes(10))), QMF_ERR_QF3_PARSE_TRACKS);
  EXPECT_EQ(result(EbmlBuilder().Raw(Bytes(10))), QMF_ERR_QF3_PARSE_TRACKS);
  EXPECT_EQ(result({}), QMF_OK);
}

TEST(MkvSegment, StopsAtTheElementBudget) {
  EbmlBuilder many;
  for (int i = 0; i < 300'000; ++i) many.Raw(Bytes{0xEC, 0x80});
  const Parsed parsed(test::Header().Master(
      Element::Segment, EbmlBuilder().Raw(test::Info().Done()).Raw(many.Done()).Raw(SomeTracks().Done())));
  EXPECT_EQ(parsed.result, QMF_OK);
  EXPECT_TRUE(parsed.segment.info);
  EXPECT_FALSE(parsed.segment.hasTracks);
}

}  // namespace
}  // namespace qmf
