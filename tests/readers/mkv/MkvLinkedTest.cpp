#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"
#include "tests/support/KeepFile.h"

namespace qmf::test {
namespace {

constexpr std::int64_t kMs = 10'000;
const Bytes kOwn = {1};
const Bytes kOpening = {2};
const Bytes kEnding = {3, 3};
const Bytes kNowhere = {9};

// A chapter by its times in milliseconds, of the segment `uid` or without one of the file's own.
Bytes Atom(std::uint64_t start, std::uint64_t end, const Bytes& uid = {}, std::uint64_t edition = 0) {
  Bytes atom =
      Unsigned(E::ChapterTimeStart, start * 1'000'000) + Unsigned(E::ChapterTimeEnd, end * 1'000'000);
  if (!uid.empty()) atom += Put(E::ChapterSegmentUid, uid);
  if (edition != 0) atom += Unsigned(E::ChapterSegmentEditionUid, edition);
  return Put(E::ChapterAtom, atom);
}

Bytes Edition(std::uint64_t uid, const Bytes& atoms) {
  return Put(E::EditionEntry, Unsigned(E::EditionUid2, uid) + Unsigned(E::EditionFlagOrdered, 1) + atoms);
}

Bytes Ordered(std::uint64_t uid, const Bytes& atoms) {
  return Put(E::Chapters, Edition(uid, atoms));
}

// Eight seconds. Pictures stand at every half second, named by `name` and a letter for their number, key
// frames at every second one; sound stands at every second, named by the digit of it.
Bytes EightSeconds(const Bytes& uid, char name, const Bytes& chapters = {}) {
  const auto second = [&](int i) {
    const auto picture = [&](int half) { return std::string{name, static_cast<char>('a' + 2 * i + half)}; };
    return Cluster(static_cast<std::uint64_t>(i) * 1000,
                   Simple(1, 0, picture(0), i % 2 == 0 ? 0x80 : 0) +
                       Simple(2, 0, std::string{name, static_cast<char>('0' + i)}) +
                       Simple(1, 500, picture(1), 0));
  };
  Bytes children = Put(E::SegmentInfo, Put(E::SegmentUid, uid) + Float(E::Duration, 8000.0) +
                                           Unsigned(E::TimecodeScale, 1'000'000)) +
                   Tracks() + chapters;
  const std::uint64_t first = children.size() + Put(E::Cues, {}).size() + 4 * CuePoint(0, 0).size();
  Bytes cues;
  for (std::uint64_t i = 0; i < 8; i += 2) cues += CuePoint(i * 1000, first + i * second(0).size());
  children += Put(E::Cues, cues);
  for (int i = 0; i < 8; ++i) children += second(i);
  return Segment(children);
}

// A file in the folder of the films.
class Neighbour {
 public:
  Neighbour(const char16_t* name, const Bytes& file)
      : m_reader(std::make_shared<FileReader>(SourceOf(file))), m_named(name, m_reader) {}

  std::uint64_t BytesRead() const { return m_reader->BytesRead(); }

 private:
  const std::shared_ptr<FileReader> m_reader;
  const SharedFileScope m_named;
};

std::string Told(const Got& got) {
  return got.bytes + std::to_string(got.time / kMs) + " ";
}

std::string Told(const std::vector<Got>& blocks) {
  std::string text;
  for (const Got& got : blocks) text += Told(got);
  return text;
}

TEST(MkvLinked, PlaysTheChaptersInTheirOrder) {
  const Neighbour opening(u"opening.MKV",
                          EightSeconds(kOpening, 'p', Ordered(7, Atom(4000, 5000) + Atom(0, 500))));
  const Neighbour other(u"other.qf3", Header());
  const Neighbour elsewhere(u"down/film2.mkv", EightSeconds(kNowhere, 'n'));
  const Neighbour text(u"ending.txt", EightSeconds(kNowhere, 'n'));
  const Bytes round = Atom(0, 500, kOpening, 7) + Atom(0, 9000, kEnding, 8) + Atom(0, 500, kOwn);
  const Neighbour ending(u"ending.qf3", EightSeconds(kEnding, 'e', Ordered(8, round)));
  struct {
    const char* what;
    Bytes atoms;
    std::int64_t duration;  // Milliseconds.
    const char* blocks;
  } const rows[] = {
      {"own segment, out of order", Atom(2000, 3000) + Atom(0, 1000), 2000,
       "oe0 o20 of500 oa1000 o01000 ob1500 "},
      {"named by its own UID", Atom(0, 500, kOwn), 500, "oa0 o00 "},
      {"another segment between", Atom(0, 1000) + Atom(0, 500, kOpening) + Atom(1000, 1500), 2000,
       "oa0 o00 ob500 pa1000 p01000 oa500 ob1000 oc1500 o11500 "},
      {"following each other", Atom(0, 500) + Atom(500, 700) + Atom(700, 1000), 1000, "oa0 o00 ob500 "},
      {"two others, one missing, one of no length",
       Atom(0, 500, kEnding) + Atom(0, 5000, kNowhere) + Atom(700, 600) + Atom(6000, 6500, kOpening), 1000,
       "ea0 e00 pm500 p6500 "},
      {"an edition of another segment", Atom(0, 9000, kOpening, 7) + Atom(0, 500), 2000,
       "pi0 p40 pj500 pa1000 p01000 oa1500 o01500 "},
      {"a stretch of it", Atom(500, 1200, kOpening, 7), 700, "pi-500 pj0 pa500 p0500 "},
      {"an edition that is not there", Atom(0, 500, kOpening, 99), 500, "pa0 p00 "},
      {"an edition that plays itself", Atom(0, 2500, kEnding, 8), 2500,
       "pi0 p40 ea500 e0500 eb1000 ec1500 e11500 ed2000 "},
      {"nothing", Atom(0, 500, kNowhere), 8000, nullptr},
  };
  for (const auto& row : rows) {
    const Bytes file = EightSeconds(kOwn, 'o', Ordered(1, row.atoms));
    MkvPlayer film(file);
    // Fuzzers take the second file inside the bytes for the one beside.
    KeepFile(*SourceOf(file + EightSeconds(kOpening, 'p')), kModuleMkv);
    EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), static_cast<std::uint64_t>(row.duration * kMs))
        << row.what;
    const std::string blocks = Told(film.All());
    EXPECT_EQ(row.blocks != nullptr ? row.blocks : blocks, blocks) << row.what;
  }
}

