#include "readers/mkv/MkvSeek.h"

#include <gtest/gtest.h>

#include "tests/readers/mkv/MkvFile.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using test::MkvFile;
using Bytes = EbmlBuilder::Bytes;

enum class Index { None, Cues, Hierarchical, Wrong };

// 200 clusters of a second with 25 frames of 40 ms; every second cluster begins with a key frame. The
// subtitle track has one block, at 100.5 s.
constexpr int kClusters = 200;
constexpr std::size_t kFrameSize = 3000;

EbmlBuilder Frame(std::uint8_t track, int ticks, bool key) {
  Bytes bytes = {static_cast<std::uint8_t>(0x80 | track), static_cast<std::uint8_t>(ticks >> 8),
                 static_cast<std::uint8_t>(ticks), static_cast<std::uint8_t>(key ? 0x80 : 0)};
  bytes.resize(kFrameSize);
  return EbmlBuilder().Binary(Element::SimpleBlock, bytes);
}

EbmlBuilder Cluster(int second) {
  EbmlBuilder children = EbmlBuilder().Unsigned(Element::Timecode, static_cast<std::uint64_t>(second) * 1000);
  for (int frame = 0; frame < 25; ++frame) {
    children.Raw(Frame(1, frame * 40, second % 2 == 0 && frame == 0).Done());
    if (second == 100 && frame == 12) children.Raw(Frame(3, 500, false).Done());
  }
  return EbmlBuilder().Master(Element::Cluster, children);
}

EbmlBuilder CuePoint(std::uint64_t time, std::uint64_t cluster) {
  return EbmlBuilder().Master(
      Element::CuePoint,
      EbmlBuilder()
          .Unsigned(Element::CueTime, time)
          .Master(
              Element::CueTrackPositions,
              EbmlBuilder().Unsigned(Element::CueTrack, 1).Unsigned(Element::CueClusterPosition, cluster)));
}

EbmlBuilder HierarchicalIndex(std::uint64_t firstCue) {
  EbmlBuilder points;
  for (std::uint64_t i = 0; i < kClusters / 2; ++i) {
    points.Master(
        Element::HierarchicalIndexPoint,
        EbmlBuilder()
            .Unsigned(Element::HierarchicalIndexTime, i * 2000)
            .Master(Element::HierarchicalIndexPositions,
                    EbmlBuilder()
                        .Unsigned(Element::HierarchicalIndexTrack, 1)
                        .Unsigned(Element::HierarchicalIndexCuePos, firstCue + i * CuePoint(0, 0).Size())));
  }
  return EbmlBuilder().Master(Element::HierarchicalIndex, points);
}

EbmlBuilder IndexBytes(Index index, std::uint64_t before) {
  if (index == Index::None) return {};
  EbmlBuilder points;
  const auto bytes = [&] { return EbmlBuilder().Master(Element::Cues, points); };
  const auto add = [&](std::uint64_t base) {
    points = {};
    for (int i = 0; i < kClusters; i += 2) {
      const auto ticks = static_cast<std::uint64_t>(i) * 1000;
      points.Raw(CuePoint(ticks, index == Index::Wrong
                                     ? 7
                                     : base + static_cast<std::uint64_t>(i) * Cluster(0).Size())
                     .Done());
    }
  };
  add(0);
  if (index != Index::Hierarchical) {
    add(before + bytes().Size());
    return bytes();
  }
  // The cue points stand in an element that nobody knows, so that only the index leads to them.
  const std::uint64_t total = HierarchicalIndex(0).Size() + EbmlBuilder().Void(points.Size()).Size();
  add(before + total);
  const std::uint64_t firstCue = before + HierarchicalIndex(0).Size() + EbmlBuilder().Void(0).Size();
  return HierarchicalIndex(firstCue).Binary(Element::Void, points.Done());
}

