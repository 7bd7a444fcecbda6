#include <gtest/gtest.h>

#include "tests/readers/mp4/Mp4Movies.h"

namespace qmf::test {
namespace {

// A short movie that three fragments continue: one 'traf' with defaults, one with everything by sample.
Bytes ContinuedMovie() {
  MovieSpec spec = ShortMovie();
  AtomBuilder extends;
  extends.Begin("mvex").Begin("trex", 0, 0).U32(1, 1, 512, 2, 0x10000).End();
  spec.extra = extends.Begin("trex", 0, 0).U32(2, 1, 0, 0, 0).Take();
  AtomBuilder file;
  file.Raw(MakeMovie(spec));
  for (std::uint32_t i = 0; i < 3; ++i) {
    // The audio's media follow where the video's end.
    constexpr std::uint32_t kMoofSize = 156;
    const std::size_t start = file.Size();
    file.Begin("moof").Begin("mfhd", 0, 0).U32(i).End();
    file.Begin("traf").Begin("tfhd", 0, 0).U32(1).End().Begin("tfdt", 1, 0).U64(5120 + 2048 * i).End();
    file.Begin("trun", 0, 5).U32(4, kMoofSize + 8, 0).End().End();
    file.Begin("traf").Begin("tfhd", 0, 0).U32(2).End().Begin("trun", 1, 0xB00).U32(2);
    file.U32(1920, 3, 480, 5760, 4, UINT32_MAX).End().End().End();
    EXPECT_EQ(file.Size() - start, kMoofSize);
    file.Begin("mdat");
    for (std::uint32_t n = 0; n < 15; ++n) file.U8(55 + i * 15 + n);
    file.End();
  }
  return file.Take();
}

TEST(Mp4Fragments, DeliverBlocksThatFollowEachOtherAndAreSoughtByTime) {
  StartedFile file(kMp4Module, ContinuedMovie());
  const std::vector<ReadBlock> blocks = file.Rest();
  EXPECT_EQ(OrderOf(blocks), "KvvvaaaKvvvaaaKvaaKvvvaaKvvvaaKvvvaa");
  const Bytes content = ContentOf(blocks);
  EXPECT_EQ(content.size(), 100U);
  for (std::size_t i = 0; i < content.size(); ++i) EXPECT_EQ(content[i], i);
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 8'800'000U);

  for (const auto& [asked, landed, byte] : {std::tuple(0, 0, 0),
                                            {399, 320, 41},
                                            {400, 400, 55},
                                            {559, 400, 55},
                                            {560, 560, 70},
                                            {5000, 720, 85},
                                            {-1, 0, 0}}) {
    EXPECT_EQ(file.Seek(kBlockVideo, asked * kMillisecond), landed * kMillisecond);
    const ReadBlock read = file.NextOf(kBlockVideo);
    EXPECT_EQ(read.time, landed * kMillisecond);
    EXPECT_EQ(read.bytes.at(0), byte);
  }
  EXPECT_EQ(file.Seek(kBlockVideo, 0), 0);
  EXPECT_EQ(file.Rest(), blocks);
  EXPECT_EQ(file.Seek(kBlockAudio, 330 * kMillisecond), 320 * kMillisecond);
  EXPECT_EQ(file.NextOf(kBlockAudio).compositionOffset, 10 * kMillisecond);
  for (const int time : {360, 480, 520}) EXPECT_EQ(file.NextOf(kBlockAudio).time, time * kMillisecond);

  for (const auto& [asked, next] : {std::pair(330, 400), {400, 560}, {560, 720}}) {
    const auto time = static_cast<std::uint64_t>(asked * kMillisecond);
    EXPECT_EQ(file.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, time), next * kMillisecond) << asked;
  }
  EXPECT_EQ(file.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 7'200'000), QMF_ERR_END_OF_STREAM);
}

// At first four fragments of a second each.
struct Fragmented {
  std::uint64_t mehd = 0;
  std::uint32_t indexed = 0;     ///< Fragments that a segment index in front covers.
  std::uint32_t indexStart = 0;  ///< Where it starts, ticks.
  bool accesses = false;
  Bytes edits = {};
  std::uint32_t fragments = 4;
  std::size_t mediaSize = 8;
  std::uint32_t samples = 25;
  std::uint32_t shift = 0;                                          ///< Of all frames' presentation, ticks.
  std::uint32_t first = 512;                                        ///< Ticks of the very first frame.
  std::vector<std::pair<std::uint32_t, std::uint32_t>> times = {};  ///< Of the movie header.
};

