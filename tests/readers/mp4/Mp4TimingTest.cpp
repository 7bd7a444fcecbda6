#include <gtest/gtest.h>

#include "readers/mp4/Mp4SampleTable.h"
#include "readers/mp4/Mp4Time.h"
#include "tests/readers/mp4/Mp4Movies.h"

namespace qmf::test {
namespace {

TEST(Mp4Time, RescalesAndReducesToTheNearestWithoutOverflow) {
  EXPECT_EQ(Rescale(1, 3, 10'000'000), 3'333'333);
  EXPECT_EQ(Rescale(-2, 3, 10'000'000), -6'666'667);
  EXPECT_EQ(Rescale(5, 0, 10'000'000), 0);
  EXPECT_EQ(Rescale(INT64_MAX, 1, 10'000'000), INT64_MAX);
  EXPECT_EQ(Rescale(INT64_MIN, 1, 10'000'000), -INT64_MAX);
  EXPECT_EQ(AddTimes(INT64_MAX, 1), INT64_MAX);
  EXPECT_EQ(AddTimes(INT64_MIN, -1), INT64_MIN);
  EXPECT_EQ(AddTimes(INT64_MAX, INT64_MIN), -1);
  const auto reduced = [](std::uint64_t numerator, std::uint64_t denominator) {
    const Fraction fraction = Reduce(numerator, denominator);
    return std::pair(fraction.numerator, fraction.denominator);
  };
  EXPECT_EQ(reduced(30000ULL * 1'000'000, 1001ULL * 1'000'000), std::pair(30000U, 1001U));
  EXPECT_EQ(reduced(0, 5), std::pair(0U, 0U));
  EXPECT_EQ(reduced(5, 0), std::pair(0U, 0U));
  EXPECT_EQ(reduced((1ULL << 62) + 1, 1ULL << 58), std::pair(16U, 1U));
  EXPECT_EQ(reduced(UINT64_MAX, UINT64_MAX - 1), std::pair(1U, 1U));
}

std::optional<std::uint64_t> DurationOf(const Bytes& file) {
  return StartedFile(kMp4Module, file).Number(QMF_QID_TITLE_DURATION);
}

TEST(Mp4Duration, IsThatOfTheLongestEnabledTrackAfterItsEdits) {
  const std::tuple<const char*, std::uint64_t, std::uint64_t, Bytes, std::uint64_t> rows[] = {
      {"media", 4000, 51200, {}, 40'000'000},
      {"media finer than the movie's clock", 4000, 51201, {}, 40'000'781},
      {"an edit that starts behind reordered frames", 4000, 52224, Edits({{4000, 1024}}), 40'000'000},
      {"an empty edit in front", 4500, 51200, Edits({{500, -1}, {4000, 0}}), 45'000'000},
      {"two edits", 4500, 51200, Edits({{1000, 0}, {2000, 25600}}), 30'000'000},
      {"an edit to the end", 4500, 51200, Edits({{500, -1}, {0, 12800}}), 35'000'000},
      {"no media duration: the track header's", 3000, 0, {}, 30'000'000},
      {"unknown everywhere", UINT32_MAX, UINT32_MAX, {}, 0},
  };
  MovieSpec spec;
  for (const auto& [what, movie, media, edits, expected] : rows) {
    spec.duration = movie;
    spec.tracks = {VideoTrack()};
    spec.tracks[0].duration = media;
    spec.tracks[0].edits = edits;
    EXPECT_EQ(DurationOf(MakeMovie(spec)), expected) << what;
  }
  // A disabled track is left out unless all are.
  spec.tracks = {VideoTrack(), VideoTrack()};
  spec.tracks[1].duration = 128000;
  spec.tracks[1].flags = 0;
  EXPECT_EQ(DurationOf(MakeMovie(spec)), 40'000'000U);
  spec.tracks[0].flags = 0;
  EXPECT_EQ(DurationOf(MakeMovie(spec)), 100'000'000U);
  // A table is no longer than its atom.
  spec.tracks = {VideoTrack()};
  spec.tracks[0].edits = Edits({{3000, 0}});
  Bytes lying = MakeMovie(spec);
  PayloadOf(lying, "elst")[7] = 9;
  EXPECT_EQ(DurationOf(lying), 30'000'000U);
}

TEST(Mp4Rate, IsTheAverageOverAllSamples) {
  using Times = std::vector<std::pair<std::uint32_t, std::uint32_t>>;
  // So many frames with a length of their own that the rate comes from the sample count.
  Times unequal(131'075);
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
    StartedFile file(kMp4Module, MovieOf(track));
    const QMFVideoFormat format = file.Video();
    EXPECT_EQ(format.rate, rate) << times.size();
    EXPECT_EQ(format.scale, scale) << times.size();
    // Frame 2 of 29.97 a second begins a third of a unit late, frame 29 of 25 where floating point falls
    // short.
    for (const std::uint64_t frame : {1U, 2U, 29U}) {
      const std::uint64_t time = rate == 0 ? 0 : (frame * 10'000'000 * scale + rate / 2) / rate;
      const auto at = [&](std::uint64_t when) {
        return file.Number(QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, 0, when);
      };
      const bool known = scale != 0;
      EXPECT_EQ(at(time), known ? std::optional(frame) : std::nullopt) << times.size();
      EXPECT_EQ(at(time - 1), known ? std::optional(frame - 1) : std::nullopt) << times.size();
    }
  }
  // No question walks through all that a compressed movie may hold of tiny atoms.
  for (const auto& [others, counted] : {std::pair(200, 7U), {300, 0U}}) {
    AtomBuilder atoms;
    for (int i = 0; i < others; ++i) atoms.Begin("free").End();
    const Bytes table = atoms.Begin("stsz", 0, 0).U32(1, 7).Take();
    FileReader file(std::make_shared<MemoryFileSource>(table));
    CMP4SampleTableAtom atom;
    atom.end = table.size();
    EXPECT_EQ(CountSamples(atom, file), counted);
  }
}

}  // namespace
}  // namespace qmf::test
