#include <gtest/gtest.h>

#include "tests/readers/mp4/Mp4Movies.h"

namespace qmf::test {
namespace {

// A movie of `tracks` without samples of their own, which `extends` says to continue in fragments.
Bytes EmptyMovie(std::vector<TrackSpec> tracks, const Bytes& extends) {
  MovieSpec spec;
  spec.duration = 0;
  for (TrackSpec& track : tracks) {
    track.times = {};
    track.offsets = {};
    track.sizes = {};
    track.syncSamples = {};
    track.duration = 0;
  }
  spec.tracks = std::move(tracks);
  spec.extra = extends;
  return MakeMovieAtom(spec, 0);
}

// Two tracks in three fragments: one 'traf' with defaults, one with everything by sample.
Bytes TwoTracksInFragments() {
  AtomBuilder extends;
  extends.Begin("mvex");
  extends.Begin("trex", 0, 0).U32(1).U32(1).U32(512).U32(2).U32(0x10000).End();
  extends.Begin("trex", 0, 0).U32(2).U32(1).U32(0).U32(0).U32(0).End();
  AtomBuilder file;
  file.Raw(EmptyMovie({ShortVideo(), ShortAudio()}, extends.End().Take()));
  for (std::uint32_t i = 0; i < 3; ++i) {
    // The audio's media follow where the video's end.
    constexpr std::uint32_t kMoofSize = 156;
    const std::size_t start = file.Size();
    file.Begin("moof").Begin("mfhd", 0, 0).U32(i).End();
    file.Begin("traf").Begin("tfhd", 0, 0).U32(1).End().Begin("tfdt", 1, 0).U64(2048 * i).End();
    file.Begin("trun", 0, 5).U32(4).U32(kMoofSize + 8).U32(0).End().End();
    file.Begin("traf").Begin("tfhd", 0, 0).U32(2).End().Begin("trun", 1, 0xB00).U32(2);
    file.U32(1920).U32(3).U32(480).U32(5760).U32(4).U32(UINT32_MAX).End().End().End();
    EXPECT_EQ(file.Size() - start, kMoofSize);
    file.Begin("mdat");
    for (std::uint32_t n = 0; n < 15; ++n) file.U8(i * 15 + n);
    file.End();
  }
  return file.Take();
}

TEST(Mp4Fragments, DeliverBlocksThatFollowEachOtherAndAreSoughtByTime) {
  StartedFile file(kMp4Module, TwoTracksInFragments());
  std::string order;
  std::size_t next = 0;
  for (const ReadBlock& read : file.Rest()) {
    order += read.blockType == kBlockVideo ? (read.key == QMFBlock::kKey ? 'K' : 'v') : 'a';
    for (const std::uint8_t byte : read.bytes) EXPECT_EQ(byte, next++);
  }
  EXPECT_EQ(order, "KvvvaaKvvvaaKvvvaa");
  EXPECT_EQ(next, 45U);

  constexpr std::int64_t kMillisecond = 10'000;
  for (const auto& [asked, landed] : {std::pair(0, 0), {159, 0}, {160, 160}, {5000, 320}, {-1, 0}}) {
    EXPECT_EQ(file.Seek(kBlockVideo, asked * kMillisecond), landed * kMillisecond);
    const ReadBlock read = file.NextOf(kBlockVideo);
    EXPECT_EQ(read.time, landed * kMillisecond);
    EXPECT_EQ(read.bytes.at(0), landed / 160 * 15);
  }
  EXPECT_EQ(file.Seek(kBlockAudio, 170 * kMillisecond), 160 * kMillisecond);
  EXPECT_EQ(file.NextOf(kBlockAudio).compositionOffset, 100'000);
  for (const int time : {200, 320, 360}) EXPECT_EQ(file.NextOf(kBlockAudio).time, time * kMillisecond);
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 4'800'000U);
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

// At first four fragments of a second each.
struct Fragmented {
  std::uint64_t mehd = 0;
  std::uint32_t indexed = 0;  ///< Fragments that a segment index in front covers.
  bool accesses = false;
  Bytes edits = {};
  std::uint32_t fragments = 4;
  std::size_t mediaSize = 8;
  std::uint32_t samples = 25;
};

Bytes FragmentedMovie(const Fragmented& with) {
  const std::uint32_t ticks = 512 * with.samples;
  TrackSpec video = VideoTrack();
  video.edits = with.edits;
  AtomBuilder extends;
  extends.Begin("mvex");
  if (with.mehd != 0) extends.Begin("mehd", 1, 0).U64(with.mehd).End();
  extends.Begin("trex", 0, 0).U32(1).U32(1).U32(0).U32(1).U32(0x10000).End().End();
  AtomBuilder file;
  file.Begin("ftyp").Code("iso5").U32(0).End().Raw(EmptyMovie({video}, extends.Take()));
  AtomBuilder one;
  AddFragment(one, 0, with.samples, true, with.mediaSize);
  if (with.indexed > 0) {
    file.Begin("sidx", 0, 0).U32(1).U32(12800).U32(0).U32(0).U16(0).U16(with.indexed);
    for (std::uint32_t i = 0; i < with.indexed; ++i) {
      file.U32(static_cast<std::uint32_t>(one.Size())).U32(ticks).U32(0x90000000);
    }
    file.End();
  }
  const std::size_t first = file.Size();
  for (std::uint32_t i = 0; i < with.fragments; ++i) {
    AddFragment(file, ticks * i, with.samples, true, with.mediaSize);
  }
  if (with.accesses) {
    const std::size_t start = file.Size();
    file.Begin("mfra").Begin("tfra", 1, 0).U32(1).U32(0).U32(with.fragments);
    for (std::uint32_t i = 0; i < with.fragments; ++i) {
      file.U64(std::uint64_t{ticks} * i).U64(first + i * one.Size()).U8(1).U8(1).U8(1);
    }
    file.End();
    file.Begin("mfro", 0, 0).U32(static_cast<std::uint32_t>(file.Size() + 4 - start)).End().End();
  }
  return file.Take();
}

TEST(Mp4Fragments, GiveTheDurationByWhateverIndexThereIs) {
  const std::tuple<const char*, Fragmented, std::uint64_t> rows[] = {
      {"mehd", {.mehd = 7000}, 70'000'000},
      {"a segment index of all fragments", {.indexed = 4}, 40'000'000},
      {"a segment index of the first fragment only", {.indexed = 1}, 40'000'000},
      {"random access at the end", {.accesses = true}, 40'000'000},
      {"no index at all", {}, 40'000'000},
      {"an edit list", {.edits = Edits({{0, 12800}})}, 30'000'000},
  };
  for (const auto& [what, with, expected] : rows) {
    StartedFile file(kMp4Module, FragmentedMovie(with));
    ASSERT_EQ(file.result, QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), expected) << what;
    EXPECT_EQ(file.Video().rate, 25U) << what;
    EXPECT_EQ(file.Number(QMF_QID_TITLEDATA_VIDEOFRAMECOUNT), expected / 400'000) << what;
  }
}

TEST(Mp4Fragments, ThatClaimSamplesWithoutBytesForThemEnd) {
  AtomBuilder file;
  file.Raw(FragmentedMovie({}));
  AddFragment(file, 51200, UINT32_MAX, false);
  const std::uint64_t size = file.Size();
  StartedFile movie(kMp4Module, file.Take());
  ASSERT_EQ(movie.result, QMF_OK);
  EXPECT_EQ(movie.Number(QMF_QID_TITLE_DURATION), 40'000'000 + size * 400'000);
}

// Three hours of fragments: ten seconds each, of a size that no window covers two of.
TEST(Mp4Fragments, CostAFewReadsWhereAnIndexTellsOfThem) {
  struct Row {
    const char* what;
    Fragmented with;
    int mostReads;
    bool isSought;
  };
  const Row rows[] = {
      {"mehd", {.mehd = 10'800'000}, 6, false},
      {"a segment index", {.indexed = 1080}, 6, true},
      {"random access at the end", {.accesses = true}, 6, true},
      {"no index: the first ones and the last", {}, 24, false},
  };
  for (Row row : rows) {
    row.with.fragments = 1080;
    row.with.mediaSize = 20'000;
    row.with.samples = 250;
    const auto source = SourceOf(FragmentedMovie(row.with));
    OpenedFile file(kMp4Module, std::shared_ptr<FileSource>(source));
    ASSERT_EQ(file.Bid(), 100);
    ASSERT_EQ(file.SetTitle(), QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 108'000'000'000U) << row.what;
    EXPECT_EQ(file.Video().rate, 25U) << row.what;
    EXPECT_LE(source->reads, row.mostReads) << row.what;
    if (!row.isSought) continue;
    const int before = source->reads;
    EXPECT_EQ(file.Seek(kBlockVideo, 54'000'005'000), 54'000'000'000) << row.what;
    EXPECT_LE(source->reads - before, 60) << row.what;
  }
}

}  // namespace
}  // namespace qmf::test