// A fragment of one track: its samples from `time` on, of 512 ticks each, the first a sync sample.
void AddFragment(AtomBuilder& atoms, std::uint32_t time, const Fragmented& with, bool perSample = true) {
  atoms.Begin("moof").Begin("mfhd", 0, 0).U32(1).End().Begin("traf");
  atoms.Begin("tfhd", 0, 0x20008).U32(1, 512).End().Begin("tfdt", 0, 0).U32(time).End();
  atoms.Begin("trun", 0, perSample ? 0xB05U : 5U).U32(with.samples, 100, 0);
  for (std::uint32_t i = 0; perSample && i < with.samples; ++i) {
    atoms.U32(time + i == 0 ? with.first : 512, 1, with.shift);
  }
  atoms.End().End().End().Begin("mdat").Zeros(with.mediaSize).End();
}

Bytes FragmentedMovie(const Fragmented& with) {
  const std::uint32_t ticks = 512 * with.samples;
  TrackSpec video = VideoTrack();
  video.times = with.times;
  video.duration = 0;
  video.edits = with.edits;
  AtomBuilder extends;
  extends.Begin("mvex");
  if (with.mehd != 0) extends.Begin("mehd", 1, 0).U64(with.mehd).End();
  extends.Begin("trex", 0, 0).U32(1, 1, 0, 1, 0x10000);
  AtomBuilder file;
  file.Raw(MakeMovieAtom({.duration = 0, .tracks = {video}, .extra = extends.Take()}, 0));
  AtomBuilder one;
  AddFragment(one, 0, with);
  if (with.indexed > 0) {
    file.Begin("sidx", 0, 0).U32(1, 12800, with.indexStart, 0).U16(0, with.indexed);
    for (std::uint32_t i = 0; i < with.indexed; ++i) file.U32(one.Size(), ticks, 0x90000000);
    file.End();
  }
  const std::size_t first = file.Size();
  for (std::uint32_t i = 0; i < with.fragments; ++i) {
    AddFragment(file, ticks * i, with);
  }
  if (with.accesses) {
    const std::size_t start = file.Size();
    // One of a track that is not there, and numbers of different lengths.
    file.Begin("mfra").Begin("tfra", 0, 0).U32(7, 0, 1, 0, 0).U8(1, 1, 1).End();
    file.Begin("tfra", 1, 0).U32(1, 0b011011, with.fragments);
    for (std::uint32_t i = 0; i < with.fragments; ++i) {
      file.U64(std::uint64_t{ticks} * i, first + i * one.Size()).U16(1).Number(1, 3).U32(1);
    }
    file.End();
    file.Begin("mfro", 0, 0).U32(file.Size() + 4 - start);
  }
  return file.Take();
}

TEST(Mp4Fragments, GiveTheDurationByWhateverIndexThereIs) {
  const Bytes reorder = Edits({{0, 1024}});
  const std::tuple<const char*, Fragmented, std::uint64_t> rows[] = {
      {"mehd", {.mehd = 7000}, 70'000'000},
      {"a segment index of all fragments", {.indexed = 4}, 40'000'000},
      {"a segment index of the first fragment only", {.indexed = 1}, 40'000'000},
      {"random access at the end", {.accesses = true}, 40'000'000},
      {"no index at all", {}, 40'000'000},
      {"no index, and the last fragment far from the end",
       {.fragments = 7, .mediaSize = 300'000},
       70'000'000},
      {"an edit list", {.edits = Edits({{0, 12800}})}, 30'000'000},
      {"an edit list that starts behind reordered frames", {.edits = reorder, .shift = 1024}, 40'000'000},
      {"its segment index", {.indexed = 4, .edits = reorder, .shift = 1024}, 40'000'000},
      {"a segment index in times of the media",
       {.indexed = 4, .indexStart = 1024, .edits = reorder, .shift = 1024},
       40'000'000},
      {"single frames, the first one longer", {.fragments = 25, .samples = 1, .first = 900}, 10'000'000},
      {"and in the movie header", {.fragments = 25, .samples = 1, .times = {{1, 900}}}, 10'000'000},
  };
  for (const auto& [what, with, expected] : rows) {
    StartedFile file(kMp4Module, FragmentedMovie(with));
    ASSERT_EQ(file.result, QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), expected) << what;
    EXPECT_EQ(file.Video().rate, 25U) << what;
    EXPECT_EQ(file.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), expected / 400'000) << what;
  }
  StartedFile none(kMp4Module, FragmentedMovie({.fragments = 0}));
  EXPECT_EQ(none.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME), QMF_ERR_END_OF_STREAM);
}

