#include <gtest/gtest.h>

#include <cstring>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvPlayer.h"
#include "tests/support/KeepFile.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using test::MkvPlayer;
using Bytes = EbmlBuilder::Bytes;

constexpr std::int64_t kMs = 10'000;
const Bytes kOwn = {1};
const Bytes kOpening = {2};
const Bytes kEnding = {3, 3};
const Bytes kNowhere = {9};

// A chapter by its times in milliseconds, of the segment `uid` or without one of the file's own.
EbmlBuilder Atom(std::uint64_t start, std::uint64_t end, const Bytes& uid = {}, std::uint64_t edition = 0) {
  EbmlBuilder atom = EbmlBuilder()
                         .Unsigned(Element::ChapterTimeStart, start * 1'000'000)
                         .Unsigned(Element::ChapterTimeEnd, end * 1'000'000);
  if (!uid.empty()) atom.Binary(Element::ChapterSegmentUid, uid);
  if (edition != 0) atom.Unsigned(Element::ChapterSegmentEditionUid, edition);
  return EbmlBuilder().Master(Element::ChapterAtom, atom);
}

EbmlBuilder Ordered(std::uint64_t uid, const std::vector<EbmlBuilder>& atoms) {
  EbmlBuilder edition =
      EbmlBuilder().Unsigned(Element::EditionUid2, uid).Unsigned(Element::EditionFlagOrdered, 1);
  for (const EbmlBuilder& atom : atoms) edition.Raw(atom.Done());
  return EbmlBuilder().Master(Element::Chapters, EbmlBuilder().Master(Element::EditionEntry, edition));
}

EbmlBuilder CuePoint(std::uint64_t time, std::uint64_t cluster) {
  const EbmlBuilder position =
      EbmlBuilder().Unsigned(Element::CueTrack, 1).Unsigned(Element::CueClusterPosition, cluster);
  return EbmlBuilder().Master(
      Element::CuePoint,
      EbmlBuilder().Unsigned(Element::CueTime, time).Master(Element::CueTrackPositions, position));
}

// Eight seconds. Pictures stand at every half second, named by `name` and a letter for their number, key
// frames at every second one; sound stands at every second, named by the digit of it.
EbmlBuilder Segment(const Bytes& uid, char name, const EbmlBuilder& chapters = {}) {
  EbmlBuilder children;
  children.Master(Element::SegmentInfo, EbmlBuilder()
                                            .Binary(Element::SegmentUid, uid)
                                            .Float(Element::Duration, 8000.0)
                                            .Unsigned(Element::TimecodeScale, 1'000'000));
  children.Raw(test::Tracks().Done()).Raw(chapters.Done());
  std::vector<EbmlBuilder> clusters;
  for (int second = 0; second < 8; ++second) {
    const auto picture = [&](int half) {
      return std::string{name, static_cast<char>('a' + 2 * second + half)};
    };
    clusters.push_back(test::Cluster(static_cast<std::uint64_t>(second) * 1000,
                                     {test::Simple(1, 0, picture(0), second % 2 == 0 ? 0x80 : 0),
                                      test::Simple(2, 0, std::string{name, static_cast<char>('0' + second)}),
                                      test::Simple(1, 500, picture(1), 0)}));
  }
  const std::uint64_t first =
      children.Size() + EbmlBuilder().Master(Element::Cues, {}).Size() + 4 * CuePoint(0, 0).Size();
  EbmlBuilder cues;
  for (std::uint64_t i = 0; i < 8; i += 2)
    cues.Raw(CuePoint(i * 1000, first + i * clusters[0].Size()).Done());
  children.Master(Element::Cues, cues);
  for (const EbmlBuilder& cluster : clusters) children.Raw(cluster.Done());
  return test::Header().Master(Element::Segment, children);
}

// A file in the folder of "test", as which films are opened.
class Neighbour {
 public:
  Neighbour(const char16_t* name, const EbmlBuilder& file)
      : m_bytes(file.Done()),
        m_reader(std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(m_bytes))),
        m_named(name, m_reader) {}

  std::uint64_t BytesRead() const { return m_reader->BytesRead(); }

 private:
  const Bytes m_bytes;
  const std::shared_ptr<FileReader> m_reader;
  const SharedFileScope m_named;
  const SharedFileScope m_film = SharedFileScope(u"test", m_reader);
};

std::string Told(const test::Got& got) {
  return got.bytes + std::to_string(got.time / kMs) + " ";
}

std::string Blocks(MkvPlayer& film) {
  std::string text;
  for (const test::Got& got : film.All()) text += Told(got);
  return text;
}

// Of the first video stream.
std::string Pictures(MkvPlayer& film) {
  std::string text;
  for (auto got = film.NextOf(kBlockVideo, 0); got.result == QMF_OK; got = film.NextOf(kBlockVideo, 0)) {
    text += Told(got);
  }
  return text;
}

