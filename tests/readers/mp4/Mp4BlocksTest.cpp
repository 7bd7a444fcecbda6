#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory_resource>

#include "tests/readers/mp4/Mp4TestFile.h"

namespace qmf::test {
namespace {

using testing::ElementsAre;

// 10 frames of 1/25 s in chunks of 4, reordered, every fourth of them a sync sample.
TrackSpec VideoTrack() {
  TrackSpec track;
  track.entry = VideoEntry("avc1", 64, 48);
  track.times = {{10, 512}};
  track.duration = 5120;
  track.offsets = {{2, 512}, {1, 1024}, {7, 0}};
  track.syncSamples = {1, 5, 9};
  track.sizes = {5, 1, 2, 3, 6, 1, 2, 3, 7, 1};
  track.samplesPerChunk = 4;
  return track;
}

TrackSpec AudioTrack() {
  TrackSpec track;
  track.id = 2;
  track.handler = "soun";
  track.entry = AudioEntry("mp4a", 2, 16, 48000);
  track.timescale = 48000;
  track.times = {{8, 1920}};
  track.duration = 8 * 1920;
  track.uniformSize = 3;
  track.samplesPerChunk = 3;
  return track;
}

MovieSpec TwoTracks() {
  MovieSpec spec;
  spec.duration = 400;
  spec.tracks = {VideoTrack(), AudioTrack()};
  return spec;
}

Bytes Edits(std::uint32_t delay, std::uint32_t mediaStart) {
  AtomBuilder atoms;
  atoms.Begin("edts").Begin("elst", 0, 0).U32(delay > 0 ? 2 : 1);
  if (delay > 0) atoms.U32(delay).U32(UINT32_MAX).U32(0x10000);
  return atoms.U32(400).U32(mediaStart).U32(0x10000).End().End().Take();
}

// What one block said, in few words: kind, stream, first byte, size, and its times in milliseconds.
struct Read {
  QMFResult result = QMF_OK;
  std::uint32_t blockType = 0;
  std::uint32_t stream = 0;
  QMFBlock block;
  Bytes bytes;
};

class Blocks {
 public:
  explicit Blocks(const Bytes& file) : m_file(file) {
    EXPECT_EQ(m_file.Open(), QMF_OK);
    for (const std::uint32_t kind : {kBlockVideo, kBlockAudio, kBlockSubtitle}) Activate(kind, true);
  }

  void Activate(std::uint32_t kind, bool active) {
    (void)Mp4TestFile::Slots().SetTitleActiveStream(m_file.Handle(), kind, 0, active ? 1 : 0);
  }

  Read Next(std::uint32_t capacity = 4096) {
    return ReadInto(capacity, [&](Read& read, std::int64_t& time) {
      return Mp4TestFile::Slots().ReadNextBlock(m_file.Handle(), &read.blockType, &read.stream, &read.block,
                                                &time);
    });
  }

  Read NextOf(std::uint32_t kind, std::uint32_t capacity = 4096) {
    return ReadInto(capacity, [&](Read& read, std::int64_t& time) {
      read.blockType = kind;
      return Mp4TestFile::Slots().ReadNextBlockByStream(m_file.Handle(), kind, 0, &read.block, &time);
    });
  }

  /// Where a stream lands, in milliseconds.
  std::int64_t Seek(std::uint32_t kind, std::int64_t milliseconds) {
    std::int64_t time = milliseconds * 10'000;
    const QMFResult result = Mp4TestFile::Slots().SetPosition(m_file.Handle(), kind, 0, &time);
    return result == QMF_OK ? time / 10'000 : -1000;
  }

  Mp4TestFile& File() { return m_file; }

 private:
  template <class Call>
  Read ReadInto(std::uint32_t capacity, Call&& call) {
    Read read;
    read.bytes.resize(capacity + 1);
    read.block.data = read.bytes.data();
    read.block.capacity = capacity;
    std::int64_t time = 0;
    read.result = call(read, time);
    EXPECT_EQ(time, read.result == QMF_OK ? read.block.time : 0);
    read.bytes.resize(read.block.size);
    return read;
  }