TEST(Mp4Fragments, ThatClaimSamplesWithoutBytesForThemEnd) {
  AtomBuilder file;
  file.Raw(FragmentedMovie({}));
  AddFragment(file, 51200, {.samples = UINT32_MAX}, false);
  const std::uint64_t size = file.Size();
  StartedFile movie(kMp4Module, file.Take());
  ASSERT_EQ(movie.result, QMF_OK);
  EXPECT_EQ(movie.Number(QMF_QID_TITLE_DURATION), 40'000'000 + size * 400'000);
}

// Many tracks without samples of their own, and a fragment `times` times.
Bytes ManyTracks(bool ofOneId, const Bytes& fragment, int times) {
  MovieSpec spec{.tracks = {}};
  for (std::uint32_t i = 1; i <= 300; ++i) {
    TrackSpec track = VideoTrack();
    track.id = ofOneId ? 1 : i;
    track.duration = 0;
    track.times = {};
    spec.tracks.push_back(track);
  }
  spec.extra = AtomBuilder().Begin("mvex").Begin("trex", 0, 0).U32(1, 1, 0, 0, 0).Take();
  Bytes file = MakeMovie(spec);
  for (int i = 0; i < times; ++i) file += fragment;
  return file;
}

TEST(Mp4Fragments, CostLittleMoreWhereManyTracksShareThem) {
  AtomBuilder fragment;
  fragment.Begin("moof").Begin("traf").Begin("tfhd", 0, 0).U32(1).End().Begin("trun", 0, 0x100).U32(500);
  for (int i = 0; i < 500; ++i) fragment.U32(128);
  StartedFile one(kMp4Module, ManyTracks(true, fragment.Take(), 60));
  std::uint64_t before = one.Looks();
  EXPECT_EQ(one.Number(QMF_QID_TITLE_DURATION), 60 * 500 * 100'000U);
  EXPECT_LT(one.Looks() - before, 2000U);
  EXPECT_EQ(one.NextOf(kBlockVideo, 0).result, QMF_OK);
  EXPECT_EQ(one.NextOf(kBlockVideo, 1).result, QMF_ERR_END_OF_STREAM);

  StartedFile none(kMp4Module, ManyTracks(false, AtomBuilder().Begin("moof").Take(), 20'000));
  before = none.Looks();
  EXPECT_EQ(none.Next().result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(none.Seek(kBlockVideo, 10 * kMillisecond), -1);
  EXPECT_LT(none.Looks() - before, 2'500'000U) << "of six million";
}

// Two tracks each of whose tables is longer than a read.
Bytes LongTables(bool movieFirst) {
  constexpr std::uint32_t kFrames = 20'000;
  TrackSpec video = VideoTrack();
  // The decoder configurations count too.
  video.entry = VideoEntry("avc1", 640, 360, AtomBuilder().Begin("avcC").U8(1, 66).Zeros(60).Take());
  video.times = {{kFrames, 512}};
  video.duration = std::uint64_t{kFrames} * 512;
  video.sizes.assign(kFrames, 1);
  video.chunks = {1};
  for (std::uint32_t frame = 1; frame <= kFrames; ++frame) video.syncSamples.push_back(frame);
  video.offsets.assign(kFrames, {1, 512});
  TrackSpec audio = video;
  audio.id = 2;
  audio.handler = "soun";
  audio.entry = AudioEntry("Opus", 2, 16, 48000, AtomBuilder().Begin("dOps").U8(0, 2).Zeros(9).Take());
  return MakeMovie({.tracks = {video, audio}, .movieFirst = movieFirst});
}

// Ten minutes of fragments: ten seconds each, of a size that no window covers two of.
Bytes ManyFragments(Fragmented with) {
  with.fragments = 60;
  with.mediaSize = 100'000;
  with.samples = 250;
  return FragmentedMovie(with);
}

TEST(Mp4Properties, CostAFewReadsHoweverLongTheFileIs) {
  // The most reads for all of them, and for a seek behind them.
  const std::tuple<const char*, Bytes, std::uint64_t, int, int> rows[] = {
      {"long tables", LongTables(true), 8'000'000'000, 6, 60},
      {"long tables at the end", LongTables(false), 8'000'000'000, 6, 60},
      {"mehd", ManyFragments({.mehd = 600'000}), 6'000'000'000, 6, 60},
      {"a segment index", ManyFragments({.indexed = 60}), 6'000'000'000, 6, 6},
      {"random access at the end", ManyFragments({.accesses = true}), 6'000'000'000, 6, 6},
      {"no index: the first ones and the last", ManyFragments({}), 6'000'000'000, 16, 60},
  };
  for (const auto& [what, movie, duration, most, mostOfSeek] : rows) {
    const auto source = SourceOf(movie);
    OpenedFile file(kMp4Module, std::shared_ptr<FileSource>(source));
    ASSERT_EQ(file.Bid(), 100);
    ASSERT_EQ(file.SetTitle(), QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), duration) << what;
    EXPECT_EQ(file.Video().rate, 25U) << what;
    EXPECT_EQ(file.Audio().kind, file.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA) == 0U ? 0 : 0x11) << what;
    EXPECT_LE(source->reads, most) << what;
    source->reads = 0;
    EXPECT_EQ(file.Seek(kBlockVideo, 4'000'005'000), 4'000'000'000) << what;
    EXPECT_LE(source->reads, mostOfSeek) << what;
  }
}

}  // namespace
}  // namespace qmf::test