Bytes LongFilm(Index index) {
  EbmlBuilder children = test::Info();
  children.Master(
      Element::Tracks,
      EbmlBuilder()
          .Raw(test::Track(1, test::kMatroskaVideo, "V_MPEG2",
                           EbmlBuilder(test::Picture(64, 48)).Unsigned(Element::DefaultDuration, 40'000'000))
                   .Done())
          .Raw(test::Track(2, test::kMatroskaAudio, "A_AC3", {}).Done())
          .Raw(test::Track(3, test::kMatroskaSubtitle, "S_TEXT/UTF8", {}).Done()));
  children.Raw(IndexBytes(index, children.Size()).Done());
  for (int i = 0; i < kClusters; ++i) children.Raw(Cluster(i).Done());
  return test::Header().Master(Element::Segment, children).Done();
}

class MkvSeekTest : public testing::TestWithParam<Index> {};

TEST_P(MkvSeekTest, LandsOnTheKeyFrameAtOrBefore) {
  MkvFile film(LongFilm(GetParam()));
  struct Row {
    std::int64_t asked;
    std::int64_t landed;
  };
  constexpr std::int64_t kSecond = 10'000'000;
  const Row rows[] = {
      {0, 0},
      {INT64_MIN, 0},
      {kSecond, 0},
      {2 * kSecond - 1, 0},
      {2 * kSecond, 2 * kSecond},
      {101 * kSecond + 5, 100 * kSecond},
      {199 * kSecond, 198 * kSecond},
      {INT64_MAX, 198 * kSecond},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(film.Seek(kBlockVideo, row.asked), row.landed) << row.asked;
    EXPECT_EQ(film.NextOf(kBlockVideo).time, row.landed) << row.asked;
    EXPECT_EQ(film.NextOf(kBlockVideo).time, row.landed + 400'000) << row.asked;
  }
}

TEST_P(MkvSeekTest, FindsTheOneBlockOfASparseStream) {
  MkvFile film(LongFilm(GetParam()));
  for (const std::int64_t asked :
       {std::int64_t{0}, std::int64_t{1'005'000'000}, std::int64_t{1'990'000'000}}) {
    EXPECT_EQ(film.Seek(kBlockSubtitle, asked), 1'005'000'000);
  }
  std::int64_t time = 0;
  const auto seek = film.Module().SetPosition;
  EXPECT_EQ(seek(film.Handle(), kBlockAudio, 0, &time), QMF_ERR_SEEK_FAILURE);
  EXPECT_EQ(seek(film.Handle(), kBlockVideo, 1, &time), QMF_ERR_INVALID_STREAM);
}

INSTANTIATE_TEST_SUITE_P(Indexes, MkvSeekTest,
                         testing::Values(Index::None, Index::Cues, Index::Hierarchical, Index::Wrong));

TEST(MkvSeek, ReadsLittleOfALongFile) {
  for (const Index index : {Index::None, Index::Cues, Index::Hierarchical}) {
    MkvFile film(LongFilm(index));
    const std::uint64_t before = film.BytesRead();
    EXPECT_EQ(film.Seek(kBlockVideo, 1'510'000'000), 1'500'000'000);
    EXPECT_LT(film.BytesRead() - before, 1'500'000U);  // of 15 MB
  }
}

TEST(MkvSync, FollowsTheIndex) {
  MkvFile film(LongFilm(Index::Cues));
  constexpr std::uint64_t kSecond = 10'000'000;
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, 5 * kSecond), 4 * kSecond);
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, 4 * kSecond), 4 * kSecond);
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 4 * kSecond), 6 * kSecond);
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 4 * kSecond - 1), 4 * kSecond);
  EXPECT_EQ(film.ResultOf(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 1), QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, 198 * kSecond), ~std::uint64_t{0});
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 0, 100), 100U);
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, 0, 99), 50U);
  EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, 0, 100), 150U);
  MkvFile unindexed(LongFilm(Index::None));
  EXPECT_EQ(unindexed.ResultOf(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME), QMF_ERR_END_OF_STREAM);
}

}  // namespace
}  // namespace qmf