  Mp4TestFile m_file;
};

// Milliseconds, of all blocks of one kind.
std::vector<std::int64_t> TimesOf(Blocks& blocks, std::uint32_t kind) {
  std::vector<std::int64_t> times;
  for (Read read = blocks.NextOf(kind); read.result == QMF_OK; read = blocks.NextOf(kind)) {
    times.push_back(read.block.time / 10'000);
  }
  return times;
}

TEST(Mp4Blocks, ComeInFileOrderWithEverySampleOnce) {
  const Bytes bytes = MakeMovie(TwoTracks());
  const Bytes media(bytes.end() - 31 - 24, bytes.end());
  Blocks blocks(bytes);
  Bytes all;
  std::string order;
  for (Read read = blocks.Next(); read.result == QMF_OK; read = blocks.Next()) {
    order += read.blockType == kBlockVideo ? (read.block.key == QMFBlock::kKey ? 'K' : 'v') : 'a';
    all.insert(all.end(), read.bytes.begin(), read.bytes.end());
  }
  EXPECT_EQ(order, "KvvvaaaKvvvaaaKvaa");
  EXPECT_EQ(all, media);
  EXPECT_EQ(blocks.Next().result, QMF_ERR_END_OF_STREAM);
}

TEST(Mp4Blocks, TellDecodingTimesAndHowFarPresentationIsFromThem) {
  Blocks blocks(MakeMovie(TwoTracks()));
  const std::pair<std::int64_t, std::int64_t> expected[] = {{0, 40}, {40, 40}, {80, 80}, {120, 0}};
  for (const auto& [time, offset] : expected) {
    const Read read = blocks.NextOf(kBlockVideo);
    EXPECT_EQ(read.block.time, time * 10'000);
    EXPECT_EQ(read.block.compositionOffset, offset * 10'000);
    EXPECT_EQ(read.block.endTime, (time + offset + 40) * 10'000);
  }
}

TEST(Mp4Blocks, FollowTheEditList) {
  MovieSpec spec = TwoTracks();
  spec.tracks[0].edits = Edits(0, 512);
  spec.tracks[1].edits = Edits(100, 1920);
  Blocks blocks(MakeMovie(spec));
  EXPECT_EQ(blocks.NextOf(kBlockVideo).block.time, -400'000);
  EXPECT_EQ(blocks.NextOf(kBlockAudio).block.time, 600'000);
  EXPECT_EQ(blocks.Seek(kBlockVideo, 125), 120);
  EXPECT_EQ(blocks.Seek(kBlockAudio, 99), 60);
  EXPECT_EQ(blocks.Seek(kBlockAudio, 100), 100);
}

TEST(Mp4Blocks, WaitForALargerBuffer) {
  Blocks blocks(MakeMovie(TwoTracks()));
  const Read small = blocks.Next(4);
  EXPECT_EQ(small.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(small.block.required, 5U);
  EXPECT_EQ(small.block.size, 0U);
  EXPECT_EQ(blocks.NextOf(kBlockVideo, 0).result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  const Read enough = blocks.Next(5);
  EXPECT_EQ(enough.result, QMF_OK);
  EXPECT_THAT(enough.bytes, ElementsAre(0, 1, 2, 3, 4));
}

TEST(Mp4Blocks, OfInactiveStreamsAreLeftOut) {
  Blocks blocks(MakeMovie(TwoTracks()));
  EXPECT_EQ(blocks.File().Number(QMF_QID_NUM_ACTIVE_TITLE_STREAMS), 2U);
  blocks.Activate(kBlockVideo, false);
  std::size_t count = 0;
  for (Read read = blocks.Next(); read.result == QMF_OK; read = blocks.Next(), ++count) {
    EXPECT_EQ(read.blockType, static_cast<std::uint32_t>(kBlockAudio));
  }
  EXPECT_EQ(count, 8U);
  EXPECT_EQ(blocks.NextOf(kBlockVideo).result, QMF_OK);
  EXPECT_EQ(blocks.NextOf(kBlockSubtitle).result, QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(blocks.NextOf(0).result, QMF_ERR_INVALID_STREAM);
}

TEST(Mp4Blocks, StartAgainAtTheSyncSampleAtOrBefore) {
  Blocks blocks(MakeMovie(TwoTracks()));
  const std::pair<std::int64_t, std::int64_t> rows[] = {{0, 0},     {159, 0},     {160, 160}, {319, 160},
                                                        {320, 320}, {99999, 320}, {-5000, 0}};
  for (const auto& [asked, landed] : rows) {
    EXPECT_EQ(blocks.Seek(kBlockVideo, asked), landed);
    const Read read = blocks.NextOf(kBlockVideo);
    EXPECT_EQ(read.block.time, landed * 10'000);
    EXPECT_EQ(read.block.key, QMFBlock::kKey);
    EXPECT_EQ(read.block.size, landed == 0 ? 5U : landed == 160 ? 6U : 7U);
  }
  // The other stream has come along; every one of its samples is a sync sample.
  EXPECT_EQ(blocks.Seek(kBlockVideo, 170), 160);
  EXPECT_EQ(blocks.NextOf(kBlockAudio).block.time, 1'600'000);
  EXPECT_EQ(TimesOf(blocks, kBlockAudio), (std::vector<std::int64_t>{200, 240, 280}));
  EXPECT_EQ(TimesOf(blocks, kBlockVideo), (std::vector<std::int64_t>{160, 200, 240, 280, 320, 360}));
}

TEST(Mp4Queries, FindSyncSamplesByNumberAndTime) {
  Mp4TestFile file(MakeMovie(TwoTracks()));
  ASSERT_EQ(file.Open(), QMF_OK);
  const auto ask = [&](std::uint32_t qid, std::uint64_t value) -> std::int64_t {
    QMFQueryData data;
    data.value = value;
    const QMFResult result = Mp4TestFile::Slots().GetInfo(file.Handle(), qid, &data, 0);
    EXPECT_THAT(result, testing::AnyOf(QMF_OK, QMF_ERR_END_OF_STREAM));
    return result == QMF_OK ? static_cast<std::int64_t>(data.value) : -1;
  };
  EXPECT_EQ(ask(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 3), 0);
  EXPECT_EQ(ask(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 4), 4);
  EXPECT_EQ(ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 4), 8);
  EXPECT_EQ(ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 8), -1);
  EXPECT_EQ(ask(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 1'590'000), 0);
  EXPECT_EQ(ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 1'590'000), 1'600'000);
  EXPECT_EQ(ask(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 3'200'000), -1);
}

TEST(Mp4Blocks, AreFoundThroughEveryKindOfTable) {
  const auto sizesOf = [](const TrackSpec& track) {
    MovieSpec spec;
    spec.tracks = {track};
    Blocks blocks(MakeMovie(spec));
    std::vector<std::uint32_t> sizes;
    std::uint64_t end = 0;
    for (Read read = blocks.Next(); read.result == QMF_OK; read = blocks.Next()) {
      sizes.push_back(read.block.size);
      EXPECT_EQ(read.bytes.at(0), end % 251);
      end += read.block.size;
    }
    return sizes;
  };
  TrackSpec track = VideoTrack();
  const std::vector<std::uint32_t> expected = track.sizes;
  track.wideOffsets = true;
  EXPECT_EQ(sizesOf(track), expected);
  for (const unsigned bits : {4U, 8U, 16U}) {
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
  TrackSpec track = AudioTrack();
  track.entry = AudioEntry("sowt", 2, 16, 48000);
  track.times = {{2500, 1}};
  track.uniformSize = 4;
  track.samplesPerChunk = 1500;
  MovieSpec spec;
  spec.tracks = {track};
  Blocks blocks(MakeMovie(spec));
  const std::pair<std::uint32_t, std::int64_t> expected[] = {{4096, 0}, {1904, 1024}, {4000, 1500}};
  for (const auto& [size, sample] : expected) {
    const Read read = blocks.Next();
    EXPECT_EQ(read.block.size, size);
    EXPECT_EQ(read.block.time, (sample * 10'000'000 + 24'000) / 48'000);
  }
  EXPECT_EQ(blocks.Next().result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(blocks.Seek(kBlockAudio, 10), 10);
  EXPECT_EQ(blocks.Next().bytes.at(0), 480 * 4 % 251);
}

TEST(Mp4Blocks, EndWhereTheFileIsCutOff) {
  Bytes bytes = MakeMovie(TwoTracks());
  bytes.resize(bytes.size() - 20);
  Blocks blocks(bytes);
  std::size_t count = 0;
  Read read = blocks.Next();
  for (; read.result == QMF_OK; read = blocks.Next()) ++count;
  EXPECT_EQ(read.result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(count, 12U);
}

TEST(Mp4Blocks, OfOtherFilesAreNotRead) {
  Bytes bytes = MakeMovie(TwoTracks());
  // The first data reference is the video track's; it now has a name and is not of this file.
  const std::string_view url = "url ";
  const auto at = std::search(bytes.begin(), bytes.end(), url.begin(), url.end());
  ASSERT_NE(at, bytes.end());
  at[7] = 0;
  at[-1] = 20;
  Blocks blocks(bytes);
  EXPECT_EQ(blocks.NextOf(kBlockVideo).result, QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(blocks.Next().blockType, static_cast<std::uint32_t>(kBlockAudio));
}

// Two tracks in three fragments: one 'traf' with defaults, one with everything by sample.
Bytes FragmentedMovie() {
  MovieSpec spec = TwoTracks();
  spec.duration = 0;
  for (TrackSpec& track : spec.tracks) {
    track.times = {};
    track.offsets = {};
    track.sizes = {};
    track.syncSamples = {};
    track.duration = 0;
  }
  AtomBuilder extends;
  extends.Begin("mvex");
  extends.Begin("trex", 0, 0).U32(1).U32(1).U32(512).U32(2).U32(0x10000).End();
  extends.Begin("trex", 0, 0).U32(2).U32(1).U32(0).U32(0).U32(0).End();
  spec.extra = extends.End().Take();
  AtomBuilder file;
  file.Raw(MakeMovieAtom(spec, 0));
  for (std::uint32_t i = 0; i < 3; ++i) {
    AtomBuilder moof;
    moof.Begin("moof").Begin("mfhd", 0, 0).U32(i).End();
    moof.Begin("traf").Begin("tfhd", 0, 0).U32(1).End().Begin("tfdt", 1, 0).U64(2048 * i).End();
    moof.Begin("trun", 0, 5).U32(4).U32(0).U32(0).End().End();
    moof.Begin("traf").Begin("tfhd", 0, 0).U32(2).End();
    moof.Begin("trun", 1, 0xB00)
        .U32(2)
        .U32(1920)
        .U32(3)
        .U32(480)
        .U32(5760)
        .U32(4)
        .U32(UINT32_MAX)
        .End()
        .End();
    moof.End();
    Bytes bytes = moof.Take();
    const std::string_view trun = "trun";
    const auto at = std::search(bytes.begin(), bytes.end(), trun.begin(), trun.end());
    // The video run's data offset; the audio follows where it ends.
    at[15] = static_cast<std::uint8_t>(bytes.size() + 8);
    file.Raw(bytes).Begin("mdat");
    for (std::uint32_t n = 0; n < 15; ++n) file.U8(i * 15 + n);
    file.End();
  }
  return file.Take();
}

TEST(Mp4Blocks, OfFragmentsFollowEachOther) {
  Blocks blocks(FragmentedMovie());
  Bytes all;
  std::string order;
  for (Read read = blocks.Next(); read.result == QMF_OK; read = blocks.Next()) {
    order += read.blockType == kBlockVideo ? (read.block.key == QMFBlock::kKey ? 'K' : 'v') : 'a';
    all.insert(all.end(), read.bytes.begin(), read.bytes.end());
  }
  EXPECT_EQ(order, "KvvvaaKvvvaaKvvvaa");
  ASSERT_EQ(all.size(), 45U);
  for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i], i);
}

TEST(Mp4Blocks, OfFragmentsAreSoughtByTheirTimes) {
  Blocks blocks(FragmentedMovie());
  const std::pair<std::int64_t, std::int64_t> rows[] = {{0, 0}, {159, 0}, {160, 160}, {5000, 320}, {-1, 0}};
  for (const auto& [asked, landed] : rows) {
    EXPECT_EQ(blocks.Seek(kBlockVideo, asked), landed);
    const Read read = blocks.NextOf(kBlockVideo);
    EXPECT_EQ(read.block.time, landed * 10'000);
    EXPECT_EQ(read.bytes.at(0), landed / 160 * 15);
  }
  EXPECT_EQ(blocks.Seek(kBlockAudio, 170), 160);
  const Read first = blocks.NextOf(kBlockAudio);
  EXPECT_EQ(first.block.compositionOffset, 100'000);
  EXPECT_EQ(TimesOf(blocks, kBlockAudio), (std::vector<std::int64_t>{200, 320, 360}));
  EXPECT_EQ(blocks.File().Number(QMF_QID_TITLE_DURATION), 4'800'000U);
}

// A file whose media lie behind a hole of 5 GiB.
class FileWithHole : public FileSource {
 public:
  static constexpr std::uint64_t kMedia = 5ULL << 30;

  explicit FileWithHole(Bytes front) : m_front(std::move(front)) {}
  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    auto* const out = static_cast<std::uint8_t*>(destination);
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, Size() - std::min(offset, Size())));
    for (std::size_t i = 0; i < count; ++i) out[i] = At(offset + i);
    return count;
  }
  std::uint64_t Size() const noexcept override { return kMedia + 64; }

 private:
  std::uint8_t At(std::uint64_t offset) const {
    if (offset < m_front.size()) return m_front[static_cast<std::size_t>(offset)];
    return offset < kMedia ? 0 : static_cast<std::uint8_t>(offset - kMedia);
  }

  Bytes m_front;
};

TEST(Mp4Blocks, LieBeyond4GiBToo) {
  MovieSpec spec = TwoTracks();
  for (TrackSpec& track : spec.tracks) track.wideOffsets = true;
  AtomBuilder front;
  front.Raw(MakeMovieAtom(spec, FileWithHole::kMedia)).U32(1).Code("mdat").U64(6ULL << 30);
  const SharedFileScope scope(u"hole.mp4",
                              std::make_shared<FileReader>(std::make_shared<FileWithHole>(front.Take())));
  const QMFModuleEntryPoints& slots = Mp4TestFile::Slots();
  QMFModuleHandle handle = nullptr;
  ASSERT_EQ(slots.OpenContainer(&handle, u"hole.mp4", nullptr), QMF_OK);
  ASSERT_EQ(slots.SetTitle(handle, 0), QMF_OK);
  std::uint8_t buffer[16];
  QMFBlock block;
  block.data = buffer;
  block.capacity = sizeof(buffer);
  std::int64_t time = 1'600'000;
  ASSERT_EQ(slots.SetPosition(handle, kBlockVideo, 0, &time), QMF_OK);
  ASSERT_EQ(slots.ReadNextBlockByStream(handle, kBlockVideo, 0, &block, &time), QMF_OK);
  EXPECT_EQ(block.size, 6U);
  EXPECT_EQ(buffer[0], 20);
  (void)slots.CloseContainer(handle);
}

TEST(Mp4Chapters, ComeFromATextTrackOrFromTheUserData) {
  struct Row {
    const char* what;
    Bytes file;
  };
  const std::string_view name = "One";
  MovieSpec listed = TwoTracks();
  AtomBuilder list;
  list.Begin("udta")
      .Begin("chpl", 1, 0)
      .U32(0)
      .U8(2)
      .U64(0)
      .U8(3)
      .Code(name)
      .U64(2'000'000)
      .U8(2)
      .Code("\xC3\xA4");
  listed.extra = list.End().End().Take();

  MovieSpec tracked = TwoTracks();
  tracked.tracks[0].references = AtomBuilder().Begin("tref").Begin("chap").U32(9).End().End().Take();
  TrackSpec text;
  text.id = 9;
  text.flags = 0;
  text.handler = "text";
  text.entry = TextEntry("text");
  text.timescale = 1000;
  text.duration = 400;
  text.times = {{2, 200}};
  text.sizes = {5, 4};
  tracked.tracks = {text, tracked.tracks[0], tracked.tracks[1]};
  Bytes bytes = MakeMovie(tracked);
  const std::string_view mdat = "mdat";
  const auto media = std::search(bytes.begin(), bytes.end(), mdat.begin(), mdat.end()) + 4;
  const Bytes samples = AtomBuilder().U16(3).Code(name).U16(2).Code("\xC3\xA4").Take();
  std::copy(samples.begin(), samples.end(), media);

  for (const Row& row : {Row{"list", MakeMovie(listed)}, Row{"track", bytes}}) {
    Mp4TestFile file(row.file);
    ASSERT_EQ(file.Open(), QMF_OK);
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_BEGIN), 2U) << row.what;
    EXPECT_EQ(file.Text(QMF_QID_CHAPTERS_CHAPTER_NAME, 0), u"One") << row.what;
    EXPECT_EQ(file.Text(QMF_QID_CHAPTERS_CHAPTER_NAME, 1), u"\u00e4") << row.what;
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_CHAPTER_STARTTIME, 1), 2'000'000U) << row.what;
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_CHAPTER_ENDTIME, 0), 2'000'000U) << row.what;
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_CHAPTER_ENDTIME, 1), 4'000'000U) << row.what;
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_CHAPTER_STARTTIME, 2), UINT64_MAX) << row.what;
  }
}

// Counts what is allocated at once.
class CountingMemory : public std::pmr::memory_resource {
 public:
  std::size_t peak = 0;