struct Row {
  const char* what;
  std::vector<EbmlBuilder> atoms;
  std::int64_t duration;  ///< Milliseconds.
  const char* blocks;
};

TEST(MkvLinked, PlaysTheChaptersInTheirOrder) {
  const Neighbour opening(u"opening.MKV",
                          Segment(kOpening, 'p', Ordered(7, {Atom(4000, 5000), Atom(0, 500)})));
  const Neighbour other(u"other.qf3", test::Header());
  const Neighbour elsewhere(u"down/film2.mkv", Segment(kNowhere, 'n'));
  const Neighbour text(u"ending.txt", Segment(kNowhere, 'n'));
  const Neighbour ending(
      u"ending.qf3",
      Segment(kEnding, 'e',
              Ordered(8, {Atom(0, 500, kOpening, 7), Atom(0, 9000, kEnding, 8), Atom(0, 500, kOwn)})));
  const Row rows[] = {
      {"own segment, out of order",
       {Atom(2000, 3000), Atom(0, 1000)},
       2000,
       "oe0 o20 of500 oa1000 o01000 ob1500 "},
      {"named by its own UID", {Atom(0, 500, kOwn)}, 500, "oa0 o00 "},
      {"another segment between",
       {Atom(0, 1000), Atom(0, 500, kOpening), Atom(1000, 1500)},
       2000,
       "oa0 o00 ob500 pa1000 p01000 oa500 ob1000 oc1500 o11500 "},
      {"following each other", {Atom(0, 500), Atom(500, 700), Atom(700, 1000)}, 1000, "oa0 o00 ob500 "},
      {"two others, one missing, one of no length",
       {Atom(0, 500, kEnding), Atom(0, 5000, kNowhere), Atom(700, 600), Atom(6000, 6500, kOpening)},
       1000,
       "ea0 e00 pm500 p6500 "},
      {"an edition of another segment",
       {Atom(0, 9000, kOpening, 7), Atom(0, 500)},
       2000,
       "pi0 p40 pj500 pa1000 p01000 oa1500 o01500 "},
      {"a stretch of it", {Atom(500, 1200, kOpening, 7)}, 700, "pi-500 pj0 pa500 p0500 "},
      {"an edition that is not there", {Atom(0, 500, kOpening, 99)}, 500, "pa0 p00 "},
      {"editions that play each other", {Atom(0, 9000, kEnding, 8)}, 9000, nullptr},
      {"nothing", {Atom(0, 500, kNowhere)}, 8000, nullptr},
  };
  for (const Row& row : rows) {
    const EbmlBuilder file = Segment(kOwn, 'o', Ordered(1, row.atoms));
    MkvPlayer film(file);
    // Fuzzers take the second file inside the bytes for the one beside.
    const Bytes both = EbmlBuilder(file).Raw(Segment(kOpening, 'p').Done()).Done();
    MemoryFileSource source(both);
    test::KeepFile(source, kModuleMkv);
    EXPECT_EQ(film.File().Number(QMF_QID_TITLE_DURATION), static_cast<std::uint64_t>(row.duration * kMs))
        << row.what;
    const std::string blocks = Blocks(film);
    EXPECT_EQ(row.blocks != nullptr ? row.blocks : blocks, blocks) << row.what;
  }
}

TEST(MkvLinked, IsSoughtInTheTimeOfTheOrder) {
  const Neighbour opening(u"opening.mkv", Segment(kOpening, 'p'));
  // Own 4 s to 6 s, the other's 1 s to 3 s, own 0 s to 1 s.
  MkvPlayer film(
      Segment(kOwn, 'o', Ordered(1, {Atom(4000, 6000), Atom(1000, 3000, kOpening), Atom(0, 1000)})));
  struct {
    std::int64_t asked;
    std::int64_t landed;
    const char* next;
    std::uint64_t previousSync;
    std::uint64_t nextSync;
  } const rows[] = {
      {0, 0, "oi0 ", 0, 3000},          {1900, 0, "oi0 ", 0, 3000},
      {2500, 1000, "pa1000 ", 0, 3000}, {3200, 3000, "pe3000 ", 3000, 4000},
      {4000, 4000, "oa4000 ", 4000, 0}, {99'000, 4000, "oa4000 ", 4000, 0},
  };
  for (const auto& row : rows) {
    std::int64_t time = row.asked * kMs;
    EXPECT_EQ(film.Seek(kBlockVideo, time), QMF_OK) << row.asked;
    EXPECT_EQ(time, row.landed * kMs) << row.asked;
    EXPECT_EQ(Told(film.Next()), row.next);
    EXPECT_EQ(Told(film.NextOf(kBlockVideo, 0)), row.next);
    const auto asked = static_cast<std::uint64_t>(row.asked * kMs);
    EXPECT_EQ(film.File().Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, asked), row.previousSync * kMs)
        << row.asked;
    const std::uint64_t next = film.File().Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, asked);
    EXPECT_EQ(next, row.nextSync != 0 ? row.nextSync * kMs : ~std::uint64_t{0}) << row.asked;
  }
  std::int64_t time = 2000 * kMs;
  EXPECT_EQ(film.Seek(kBlockVideo, time), QMF_OK);
  EXPECT_EQ(Pictures(film), "pa1000 pb1500 pc2000 pd2500 pe3000 pf3500 oa4000 ob4500 ");
  EXPECT_EQ(film.Next().endTime, 0);
}

