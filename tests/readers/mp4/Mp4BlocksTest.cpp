#include <gmock/gmock.h>

#include "tests/readers/mp4/Mp4Movies.h"
#include "tests/support/SparseSource.h"
#include "tests/support/TestMemory.h"

namespace qmf::test {
namespace {

using testing::ElementsAre;

TEST(Mp4Blocks, ComeInFileOrderAtTheirDecodingTimes) {
  const Bytes bytes = MakeMovie(ShortMovie());
  StartedFile file(kMp4Module, bytes);
  const std::vector<ReadBlock> blocks = file.Rest();
  ASSERT_EQ(OrderOf(blocks), "KvvvaaaKvvvaaaKvaa");
  EXPECT_EQ(ContentOf(blocks), Bytes(bytes.end() - 31 - 24, bytes.end()));
  EXPECT_EQ(file.Next().result, QMF_ERR_END_OF_STREAM);
  for (std::size_t i = 0; i < 4; ++i) {
    const std::int64_t time = static_cast<std::int64_t>(i) * 40 * kMillisecond;
    const std::int64_t offset = std::array{40, 40, 80, 0}[i] * kMillisecond;
    EXPECT_EQ(blocks[i].time, time);
    EXPECT_EQ(blocks[i].compositionOffset, offset);
    EXPECT_EQ(blocks[i].endTime, time + offset + 40 * kMillisecond);
  }
}

TEST(Mp4Blocks, FollowTheEditList) {
  MovieSpec spec = ShortMovie();
  spec.tracks[0].edits = Edits({{400, 512}});
  spec.tracks[1].edits = Edits({{100, -1}, {400, 1920}});
  StartedFile file(kMp4Module, MakeMovie(spec));
  EXPECT_EQ(file.NextOf(kBlockVideo).time, -40 * kMillisecond);
  EXPECT_EQ(file.NextOf(kBlockAudio).time, 60 * kMillisecond);
  EXPECT_EQ(file.Seek(kBlockVideo, 125 * kMillisecond), 120 * kMillisecond);
  EXPECT_EQ(file.Seek(kBlockAudio, 99 * kMillisecond), 60 * kMillisecond);
  EXPECT_EQ(file.Seek(kBlockAudio, 100 * kMillisecond), 100 * kMillisecond);
}

TEST(Mp4Blocks, NeedRoomAndAnActiveStream) {
  StartedFile file(kMp4Module, MakeMovie(ShortMovie()));
  const ReadBlock small = file.Next(4);
  EXPECT_EQ(small.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(small.required, 5U);
  EXPECT_TRUE(small.bytes.empty());
  EXPECT_EQ(file.NextOf(kBlockVideo, 0, 0).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_THAT(file.Next(5).bytes, ElementsAre(0, 1, 2, 3, 4));
  EXPECT_EQ(file.Number(QMF_QID_NUM_ACTIVE_TITLE_STREAMS), 2U);
  EXPECT_EQ(file.Activate(kBlockVideo, 0, false), QMF_OK);
  EXPECT_EQ(OrderOf(file.Rest()), "aaaaaaaa");
  EXPECT_EQ(file.NextOf(kBlockVideo).result, QMF_OK);
  EXPECT_EQ(file.NextOf(kBlockSubtitle).result, QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(file.NextOf(0).result, QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(file.Seek(kBlockSubtitle, 0), -1);
}

TEST(Mp4Blocks, StartAgainAtTheSyncSampleAtOrBefore) {
  StartedFile file(kMp4Module, MakeMovie(ShortMovie()));
  for (const auto& [asked, landed] :
       {std::pair(0, 0), {159, 0}, {160, 160}, {319, 160}, {320, 320}, {99999, 320}, {-5000, 0}}) {
    EXPECT_EQ(file.Seek(kBlockVideo, asked * kMillisecond), landed * kMillisecond);
    const ReadBlock read = file.NextOf(kBlockVideo);
    EXPECT_EQ(read.time, landed * kMillisecond);
    EXPECT_EQ(read.compositionOffset, landed == 0 ? 40 * kMillisecond : 0);
    EXPECT_EQ(read.key, QMFBlock::kKey);
    EXPECT_EQ(read.bytes.at(0), landed / 160 * 20 + landed / 320);
  }
  // The other stream has come along; every one of its samples is a sync sample.
  EXPECT_EQ(file.Seek(kBlockVideo, 170 * kMillisecond), 160 * kMillisecond);
  EXPECT_EQ(file.RestOf(kBlockAudio).front().time, 160 * kMillisecond);
  EXPECT_EQ(file.RestOf(kBlockVideo).size(), 6U);
}

TEST(Mp4Queries, FindSyncSamplesByNumberAndTime) {
  const TrackSpec some = ShortVideo();
  TrackSpec late = some, all = some, none = some, partial = some;
  partial.syncSamples = {1, 9, 99};
  partial.partialSyncSamples = {5};
  late.syncSamples = {3, 9};
  all.syncSamples.clear();
  none.sizes.clear();
  none.times.clear();
  const std::tuple<const TrackSpec*, std::uint32_t, std::uint64_t, std::optional<std::uint64_t>> rows[] = {
      {&some, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 3, 0},
      {&some, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 4, 4},
      {&some, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 4, 8},
      {&some, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 8, {}},
      {&some, QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 1'590'000, 0},
      {&some, QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 1'590'000, 1'600'000},
      {&some, QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 3'200'000, {}},
      {&late, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 1, {}},
      {&late, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 1, 2},
      {&all, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 10, 9},
      {&all, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 8, 9},
      {&all, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 9, {}},
      {&partial, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 4, 4},
      {&partial, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 8, 8},
      {&partial, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 3, 0},
      {&partial, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, 4},
      {&partial, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 4, 8},
      {&partial, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 8, {}},
      {&none, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 0, {}},
      {&none, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, {}},
  };
  for (const auto& [track, qid, asked, answer] : rows) {
    StartedFile file(kMp4Module, MovieOf(*track));
    EXPECT_EQ(file.Number(qid, 0, asked), answer) << qid << ' ' << asked;
    EXPECT_EQ(file.Ask(qid, 0, asked), answer ? QMF_OK : QMF_ERR_END_OF_STREAM) << qid << ' ' << asked;
  }
  EXPECT_EQ(OrderOf(StartedFile(kMp4Module, MovieOf(partial)).Rest()), "KvvvKvvvKv");
  // With none before, the first sample.
  EXPECT_EQ(StartedFile(kMp4Module, MovieOf(late)).Seek(kBlockVideo, 40 * kMillisecond), 0);
}

TEST(Mp4Blocks, AreFoundThroughEveryKindOfTable) {
  TrackSpec track = ShortVideo();
  track.chunks = {1, 2, 3, 4};
  track.wideOffsets = true;
  std::vector<TrackSpec> tracks(6, track);
  tracks[1].compactBits = 4;
  tracks[2].compactBits = 8;
  tracks[3].compactBits = 16;
  tracks[4].times = {{9, 512}};     // Shorter than the sizes: the last duration goes on.
  tracks[5].sizes.assign(5000, 2);  // Longer than a window.
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    StartedFile file(kMp4Module, MovieOf(tracks[i]));
    const std::vector<ReadBlock> blocks = file.Rest();
    ASSERT_EQ(blocks.size(), tracks[i].sizes.size()) << i;
    std::size_t at = 0;
    for (std::size_t n = 0; n < blocks.size(); ++n) {
      EXPECT_EQ(blocks[n].bytes.size(), tracks[i].sizes[n]) << i;
      EXPECT_EQ(blocks[n].bytes[0], at % 251) << i;
      at += blocks[n].bytes.size();
    }
    for (const std::ptrdiff_t sync : {0, 4, 8}) {
      EXPECT_EQ(file.Seek(kBlockVideo, sync * 40 * kMillisecond), sync * 40 * kMillisecond) << i;
      EXPECT_EQ(file.Rest(), std::vector(blocks.begin() + sync, blocks.end())) << i;
    }
  }
}

TEST(Mp4Blocks, OfUncompressedSoundHoldManySamples) {
  struct Row {
    Bytes entry;
    std::uint32_t sampleSize, chunk;
    std::vector<std::uint32_t> samples;  // Of each block.
    std::uint32_t sought;                // Sample.
  };
  const Row rows[] = {
      {AudioEntry("sowt", 2, 16, 48000), 4, 1500, {1024, 476, 996}, 480},
      {AudioEntry("raw ", 1, 8, 48000), 1, 1500, {1024, 476, 996}, 480},
      {AudioEntry("MAC3", 3, 8, 48000), 1, 1500, {1020, 480, 996}, 480},
      // Packets of 64 samples in 128 bytes, and in more than a block may have.
      {QuickTimeSound("ima4", 1, AtomBuilder().U32(64, 64, 128, 2).Take()), 2, 1536, {1024, 512, 960}, 448},
      {QuickTimeSound("ima4", 2, AtomBuilder().Zeros(12).U32(2, 0, 0, 0, 128, 64).Take()),
       2,
       1536,
       {1024, 512, 960},
       448},
      {QuickTimeSound("ima4", 1, AtomBuilder().U32(64, 64, 1U << 31, 2).Take()), 2, 1536, {}, 0},
  };
  for (const Row& row : rows) {
    constexpr std::uint32_t kSamples = 2496;
    TrackSpec track = ShortAudio();
    track.entry = row.entry;
    track.times = {{kSamples, 1}};
    track.uniformSize = row.sampleSize;
    track.chunks = {row.chunk};
    StartedFile file(kMp4Module, MovieOf(track));
    const auto timeOf = [](std::int64_t sample) { return (sample * 10'000'000 + 24'000) / 48'000; };
    std::uint32_t passed = 0;
    for (const std::uint32_t samples : row.samples) {
      const ReadBlock read = file.Next();
      EXPECT_EQ(read.bytes.size(), samples * row.sampleSize);
      EXPECT_EQ(read.time, timeOf(passed));
      EXPECT_EQ(read.compositionOffset, 0);
      passed += samples;
    }
    EXPECT_EQ(file.Next().result, QMF_ERR_END_OF_STREAM);
    if (row.samples.empty()) continue;
    EXPECT_EQ(file.Seek(kBlockAudio, 10 * kMillisecond), timeOf(row.sought));
    const Bytes rest = ContentOf(file.Rest());
    EXPECT_EQ(rest.size(), (kSamples - row.sought) * row.sampleSize);
    EXPECT_EQ(rest.at(0), row.sought * row.sampleSize % 251);
  }
}

TEST(Mp4Blocks, EndWhereTheFileIsCutOffAndAreNotReadFromOtherFiles) {
  Bytes bytes = MakeMovie(ShortMovie());
  StartedFile cut(kMp4Module, Cut(bytes, bytes.size() - 20));
  EXPECT_EQ(OrderOf(cut.Rest()), "KvvvaaaKvvva");
  EXPECT_EQ(cut.Next().result, QMF_ERR_END_OF_STREAM);

  // The first data reference is the video track's; it now has a name and is not of this file.
  std::uint8_t* const reference = PayloadOf(bytes, "url ");
  reference[3] = 0;
  reference[-5] = 20;
  StartedFile file(kMp4Module, bytes);
  EXPECT_EQ(file.NextOf(kBlockVideo).result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(file.Next().blockType, std::uint32_t{kBlockAudio});
}

TEST(Mp4Blocks, LieBeyond4GiBToo) {
  constexpr std::uint64_t kMedia = 5ULL << 30;
  MovieSpec spec = ShortMovie();
  for (TrackSpec& track : spec.tracks) track.wideOffsets = true;
  const Bytes front =
      AtomBuilder().Raw(MakeMovieAtom(spec, kMedia)).U32(1).Code("mdat").U64(6ULL << 30).Take();
  const auto source = std::make_shared<SparseSource>(front, kMedia + 64);
  source->pieces[kMedia + 20] = "second";
  StartedFile file(kMp4Module, std::shared_ptr<FileSource>(source));
  ASSERT_EQ(file.Seek(kBlockVideo, 1'600'000), 1'600'000);
  EXPECT_THAT(file.NextOf(kBlockVideo).bytes, ElementsAre('s', 'e', 'c', 'o', 'n', 'd'));
}

// Rows that say nothing, as a hole in the file reads; behind too many of them a table is over.
TEST(Mp4Blocks, AreSoughtBehindShortHolesInTheirTables) {
  for (const auto& [rows, landed] : {std::pair(60'000U, 160), {70'000U, 0}}) {
    TrackSpec track = ShortVideo();
    track.times.insert(track.times.begin(), rows, {0, 512});
    StartedFile times(kMp4Module, MovieOf(track));
    EXPECT_EQ(times.Seek(kBlockVideo, 170 * kMillisecond), landed * kMillisecond) << rows;
    EXPECT_EQ(times.NextOf(kBlockVideo).bytes.size(), landed != 0 ? 6U : 5U) << rows;
    track = ShortVideo();
    track.emptyChunkRows = rows;
    StartedFile chunks(kMp4Module, MovieOf(track));
    EXPECT_EQ(chunks.Seek(kBlockVideo, 170 * kMillisecond), landed != 0 ? 160 * kMillisecond : -1) << rows;
  }
}

// Each of the tables is longer than all that may be in memory.
TEST(Mp4Blocks, OfALongFileNeedLittleMemory) {
  constexpr std::uint32_t kFrames = 70'000;
  TrackSpec video = ShortVideo();
  video.times.assign(kFrames, {1, 512});
  video.offsets.assign(kFrames, {1, 0});
  video.sizes.assign(kFrames, 1);
  video.chunks = {1};
  video.syncSamples.clear();
  for (std::uint32_t frame = 1; frame <= kFrames; ++frame) video.syncSamples.push_back(frame);
  TestMemory memory;
  {
    OpenedFile file(kMp4Module, MovieOf(video), &memory);
    ASSERT_EQ(file.Start(), QMF_OK);
    std::uint32_t count = 0;
    while (file.Next(16).result == QMF_OK) ++count;
    EXPECT_EQ(count, kFrames);
    EXPECT_EQ(file.Seek(kBlockVideo, INT64_MAX), (std::int64_t{kFrames} - 1) * 400'000);
  }
  EXPECT_LT(memory.peak, std::size_t{256} << 10);
}

}  // namespace
}  // namespace qmf::test