std::int64_t Milliseconds(const Bytes& chapters) {
  return static_cast<std::int64_t>(
             MkvFile(EightSeconds(kOwn, 'o', chapters)).Number(QMF_QID_TITLE_DURATION)) /
         kMs;
}

TEST(MkvLinked, FollowsEditionsNeitherTooDeepNorForTooLong) {
  // Editions of which each plays the next one `times` times, the last of them `inmost`; the first also
  // `more`.
  const auto nested = [](std::uint64_t depth, int times, const Bytes& inmost, const Bytes& more) {
    Bytes editions;
    for (std::uint64_t uid = 1; uid <= depth; ++uid) {
      Bytes atoms;
      for (int i = 0; i < times; ++i) atoms += uid == depth ? inmost : Atom(0, 9000, {}, uid + 1);
      editions += Edition(uid, uid == 1 ? atoms + more : atoms);
    }
    return Milliseconds(Put(E::Chapters, editions));
  };
  EXPECT_EQ(nested(8, 1, Atom(0, 500), {}), 500);
  EXPECT_EQ(nested(9, 1, Atom(0, 500), {}), 9000) << "the eighth is played as it stands";
  EXPECT_EQ(nested(5, 10, Atom(700, 600), Atom(0, 1000)), 8000) << "behind 100,000 chapters of no length";
  constexpr std::int64_t kLongest = 18'446'744'000'000;
  Bytes centuries;
  for (int i = 0; i < 60; ++i) centuries += Atom(0, kLongest);
  EXPECT_EQ(Milliseconds(Ordered(1, centuries)), 13 * kLongest);
}

TEST(MkvLinked, OpensAHundredFilesAndFollowsTheOrderOfFour) {
  std::deque<std::u16string> names;
  std::deque<Neighbour> files;
  Bytes atoms;
  for (std::uint8_t i = 10; i < 130; ++i) {
    names.push_back(std::u16string{static_cast<char16_t>(0x4E00 + i)} + u".mkv");
    files.emplace_back(names.back().c_str(), EightSeconds({i}, 'n', Ordered(7, Atom(0, 1))));
    atoms += Atom(0, 2, {i}, 7);
  }
  const auto wereRead = [&] {
    return std::ranges::count_if(files, [](const Neighbour& file) { return file.BytesRead() > 0; });
  };
  EXPECT_EQ(Milliseconds(Ordered(1, atoms)), 4 * 1 + 95 * 2);
  EXPECT_EQ(wereRead(), 99);
  EXPECT_EQ(Milliseconds(Ordered(1, Atom(0, 1, kNowhere))), 8000);
  EXPECT_EQ(wereRead(), 100);
  while (!files.empty()) files.pop_back();  // Their names end in the order opposite to that of their making.
}

