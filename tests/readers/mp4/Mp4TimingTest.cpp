#include <gtest/gtest.h>

#include <algorithm>

#include "readers/mp4/Mp4Time.h"
#include "tests/readers/mp4/Mp4Movies.h"

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
  const std::tuple<std::uint64_t, std::uint64_t, std::uint32_t, std::uint32_t> rows[] = {
      {12800ULL * 100, 51200, 25, 1},
      {30000ULL * 1'000'000, 1001ULL * 1'000'000, 30000, 1001},
      {0, 5, 0, 0},
      {5, 0, 0, 0},
      // Terms that do not fit: the nearest that do.
      {(1ULL << 62) + 1, 1ULL << 58, 16, 1},
      {UINT64_MAX, UINT64_MAX - 1, 1, 1},
  };
  for (const auto& [n, d, numerator, denominator] : rows) {
    EXPECT_EQ(Reduce(n, d).numerator, numerator) << n;
    EXPECT_EQ(Reduce(n, d).denominator, denominator) << n;
  }
}

TEST(Mp4Duration, IsThatOfTheLongestEnabledTrackAfterItsEdits) {
  struct Row {
    const char* what;
    std::uint64_t movie;
    std::uint64_t media;
    Bytes edits;
    std::uint64_t expected;
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
    EXPECT_EQ(StartedFile(kMp4Module, MakeMovie(spec)).Number(QMF_QID_TITLE_DURATION), row.expected)
        << row.what;
  }
  // A disabled track is left out unless all are.
  MovieSpec spec;
  spec.tracks = {VideoTrack(), VideoTrack()};
  spec.tracks[1].duration = 128000;
  spec.tracks[1].flags = 0;
  EXPECT_EQ(StartedFile(kMp4Module, MakeMovie(spec)).Number(QMF_QID_TITLE_DURATION), 40'000'000U);
  spec.tracks[0].flags = 0;
  EXPECT_EQ(StartedFile(kMp4Module, MakeMovie(spec)).Number(QMF_QID_TITLE_DURATION), 100'000'000U);
  // A table is no longer than its atom.
  spec.tracks = {VideoTrack()};
  spec.tracks[0].edits = Edits({{3000, 0}});
  Bytes lying = MakeMovie(spec);
  const std::string_view table = "elst";
  *(std::search(lying.begin(), lying.end(), table.begin(), table.end()) + 11) = 9;
  EXPECT_EQ(StartedFile(kMp4Module, lying).Number(QMF_QID_TITLE_DURATION), 30'000'000U);
}

TEST(Mp4Rate, IsTheAverageOverAllSamples) {
  using Times = std::vector<std::pair<std::uint32_t, std::uint32_t>>;
  // 12 hours in which every frame has a length of its own: the rate comes from the sample count.
  Times unequal(12U * 3600 * 25);
  std::uint64_t total = 0;
  for (std::uint32_t i = 0; i < unequal.size(); ++i) total += (unequal[i] = {1, 500 + i % 25}).second;
  const std::tuple<std::uint32_t, Times, std::uint64_t, std::uint32_t, std::uint32_t> rows[] = {
      {12800, {{100, 512}}, 51200, 25, 1},
      {30000, {{300, 1001}}, 51200, 30000, 1001},
      {30000, {{3, 1000}, {1, 2000}, {6, 500}}, 51200, 75, 2},
      {30000, {{10, 0}}, 51200, 0, 0},
      {30000, {}, 51200, 0, 0},
      {12800, unequal, total, 25, 1},
  };
  for (const auto& [timescale, times, duration, rate, scale] : rows) {
    TrackSpec track = VideoTrack();
    track.timescale = timescale;
    track.times = times;
    track.duration = duration;
    const QMFVideoFormat format = StartedFile(kMp4Module, MovieOf(track)).Video();
    EXPECT_EQ(format.rate, rate) << times.size();
    EXPECT_EQ(format.scale, scale) << times.size();
  }
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
    const auto source = SourceOf(MakeMovie(spec));
    OpenedFile file(kMp4Module, std::shared_ptr<FileSource>(source));
    ASSERT_EQ(file.Bid(), 100);
    ASSERT_EQ(file.SetTitle(), QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 432'000'000'000U);
    EXPECT_EQ(file.Video().rate, 25U);
    EXPECT_EQ(file.Audio().samplesPerSec, 48000U);
    EXPECT_LE(source->reads, 6);
  }
}

}  // namespace
}  // namespace qmf::test
