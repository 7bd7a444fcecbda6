#include "readers/mkv/MkvSeek.h"

#include <gtest/gtest.h>

#include "tests/readers/mkv/MkvFile.h"
#include "tests/support/SparseSource.h"
#include "tests/support/TestMemory.h"

namespace qmf::test {
namespace {

enum class Index { None, Cues, Hierarchical, Wrong };

// 200 clusters of a second with 25 frames of 40 ms; every second cluster begins with a key frame. The
// subtitle track has one block, at 100.5 s.
constexpr int kClusters = 200;
constexpr std::size_t kFrameSize = 3000;

Bytes Second(int second) {
  const std::string frame(kFrameSize - 4, '\0');
  Bytes blocks;
  for (int i = 0; i < 25; ++i) {
    const bool isKey = second % 2 == 0 && i == 0;
    blocks += Simple(1, static_cast<std::int16_t>(i * 40), frame, isKey ? 0x80 : 0);
    if (second == 100 && i == 12) blocks += Simple(3, 500, frame, 0);
  }
  return Cluster(static_cast<std::uint64_t>(second) * 1000, blocks);
}

Bytes HierarchicalIndex(std::uint64_t firstCue) {
  Bytes points;
  for (std::uint64_t i = 0; i < kClusters / 2; ++i) {
    const Bytes positions = Unsigned(E::HierarchicalIndexTrack, 1) +
                            Unsigned(E::HierarchicalIndexCuePos, firstCue + i * CuePoint(0, 0).size());
    points += Put(E::HierarchicalIndexPoint, Unsigned(E::HierarchicalIndexTime, i * 2000) +
                                                 Put(E::HierarchicalIndexPositions, positions));
  }
  return Put(E::HierarchicalIndex, points);
}

// Cue points when the first cluster stands at `base`; wrong ones lead all to one place.
Bytes Points(std::uint64_t base, bool isWrong) {
  const std::size_t step = Second(0).size();
  Bytes points;
  for (std::uint64_t i = 0; i < kClusters; i += 2)
    points += CuePoint(i * 1000, isWrong ? 7 : base + i * step);
  return points;
}

Bytes IndexBytes(Index index, std::uint64_t before) {
  if (index == Index::None) return {};
  const std::size_t size = Points(0, false).size();
  if (index != Index::Hierarchical)
    return Put(E::Cues, Points(before + Put(E::Cues, Bytes(size)).size(), index == Index::Wrong));
  // The cue points stand in an element that nobody knows, so that only the index leads to them.
  const std::uint64_t firstCue = before + HierarchicalIndex(0).size() + Void(0).size();
  return HierarchicalIndex(firstCue) + Put(E::Void, Points(firstCue + size, false));
}

Bytes LongFilm(Index index) {
  Bytes children = Info() + Put(E::Tracks, Track(1, kMatroskaVideo, "V_MPEG2",
                                                 Picture(64, 48) + Unsigned(E::DefaultDuration, 40'000'000)) +
                                               Track(2, kMatroskaAudio, "A_AC3") +
                                               Track(3, kMatroskaSubtitle, "S_TEXT/UTF8"));
  children += IndexBytes(index, children.size());
  for (int i = 0; i < kClusters; ++i) children += Second(i);
  return Segment(children);
}

constexpr std::int64_t kSecond = 10'000'000;

TEST(MkvSeek, LandsOnTheKeyFrameAtOrBeforeAndReadsLittle) {
  for (const Index index : {Index::None, Index::Cues, Index::Hierarchical, Index::Wrong}) {
    MkvFile film(LongFilm(index));
    const std::uint64_t before = film.BytesRead();
    EXPECT_EQ(film.Seek(kBlockVideo, 151 * kSecond), 150 * kSecond);
    EXPECT_LT(film.BytesRead() - before, index != Index::Wrong ? 1'500'000U : 15'000'000U);
    for (const auto& [asked, landed] : {std::pair(std::int64_t{0}, std::int64_t{0}),
                                        {INT64_MIN, 0},
                                        {2 * kSecond - 1, 0},
                                        {2 * kSecond, 2 * kSecond},
                                        {101 * kSecond + 5, 100 * kSecond},
                                        {INT64_MAX, 198 * kSecond}}) {
      EXPECT_EQ(film.Seek(kBlockVideo, asked), landed) << asked;
      EXPECT_EQ(film.NextOf(kBlockVideo).time, landed) << asked;
      EXPECT_EQ(film.NextOf(kBlockVideo).time, landed + 400'000) << asked;
    }
    // The one block of a sparse stream.
    for (const std::int64_t asked : {std::int64_t{0}, 1005 * kSecond / 10, 199 * kSecond})
      EXPECT_EQ(film.Seek(kBlockSubtitle, asked), 1'005'000'000);
    std::int64_t time = 0;
    const auto seek = film.Module().SetPosition;
    EXPECT_EQ(seek(film.Handle(), kBlockAudio, 0, &time), QMF_ERR_SEEK_FAILURE);
    EXPECT_EQ(seek(film.Handle(), kBlockVideo, 1, &time), QMF_ERR_INVALID_STREAM);
  }
}

TEST(MkvSeek, SearchesNoWholeDiskForAnotherCluster) {
  const Bytes front = Header() + PutOpen(E::Segment, Info() + Tracks() + Cluster(0, Simple(1, 0, "picture")));
  const auto file = std::make_shared<SparseSource>(front, std::uint64_t{1} << 31);
  StartedFile film(kMkvModule, std::shared_ptr<FileSource>(file));
  EXPECT_EQ(film.Seek(kBlockVideo, 100'000'000), 0);
  EXPECT_EQ(film.Rest().size(), 1U);
  EXPECT_LT(film.BytesRead(), 256U << 20) << "three searches of 64 MiB";
}

TEST(MkvSeek, LooksNotFarForTheTimeOfWhatMayBeNoCluster) {
  Bytes children = Info() + Tracks() + Cluster(0, Simple(1, 0, "picture"));
  const Bytes fillers = Put(E::Void, PutOpen(E::Cluster, {}));
  for (int i = 0; i < 100'000; ++i) children += fillers;
  StartedFile film(kMkvModule, Segment(children));
  EXPECT_EQ(film.Seek(kBlockVideo, 100'000'000), 0);
  EXPECT_LT(film.Looks(), 500'000U);
}

TEST(MkvSync, FollowsTheIndex) {
  MkvFile(LongFilm(Index::Cues))
      .Expect({{QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, 4 * kSecond, QMF_OK, 5 * kSecond},
               {QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, 4 * kSecond, QMF_OK, 4 * kSecond},
               {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 6 * kSecond, QMF_OK, 4 * kSecond},
               {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 4 * kSecond, QMF_OK, 4 * kSecond - 1},
               {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 0, QMF_ERR_END_OF_STREAM, 198 * kSecond},
               {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 1, 0, QMF_ERR_END_OF_STREAM},
               {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 0, 100, QMF_OK, 100},
               {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 0, 50, QMF_OK, 99},
               {QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, 150, QMF_OK, 100}});
  EXPECT_EQ(MkvFile(LongFilm(Index::None)).Ask(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME), QMF_ERR_END_OF_STREAM);
  // Ticks of 150 ns: what was answered leads on, and is found again.
  const Bytes cues = Put(E::Cues, CuePoint(1, 0) + CuePoint(2, 0) + CuePoint(3, 0));
  MkvFile(Segment(Put(E::SegmentInfo, Unsigned(E::TimecodeScale, 150)) + Tracks() + cues))
      .Expect({{QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, 0, QMF_ERR_END_OF_STREAM},
               {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 1},
               {QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, 1, QMF_OK, 1},
               {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 3, QMF_OK, 1},
               {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 4, QMF_OK, 3}});
}

TEST(MkvSync, KnowsTheWholeIndexWhereMemoryRanOutOnce) {
  const Bytes bytes = LongFilm(Index::Cues);
  bool failed = true;
  for (int failAt = 0; failed; ++failAt) {
    TestMemory memory;
    OpenedFile film(kMkvModule, bytes, &memory);
    EXPECT_EQ(film.Start(), QMF_OK);
    memory.failAt = failAt;
    (void)film.Ask(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME);
    failed = memory.failed;
    const std::uint64_t time = 199 * kSecond;
    EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, time), 198 * kSecond) << failAt;
  }
}

// Of whatever number in one point: here two million take two bytes each.
TEST(MkvSync, KeepsSixteenMebibytesOfAnIndex) {
  Bytes positions(4'000'000, 0xB7);
  for (std::size_t i = 1; i < positions.size(); i += 2) positions[i] = 0x80;
  TestMemory memory;
  const Bytes cues = Put(E::Cues, CuePoint(0, 0) + Put(E::CuePoint, positions));
  OpenedFile film(kMkvModule, Segment(Info() + Tracks() + cues), &memory);
  EXPECT_EQ(film.Start(), QMF_OK);
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME), 0U);
  EXPECT_LT(memory.peak, 48U << 20) << "the list grows by doubling";
}

}  // namespace
}  // namespace qmf::test