TEST(MkvLinked, IsSoughtInTheTimeOfTheOrder) {
  const Neighbour opening(u"opening.mkv", EightSeconds(kOpening, 'p'));
  // Own 4 s to 6 s, the other's 1 s to 3 s, own 0 s to 1 s.
  MkvPlayer film(
      EightSeconds(kOwn, 'o', Ordered(1, Atom(4000, 6000) + Atom(1000, 3000, kOpening) + Atom(0, 1000))));
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
    EXPECT_EQ(film.Seek(kBlockVideo, row.asked * kMs), row.landed * kMs) << row.asked;
    EXPECT_EQ(Told(film.Next()), row.next);
    EXPECT_EQ(Told(film.NextOf(kBlockVideo)), row.next);
    const auto asked = static_cast<std::uint64_t>(row.asked * kMs);
    EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, asked), row.previousSync * kMs) << row.asked;
    EXPECT_EQ(film.Number(QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, asked),
              row.nextSync != 0 ? row.nextSync * kMs : ~std::uint64_t{0})
        << row.asked;
  }
  EXPECT_NE(film.Seek(kBlockVideo, 2000 * kMs), -1);
  std::vector<Got> pictures;
  for (const ReadBlock& block : film.RestOf(kBlockVideo)) pictures.emplace_back(block);
  EXPECT_EQ(Told(pictures), "pa1000 pb1500 pc2000 pd2500 pe3000 pf3500 oa4000 ob4500 ");
  EXPECT_EQ(film.Next().endTime, 0);
}

TEST(MkvLinked, LooksAtOtherFilesOnlyForAnOrderThatNeedsThem) {
  const Neighbour opening(u"opening.mkv", EightSeconds(kOpening, 'p'));
  const auto after = [&](const Bytes& atoms, bool allowed) {
    MkvPlayer film(EightSeconds(kOwn, 'o', Ordered(1, atoms)));
    (void)film.Set(QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG, allowed ? 1 : 0);
    (void)film.Number(QMF_QID_TITLE_DURATION);
    (void)film.All();
    return opening.BytesRead();
  };
  EXPECT_EQ(after(Atom(0, 1000), true), 0U);
  EXPECT_EQ(after(Atom(0, 1000, kOpening), false), 0U);
  EXPECT_GT(after(Atom(0, 1000, kOpening), true), 0U);
}

TEST(MkvLinked, NamesTheFilesAndTracksThatBelongToIt) {
  const auto file = [](const Bytes& info, const Bytes& video) {
    return Segment(Put(E::SegmentInfo, info) + Tracks({}, video) + Void(100));
  };
  const Bytes part2 = file(Put(E::SegmentUid, kOpening), Unsigned(E::TrackUid, 22));
  const Neighbour next(u"part2.mkv", part2);
  const Neighbour above(u"../part2.mkv", part2);
  const Neighbour elsewhere(u"//server/part2.mkv", part2);
  MkvFile film(file(Put(E::NextUid, kOpening) + Put(E::PrevUid, kNowhere),
                    Unsigned(E::TrackUid, 11) + Unsigned(E::EnhancedTrackUid, 22) +
                        Put(E::EnhancedTrackSegUid, kOpening) + Unsigned(E::MasterTrackUid, 11)));
  EXPECT_EQ(film.Text(QMF_QID_CONTAINER_NEXT_NAME), u"part2.mkv");
  EXPECT_EQ(film.Text(QMF_QID_CONTAINER_PREV_NAME), u"");
  MkvFile told(file(Put(E::NextUid, kOpening) + Text(E::NextFileName, "as told.mkv"), {}));
  EXPECT_EQ(told.Text(QMF_QID_CONTAINER_NEXT_NAME), u"as told.mkv");
  EXPECT_EQ(told.ResultOf(QMF_QID_ENHANCEDTRACK), QMF_ERR_STREAM_DNE);
  EXPECT_EQ(told.ResultOf(QMF_QID_MASTERTRACK, 1), QMF_ERR_INVALID_STREAM);

  const auto link = [](MkvFile& of, std::uint32_t qid) {
    const auto found = of.Format<QMFTrackLink>(qid);
    return std::pair(found.flags, std::u16string(found.fileName));
  };
  using Link = std::pair<std::uint32_t, std::u16string>;
  EXPECT_EQ(link(film, QMF_QID_ENHANCEDTRACK), Link(2, u"part2.mkv"));
  EXPECT_EQ(link(film, QMF_QID_GET_MASTER_TRACK_PROP), Link(1, u""));
  const auto master = [](std::string_view name) {
    return Unsigned(E::MasterTrackUid, 22) + Text(E::MasterTrackFileName, name);
  };
  MkvFile byName(file({}, master("Part2.MKV")));
  EXPECT_EQ(link(byName, QMF_QID_MASTERTRACK), Link(2, u"part2.mkv"));
  for (const char* const name : {"../part2.mkv", "//server/part2.mkv", "gone.mkv"}) {
    MkvFile lost(file({}, master(name)));
    EXPECT_EQ(link(lost, QMF_QID_MASTERTRACK), Link(0, std::u16string(name, name + std::strlen(name))));
  }
}

}  // namespace
}  // namespace qmf::test
