#include <gtest/gtest.h>

#include "readers/mp4/Mp4Time.h"
#include "tests/readers/mp4/Mp4TestFile.h"

namespace qmf::test {
namespace {

TEST(Mp4Time, RescalesToTheNearestWithoutOverflow) {
  EXPECT_EQ(Rescale(1, 3, 10'000'000), 3'333'333);
  EXPECT_EQ(Rescale(2, 3, 10'000'000), 6'666'667);
  EXPECT_EQ(Rescale(-2, 3, 10'000'000), -6'666'667);
  EXPECT_EQ(Rescale(5, 0, 10'000'000), 0);
  EXPECT_EQ(Rescale(INT64_MAX, 1, 10'000'000), INT64_MAX);
  EXPECT_EQ(Rescale(INT64_MIN, 1, 10'000'000), -INT64_MAX);
  EXPECT_EQ(AddTimes(INT64_MAX, 1), INT64_MAX);
  EXPECT_EQ(AddTimes(INT64_MIN, -1), INT64_MIN);
  EXPECT_EQ(AddTimes(INT64_MAX, INT64_MIN), -1);
}

TEST(Mp4Time, ReducesFractionsTo32Bits) {
  const auto terms = [](std::uint64_t n, std::uint64_t d) {
    const Fraction f = Reduce(n, d);
    return std::pair(f.numerator, f.denominator);
  };
  EXPECT_EQ(terms(12800ULL * 100, 51200), std::pair(25U, 1U));
  EXPECT_EQ(terms(30000ULL * 1'000'000, 1001ULL * 1'000'000), std::pair(30000U, 1001U));
  EXPECT_EQ(terms(0, 5), std::pair(0U, 0U));
  EXPECT_EQ(terms(5, 0), std::pair(0U, 0U));
  // Terms that do not fit: the nearest that do.
  EXPECT_EQ(terms((1ULL << 62) + 1, 1ULL << 58), std::pair(16U, 1U));
  EXPECT_EQ(terms(UINT64_MAX, UINT64_MAX - 1), std::pair(1U, 1U));
}

TrackSpec VideoTrack() {
  TrackSpec track;
  track.entry = VideoEntry("avc1", 640, 360);
  return track;
}

Bytes Edits(std::initializer_list<std::pair<std::uint32_t, std::int32_t>> rows) {
  AtomBuilder atoms;
  atoms.Begin("edts").Begin("elst", 0, 0).U32(static_cast<std::uint32_t>(rows.size()));
  for (const auto& [duration, start] : rows) {
    atoms.U32(duration).U32(static_cast<std::uint32_t>(start)).U32(0x10000);
  }
  return atoms.End().End().Take();
}

TEST(Mp4Duration, IsThatOfTheLongestEnabledTrackAfterItsEdits) {
  struct Row {
    const char* what;
    std::uint64_t movie;
    std::uint64_t media;
    Bytes edits;
    std::int64_t expected;
  };
  const Row rows[] = {
      {"media", 4000, 51200, {}, 40'000'000},
      {"media finer than the movie's clock", 4000, 51201, {}, 40'000'781},
      {"an edit that starts behind reordered frames", 4000, 52224, Edits({{4000, 1024}}), 40'000'000},
      {"an empty edit in front", 4500, 51200, Edits({{500, -1}, {4000, 0}}), 45'000'000},
      {"two edits", 4500, 51200, Edits({{1000, 0}, {2000, 25600}}), 30'000'000},
      {"an edit to the end", 4500, 51200, Edits({{500, -1}, {0, 12800}}), 35'000'000},
      {"no media duration: the track header's", 3000, 0, {}, 30'000'000},
      {"unknown everywhere", UINT32_MAX, UINT32_MAX, {}, 0},
  };
  for (const Row& row : rows) {
    MovieSpec spec;
    spec.duration = row.movie;
    spec.tracks = {VideoTrack()};
    spec.tracks[0].duration = row.media;
    spec.tracks[0].edits = row.edits;
    Mp4TestFile file(MakeMovie(spec));
    ASSERT_EQ(file.Open(), QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), static_cast<std::uint64_t>(row.expected)) << row.what;
  }
}

TEST(Mp4Duration, LeavesDisabledTracksOutUnlessAllAre) {
  MovieSpec spec;
  spec.tracks = {VideoTrack(), VideoTrack()};
  spec.tracks[1].duration = 128000;
  spec.tracks[1].flags = 0;
  Mp4TestFile one(MakeMovie(spec));
  ASSERT_EQ(one.Open(), QMF_OK);
  EXPECT_EQ(one.Number(QMF_QID_TITLE_DURATION), 40'000'000U);
  spec.tracks[0].flags = 0;
  Mp4TestFile none(MakeMovie(spec));
  ASSERT_EQ(none.Open(), QMF_OK);
  EXPECT_EQ(none.Number(QMF_QID_TITLE_DURATION), 100'000'000U);
}

std::pair<std::uint32_t, std::uint32_t> RateOf(const TrackSpec& track) {
  MovieSpec spec;
  spec.tracks = {track};
  Mp4TestFile file(MakeMovie(spec));
  EXPECT_EQ(file.Open(), QMF_OK);
  const QMFVideoFormat format = file.Video();
  return {format.rate, format.scale};
}

TEST(Mp4Rate, IsTheAverageOverAllSamples) {
  TrackSpec track = VideoTrack();
  EXPECT_EQ(RateOf(track), std::pair(25U, 1U));
  track.timescale = 30000;
  track.times = {{300, 1001}};
  EXPECT_EQ(RateOf(track), std::pair(30000U, 1001U));
  track.times = {{3, 1000}, {1, 2000}, {6, 500}};
  EXPECT_EQ(RateOf(track), std::pair(75U, 2U));
  track.times = {{10, 0}};
  EXPECT_EQ(RateOf(track), std::pair(0U, 0U));
  track.times = {};
  EXPECT_EQ(RateOf(track), std::pair(0U, 0U));
}

// Properties of a movie whose tables are long: 12 hours, and every frame of a length of its own.
TEST(Mp4Rate, OfALongFileOfUnequalFramesComesFromTheSampleCount) {
  TrackSpec track = VideoTrack();
  const std::uint32_t frames = 12U * 3600 * 25;
  track.times.clear();
  track.duration = 0;
  for (std::uint32_t i = 0; i < frames; ++i) {
    track.times.emplace_back(1, 500 + i % 25);
    track.duration += 500 + i % 25;
  }
  EXPECT_EQ(RateOf(track), std::pair(25U, 1U));
}

// A fragment of one track: `samples` of 512 ticks each from `time` on, the first a sync sample.
void AddFragment(AtomBuilder& atoms, std::uint32_t time, std::uint32_t samples, bool perSample,
                 std::size_t mediaSize = 8) {
  atoms.Begin("moof").Begin("mfhd", 0, 0).U32(1).End().Begin("traf");
  atoms.Begin("tfhd", 0, 0x20008).U32(1).U32(512).End();
  atoms.Begin("tfdt", 0, 0).U32(time).End();
  atoms.Begin("trun", 0, perSample ? 0x305U : 5U).U32(samples).U32(100).U32(0);
  for (std::uint32_t i = 0; perSample && i < samples; ++i) atoms.U32(512).U32(1);
  atoms.End().End().End().Begin("mdat").Zeros(mediaSize).End();
}

struct Fragmented {
  std::uint64_t mehd = 0;
  std::uint32_t indexed = 0;  ///< Fragments that a segment index in front covers.
  bool accesses = false;
  Bytes edits = {};
};

// At first four fragments of a second each.
Bytes FragmentedMovie(const Fragmented& with, std::uint32_t fragments = 4, std::size_t mediaSize = 8,
                      std::uint32_t samples = 25) {
  const std::uint32_t ticks = 512 * samples;
  MovieSpec spec;
  spec.duration = 0;
  spec.tracks = {VideoTrack()};
  spec.tracks[0].times = {};
  spec.tracks[0].duration = 0;
  spec.tracks[0].edits = with.edits;
  AtomBuilder extends;
  extends.Begin("mvex");
  if (with.mehd != 0) extends.Begin("mehd", 1, 0).U64(with.mehd).End();
  spec.extra = extends.Begin("trex", 0, 0).U32(1).U32(1).U32(0).U32(1).U32(0x10000).End().End().Take();
  AtomBuilder file;
  file.Begin("ftyp").Code("iso5").U32(0).End().Raw(MakeMovieAtom(spec, 0));
  AtomBuilder one;
  AddFragment(one, 0, samples, true, mediaSize);
  if (with.indexed > 0) {
    file.Begin("sidx", 0, 0).U32(1).U32(12800).U32(0).U32(0).U16(0).U16(with.indexed);
    for (std::uint32_t i = 0; i < with.indexed; ++i) {
      file.U32(static_cast<std::uint32_t>(one.Size())).U32(ticks).U32(0x90000000);
    }
    file.End();
  }
  std::vector<std::size_t> places;
  for (std::uint32_t i = 0; i < fragments; ++i) {
    places.push_back(file.Size());
    AddFragment(file, ticks * i, samples, true, mediaSize);
  }
  if (with.accesses) {
    const std::size_t start = file.Size();
    file.Begin("mfra").Begin("tfra", 1, 0).U32(1).U32(0).U32(fragments);
    for (std::uint32_t i = 0; i < fragments; ++i)
      file.U64(std::uint64_t{ticks} * i).U64(places[i]).U8(1).U8(1).U8(1);
    file.End();
    file.Begin("mfro", 0, 0).U32(static_cast<std::uint32_t>(file.Size() + 4 - start)).End().End();
  }
  return file.Take();
}

TEST(Mp4Fragments, GiveTheDurationByWhateverIndexThereIs) {
  struct Row {
    const char* what;
    Fragmented with;
    std::uint64_t expected;
  };
  const Row rows[] = {
      {"mehd", {.mehd = 7000}, 70'000'000},
      {"a segment index of all fragments", {.indexed = 4}, 40'000'000},
      {"a segment index of the first fragment only", {.indexed = 1}, 40'000'000},
      {"random access at the end", {.accesses = true}, 40'000'000},
      {"no index at all", {}, 40'000'000},
      {"an edit list", {.edits = Edits({{0, 12800}})}, 30'000'000},
  };
  for (const Row& row : rows) {
    Mp4TestFile file(FragmentedMovie(row.with));
    ASSERT_EQ(file.Open(), QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), row.expected) << row.what;
    EXPECT_EQ(file.Video().rate, 25U) << row.what;
    EXPECT_EQ(file.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), row.expected / 400'000) << row.what;
  }
}