TEST(MkvLinked, LooksAtOtherFilesOnlyForAnOrderThatNeedsThem) {
  const Neighbour opening(u"opening.mkv", Segment(kOpening, 'p'));
  const auto after = [&](const std::vector<EbmlBuilder>& atoms, bool allowed) {
    MkvPlayer film(Segment(kOwn, 'o', Ordered(1, atoms)));
    (void)film.Set(QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG, allowed ? 1 : 0);
    (void)film.File().Number(QMF_QID_TITLE_DURATION);
    (void)film.All();
    return opening.BytesRead();
  };
  EXPECT_EQ(after({Atom(0, 1000)}, true), 0U);
  EXPECT_EQ(after({Atom(0, 1000, kOpening)}, false), 0U);
  EXPECT_GT(after({Atom(0, 1000, kOpening)}, true), 0U);
}

TEST(MkvLinked, NamesTheFilesAndTracksThatBelongToIt) {
  const auto file = [](const EbmlBuilder& info, const EbmlBuilder& video) {
    return test::Header().Master(
        Element::Segment,
        EbmlBuilder().Master(Element::SegmentInfo, info).Raw(test::Tracks({}, video).Done()).Void(100));
  };
  const auto uid = [](Element kind, const Bytes& bytes) { return EbmlBuilder().Binary(kind, bytes); };
  const EbmlBuilder named = uid(Element::SegmentUid, kOpening);
  const Neighbour next(u"part2.mkv", file(named, EbmlBuilder().Unsigned(Element::TrackUid, 22)));
  test::MkvFile film(file(uid(Element::NextUid, kOpening).Raw(uid(Element::PrevUid, kNowhere).Done()),
                          EbmlBuilder()
                              .Unsigned(Element::TrackUid, 11)
                              .Unsigned(Element::EnhancedTrackUid, 22)
                              .Binary(Element::EnhancedTrackSegUid, kOpening)
                              .Unsigned(Element::MasterTrackUid, 11)));
  EXPECT_EQ(film.Text(QMF_QID_CONTAINER_NEXT_NAME), u"part2.mkv");
  EXPECT_EQ(film.Text(QMF_QID_CONTAINER_PREV_NAME), u"");
  test::MkvFile told(file(uid(Element::NextUid, kOpening).Text(Element::NextFileName, "as told.mkv"), {}));
  EXPECT_EQ(told.Text(QMF_QID_CONTAINER_NEXT_NAME), u"as told.mkv");
  EXPECT_EQ(told.ResultOf(QMF_QID_ENHANCEDTRACK), QMF_ERR_STREAM_DNE);
  EXPECT_EQ(told.ResultOf(QMF_QID_MASTERTRACK, 1), QMF_ERR_INVALID_STREAM);

  const auto link = [](test::MkvFile& of, std::uint32_t qid) {
    QMFTrackLink found{};
    QMFQueryData data;
    data.size = sizeof(found);
    data.pointer = &found;
    EXPECT_EQ(of.Ask(qid, data), QMF_OK);
    return std::pair(found.flags, std::u16string(found.fileName));
  };
  using Link = std::pair<std::uint32_t, std::u16string>;
  EXPECT_EQ(link(film, QMF_QID_ENHANCEDTRACK), Link(2, u"part2.mkv"));
  EXPECT_EQ(link(film, QMF_QID_GET_MASTER_TRACK_PROP), Link(1, u""));
  const auto master = [](std::string_view name) {
    return EbmlBuilder().Unsigned(Element::MasterTrackUid, 22).Text(Element::MasterTrackFileName, name);
  };
  test::MkvFile byName(file({}, master("Part2.MKV")));
  EXPECT_EQ(link(byName, QMF_QID_MASTERTRACK), Link(2, u"part2.mkv"));
  for (const char* const name : {"../part2.mkv", "//server/part2.mkv", "gone.mkv"}) {
    test::MkvFile lost(file({}, master(name)));
    EXPECT_EQ(link(lost, QMF_QID_MASTERTRACK), Link(0, std::u16string(name, name + std::strlen(name))));
  }
}

}  // namespace
}  // namespace qmf