 private:
  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    m_now += bytes;
    peak = std::max(peak, m_now);
    return std::pmr::new_delete_resource()->allocate(bytes, alignment);
  }
  void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) override {
    m_now -= bytes;
    std::pmr::new_delete_resource()->deallocate(p, bytes, alignment);
  }
  bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

  std::size_t m_now = 0;
};

TEST(Mp4Blocks, OfALongFileNeedLittleMemory) {
  TrackSpec video = VideoTrack();
  const std::uint32_t frames = 12U * 3600 * 25;
  video.times.assign(frames, {1, 512});
  video.offsets.assign(frames, {1, 0});
  video.sizes.assign(frames, 1);
  video.syncSamples.clear();
  for (std::uint32_t frame = 1; frame <= frames; frame += 25) video.syncSamples.push_back(frame);
  MovieSpec spec;
  spec.tracks = {video};
  const Bytes bytes = MakeMovie(spec);
  const SharedFileScope scope(u"long.mp4",
                              std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(bytes)));
  CountingMemory memory;
  QMFModuleHandle handle = nullptr;
  const QMFModuleEntryPoints& slots = Mp4TestFile::Slots();
  ASSERT_EQ(slots.OpenContainer(&handle, u"long.mp4", &memory), QMF_OK);
  ASSERT_EQ(slots.SetTitle(handle, 0), QMF_OK);
  std::uint8_t buffer[16];
  QMFBlock block;
  block.data = buffer;
  block.capacity = sizeof(buffer);
  std::uint32_t count = 0;
  std::int64_t time = 0;
  while (slots.ReadNextBlockByStream(handle, kBlockVideo, 0, &block, &time) == QMF_OK) ++count;
  EXPECT_EQ(count, frames);
  EXPECT_EQ(time, (std::int64_t{frames} - 1) * 400'000);
  (void)slots.CloseContainer(handle);
  EXPECT_LT(memory.peak, std::size_t{256} << 10);
}

TEST(Mp4Module, FillsTheSlotsOfItsKind) {
  const QMFModuleEntryPoints& slots = Mp4TestFile::Slots();
  EXPECT_NE(slots.slot0, nullptr);
  EXPECT_NE(slots.slots4to6[1], nullptr);
  EXPECT_EQ(slots.slots4to6[0], nullptr);
  EXPECT_EQ(slots.SetMenu, nullptr);
  EXPECT_NE(slots.SetPosition, nullptr);
  EXPECT_NE(slots.ReadNextBlockByStream, nullptr);
  EXPECT_EQ(slots.WriteNextBlock, nullptr);
  EXPECT_NE(slots.SetInfo, nullptr);
  EXPECT_EQ(slots.slots19to27[2], nullptr);
}

}  // namespace
}  // namespace qmf::test