TEST(Mp4Fragments, ThatClaimSamplesWithoutBytesForThemEnd) {
  Bytes file = FragmentedMovie({});
  AtomBuilder more;
  AddFragment(more, 51200, UINT32_MAX, false);
  const Bytes tail = more.Take();
  file.insert(file.end(), tail.begin(), tail.end());
  const std::uint64_t size = file.size();
  Mp4TestFile movie(std::move(file));
  ASSERT_EQ(movie.Open(), QMF_OK);
  EXPECT_EQ(movie.Number(QMF_QID_TITLE_DURATION), 40'000'000 + size * 400'000);
}

// Three hours of fragments: ten seconds each, of a size that no window covers two of.
Bytes LongFragmentedMovie(const Fragmented& with) {
  return FragmentedMovie(with, 1080, 20'000, 250);
}

TEST(Mp4Fragments, CostAFewReadsWhereAnIndexTellsOfThem) {
  struct Row {
    const char* what;
    Fragmented with;
    int mostReads;
  };
  const Row rows[] = {
      {"mehd", {.mehd = 10'800'000}, 6},
      {"a segment index", {.indexed = 1080}, 6},
      {"random access at the end", {.accesses = true}, 6},
      {"no index: the first ones and the last", {}, 24},
  };
  for (const Row& row : rows) {
    Mp4TestFile file(LongFragmentedMovie(row.with));
    ASSERT_EQ(file.Score(), 100);
    ASSERT_EQ(file.Open(), QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 108'000'000'000U) << row.what;
    EXPECT_EQ(file.Video().rate, 25U) << row.what;
    EXPECT_LE(file.Reads(), row.mostReads) << row.what;
    if (row.with.mehd != 0 || (row.with.indexed == 0 && !row.with.accesses)) continue;
    std::int64_t time = 54'000'005'000;
    const int before = file.Reads();
    ASSERT_EQ(Mp4TestFile::Slots().SetPosition(file.Handle(), kBlockVideo, 0, &time), QMF_OK);
    EXPECT_EQ(time, 54'000'000'000) << row.what;
    EXPECT_LE(file.Reads() - before, 60) << row.what;
  }
}

// What the Shell asks for, in its order.
void AskProperties(Mp4TestFile& file) {
  ASSERT_EQ(file.Score(), 100);
  ASSERT_EQ(file.Open(), QMF_OK);
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 432'000'000'000U);
  EXPECT_EQ(file.Video().rate, 25U);
  EXPECT_EQ(file.Audio().samplesPerSec, 48000U);
}

TEST(Mp4Properties, CostAFewReadsHoweverLongTheTablesAre) {
  TrackSpec video = VideoTrack();
  // The decoder configurations count too.
  const Bytes avc = AtomBuilder().Begin("avcC").U8(1).U8(66).Zeros(60).End().Take();
  video.entry = VideoEntry("avc1", 640, 360, avc);
  const std::uint32_t frames = 12U * 3600 * 25;
  video.times = {{frames, 512}};
  video.duration = std::uint64_t{frames} * 512;
  video.sizes.assign(frames, 1);
  video.samplesPerChunk = 7;
  video.syncSamples.assign(frames / 25, 1);
  video.offsets.assign(frames, {1, 512});
  TrackSpec audio = video;
  audio.id = 2;
  audio.handler = "soun";
  audio.timescale = 48000;
  audio.times = {{frames, 1920}};
  audio.duration = std::uint64_t{frames} * 1920;
  audio.entry =
      AudioEntry("Opus", 2, 16, 48000, AtomBuilder().Begin("dOps").U8(0).U8(2).Zeros(9).End().Take());
  MovieSpec spec;
  spec.duration = 43'200'000;
  spec.tracks = {video, audio};
  for (const bool movieFirst : {true, false}) {
    spec.movieFirst = movieFirst;
    Mp4TestFile file(MakeMovie(spec));
    AskProperties(file);
    EXPECT_LE(file.Reads(), 6);
  }
}

}  // namespace
}  // namespace qmf::test
