#include <gmock/gmock.h>

#include <algorithm>

#include "tests/readers/mp4/Mp4Movies.h"
#include "tests/support/SparseSource.h"
#include "tests/support/TestMemory.h"

namespace qmf::test {
namespace {

using testing::ElementsAre;

constexpr std::int64_t kMillisecond = 10'000;

TEST(Mp4Blocks, ComeInFileOrderWithEverySampleOnce) {
  const Bytes bytes = MakeMovie(ShortMovie());
  StartedFile file(kMp4Module, bytes);
  Bytes all;
  std::string order;
  QMFResult end = QMF_OK;
  for (const ReadBlock& read : file.Rest(&end)) {
    order += read.blockType == kBlockVideo ? (read.key == QMFBlock::kKey ? 'K' : 'v') : 'a';
    all.insert(all.end(), read.bytes.begin(), read.bytes.end());
  }
  EXPECT_EQ(order, "KvvvaaaKvvvaaaKvaa");
  EXPECT_EQ(all, Bytes(bytes.end() - 31 - 24, bytes.end()));
  EXPECT_EQ(end, QMF_ERR_END_OF_STREAM);
}

TEST(Mp4Blocks, TellDecodingTimesAndHowFarPresentationIsFromThem) {
  StartedFile file(kMp4Module, MakeMovie(ShortMovie()));
  for (const auto& [time, offset] : {std::pair(0, 40), {40, 40}, {80, 80}, {120, 0}}) {
    const ReadBlock read = file.NextOf(kBlockVideo);
    EXPECT_EQ(read.time, time * kMillisecond);
    EXPECT_EQ(read.compositionOffset, offset * kMillisecond);
    EXPECT_EQ(read.endTime, (time + offset + 40) * kMillisecond);
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

TEST(Mp4Blocks, WaitForALargerBuffer) {
  StartedFile file(kMp4Module, MakeMovie(ShortMovie()));
  const ReadBlock small = file.Next(4);
  EXPECT_EQ(small.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(small.required, 5U);
  EXPECT_TRUE(small.bytes.empty());
  EXPECT_EQ(small.time, 0);
  EXPECT_EQ(file.NextOf(kBlockVideo, 0, 0).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_THAT(file.Next(5).bytes, ElementsAre(0, 1, 2, 3, 4));
}

TEST(Mp4Blocks, OfInactiveStreamsAreLeftOut) {
  StartedFile file(kMp4Module, MakeMovie(ShortMovie()));
  EXPECT_EQ(file.Number(QMF_QID_NUM_ACTIVE_TITLE_STREAMS), 2U);
  EXPECT_EQ(file.Activate(kBlockVideo, 0, false), QMF_OK);
  const std::vector<ReadBlock> blocks = file.Rest();
  EXPECT_EQ(blocks.size(), 8U);
  EXPECT_THAT(blocks, testing::Each(testing::Field(&ReadBlock::blockType, std::uint32_t{kBlockAudio})));
  EXPECT_EQ(file.NextOf(kBlockVideo).result, QMF_OK);
  EXPECT_EQ(file.NextOf(kBlockSubtitle).result, QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(file.NextOf(0).result, QMF_ERR_INVALID_STREAM);
}

TEST(Mp4Blocks, StartAgainAtTheSyncSampleAtOrBefore) {
  StartedFile file(kMp4Module, MakeMovie(ShortMovie()));
  for (const auto& [asked, landed, size] : {std::tuple(0, 0, 5U),
                                            {159, 0, 5U},
                                            {160, 160, 6U},
                                            {319, 160, 6U},
                                            {320, 320, 7U},
                                            {99999, 320, 7U},
                                            {-5000, 0, 5U}}) {
    EXPECT_EQ(file.Seek(kBlockVideo, asked * kMillisecond), landed * kMillisecond);
    const ReadBlock read = file.NextOf(kBlockVideo);
    EXPECT_EQ(read.time, landed * kMillisecond);
    EXPECT_EQ(read.key, QMFBlock::kKey);
    EXPECT_EQ(read.bytes.size(), size);
  }
  // The other stream has come along; every one of its samples is a sync sample.
  EXPECT_EQ(file.Seek(kBlockVideo, 170 * kMillisecond), 160 * kMillisecond);
  EXPECT_EQ(file.RestOf(kBlockAudio).front().time, 160 * kMillisecond);
  EXPECT_EQ(file.RestOf(kBlockVideo).size(), 6U);
}

TEST(Mp4Queries, FindSyncSamplesByNumberAndTime) {
  StartedFile file(kMp4Module, MakeMovie(ShortMovie()));
  using Answer = std::optional<std::uint64_t>;
  const std::tuple<std::uint32_t, std::uint64_t, Answer> rows[] = {
      {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 3, 0},
      {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 4, 4},
      {QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 4, 8},
      {QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 8, {}},
      {QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 1'590'000, 0},
      {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 1'590'000, 1'600'000},
      {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 3'200'000, {}},
  };
  for (const auto& [qid, asked, answer] : rows) {
    EXPECT_EQ(file.Number(qid, 0, asked), answer) << asked;
    EXPECT_EQ(file.Ask(qid, 0, asked), answer ? QMF_OK : QMF_ERR_END_OF_STREAM) << asked;
  }
  // Where all samples are sync samples, and where there are none.
  TrackSpec track = ShortVideo();
  track.syncSamples.clear();
  StartedFile all(kMp4Module, MovieOf(track));
  EXPECT_EQ(all.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, 8), 9U);
  EXPECT_EQ(all.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, 9), QMF_ERR_END_OF_STREAM);
  track.sizes.clear();
  track.times.clear();
  StartedFile none(kMp4Module, MovieOf(track));
  EXPECT_EQ(none.Ask(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT), QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(none.Ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT), QMF_ERR_END_OF_STREAM);
}

TEST(Mp4Blocks, AreFoundThroughEveryKindOfTable) {
  const auto sizesOf = [](const TrackSpec& track) {
    StartedFile file(kMp4Module, MovieOf(track));
    std::vector<std::uint32_t> sizes;
    std::uint64_t end = 0;
    for (const ReadBlock& read : file.Rest()) {
      sizes.push_back(static_cast<std::uint32_t>(read.bytes.size()));
      EXPECT_EQ(read.bytes.at(0), end % 251);
      end += read.bytes.size();
    }
    return sizes;
  };
  TrackSpec track = ShortVideo();
  const std::vector<std::uint32_t> expected = track.sizes;
  track.wideOffsets = true;
  for (const unsigned bits : {0U, 4U, 8U, 16U}) {
    track.compactBits = bits;
    EXPECT_EQ(sizesOf(track), expected) << bits;
  }
  track.times = {{3, 512}};  // Shorter than the sizes: the last duration goes on.
  EXPECT_EQ(sizesOf(track), expected);
  track.compactBits = 0;
  track.sizes.assign(5000, 2);  // Longer than a window.
  EXPECT_EQ(sizesOf(track).size(), 5000U);
}

TEST(Mp4Blocks, OfUncompressedSoundHoldManySamples) {
  TrackSpec track = ShortAudio();
  track.entry = AudioEntry("sowt", 2, 16, 48000);
  track.times = {{2500, 1}};
  track.uniformSize = 4;
  track.samplesPerChunk = 1500;
  StartedFile file(kMp4Module, MovieOf(track));
  for (const auto& [size, sample] : {std::pair(4096U, 0), {1904U, 1024}, {4000U, 1500}}) {
    const ReadBlock read = file.Next();
    EXPECT_EQ(read.bytes.size(), size);
    EXPECT_EQ(read.time, (sample * std::int64_t{10'000'000} + 24'000) / 48'000);
  }
  EXPECT_EQ(file.Next().result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(file.Seek(kBlockAudio, 10 * kMillisecond), 10 * kMillisecond);
  EXPECT_EQ(file.Next().bytes.at(0), 480 * 4 % 251);
}

TEST(Mp4Blocks, EndWhereTheFileIsCutOffAndAreNotReadFromOtherFiles) {
  Bytes bytes = MakeMovie(ShortMovie());
  QMFResult end = QMF_OK;
  StartedFile cut(kMp4Module, Bytes(bytes.begin(), bytes.end() - 20));
  EXPECT_EQ(cut.Rest(&end).size(), 12U);
  EXPECT_EQ(end, QMF_ERR_END_OF_STREAM);

  // The first data reference is the video track's; it now has a name and is not of this file.
  const std::string_view url = "url ";
  const auto at = std::search(bytes.begin(), bytes.end(), url.begin(), url.end());
  ASSERT_NE(at, bytes.end());
  at[7] = 0;
  at[-1] = 20;
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
  const auto source = std::make_shared<SparseSource>();
  source->pieces[0] = std::string(front.begin(), front.end());
  source->pieces[kMedia + 20] = "second";
  source->size = kMedia + 64;
  StartedFile file(kMp4Module, std::shared_ptr<FileSource>(source));
  ASSERT_EQ(file.Seek(kBlockVideo, 1'600'000), 1'600'000);
  EXPECT_THAT(file.NextOf(kBlockVideo).bytes, ElementsAre('s', 'e', 'c', 'o', 'n', 'd'));
}

// Rows that say nothing, as a hole in the file reads; behind too many of them a table is over.
TEST(Mp4Blocks, AreSoughtBehindShortHolesInTheirTables) {
  for (const auto& [rows, landed] : {std::pair(100U, 160), {70'000U, 0}}) {
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

TEST(Mp4Blocks, OfALongFileNeedLittleMemory) {
  TrackSpec video = ShortVideo();
  const std::uint32_t frames = 12U * 3600 * 25;
  video.times.assign(frames, {1, 512});
  video.offsets.assign(frames, {1, 0});
  video.sizes.assign(frames, 1);
  video.syncSamples.clear();
  for (std::uint32_t frame = 1; frame <= frames; frame += 25) video.syncSamples.push_back(frame);
  TestMemory memory;
  {
    OpenedFile file(kMp4Module, MovieOf(video), &memory);
    ASSERT_EQ(file.Start(), QMF_OK);
    std::uint32_t count = 0;
    std::int64_t last = 0;
    for (ReadBlock read = file.Next(16); read.result == QMF_OK; read = file.Next(16), ++count)
      last = read.time;
    EXPECT_EQ(count, frames);
    EXPECT_EQ(last, (std::int64_t{frames} - 1) * 400'000);
    EXPECT_EQ(file.Seek(kBlockVideo, last), last - 24 * 400'000);
  }
  EXPECT_LT(memory.peak, std::size_t{256} << 10);
}

TEST(Mp4Module, FillsTheSlotsOfItsKind) {
  EXPECT_THAT(FilledSlots(*kMp4Module.entryPoints), ElementsAre(0, 1, 2, 3, 5, 7, 8, 10, 11, 12, 13, 14, 17));
}

}  // namespace
}  // namespace qmf::test
