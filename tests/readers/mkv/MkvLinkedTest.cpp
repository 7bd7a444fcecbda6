#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

#include "readers/mkv/MkvRecords.h"
#include "tests/readers/mkv/MkvFile.h"
#include "tests/support/KeepFile.h"

namespace qmf::test {
namespace {

constexpr std::uint64_t kMs = 10'000;
const Bytes kOwn = {1};
const Bytes kOpening = {2};
const Bytes kEnding = {3, 3};
const Bytes kNowhere = {9};

// A chapter of the segment `uid` or, without one, of the file's own.
Bytes Atom(std::uint64_t start, std::uint64_t end, const Bytes& uid = {}, std::uint64_t edition = 0) {
  return Chapter(start, end,
                 (uid.empty() ? Bytes() : Put(E::ChapterSegmentUid, uid)) +
                     Unsigned(E::ChapterSegmentEditionUid, edition));
}

Bytes Ordered(std::uint64_t uid, const Bytes& atoms) {
  return Put(E::Chapters, Edition(uid, E::EditionFlagOrdered, atoms));
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
struct Neighbour {
  Neighbour(const char16_t* name, const Bytes& file)
      : reader(std::make_shared<FileReader>(SourceOf(file))), named(name, reader) {}

  const std::shared_ptr<FileReader> reader;
  const SharedFileScope named;
};

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
    std::uint64_t duration;  // Milliseconds.
    const char* blocks;
  } const rows[] = {
      {"own segment, out of order", Atom(2000, 3000) + Atom(0, 1000), 2000,
       "oe@0 o2@0 of@500 oa@1000 o0@1000 ob@1500 "},
      {"named by its own UID", Atom(0, 500, kOwn), 500, "oa@0 o0@0 "},
      {"another segment between", Atom(0, 1000) + Atom(0, 500, kOpening) + Atom(1000, 1500), 2000,
       "oa@0 o0@0 ob@500 pa@1000 p0@1000 oa@500 ob@1000 oc@1500 o1@1500 "},
      {"following each other", Atom(0, 500) + Atom(500, 700) + Atom(700, 1000), 1000, "oa@0 o0@0 ob@500 "},
      {"two others, one missing, one of no length",
       Atom(0, 500, kEnding) + Atom(0, 5000, kNowhere) + Atom(700, 600) + Atom(6000, 6500, kOpening), 1000,
       "ea@0 e0@0 pm@500 p6@500 "},
      {"an edition of another segment", Atom(0, 9000, kOpening, 7) + Atom(0, 500), 2000,
       "pi@0 p4@0 pj@500 pa@1000 p0@1000 oa@1500 o0@1500 "},
      {"a stretch of it", Atom(500, 1200, kOpening, 7), 700, "pi@-500 pj@0 pa@500 p0@500 "},
      {"an edition that is not there", Atom(0, 500, kOpening, 99), 500, "pa@0 p0@0 "},
      {"an edition that plays itself", Atom(0, 2500, kEnding, 8), 2500,
       "pi@0 p4@0 ea@500 e0@500 eb@1000 ec@1500 e1@1500 ed@2000 "},
  };
  for (const auto& row : rows) {
    const Bytes file = EightSeconds(kOwn, 'o', Ordered(1, row.atoms));
    MkvFile film(file);
    // Fuzzers take the second file inside the bytes for the one beside.
    KeepFile(*SourceOf(file + EightSeconds(kOpening, 'p')), kModuleMkv);
    EXPECT_EQ(film.Number(QMF_QID_TITLE_DURATION), row.duration * kMs) << row.what;
    EXPECT_EQ(film.All(), row.blocks) << row.what;
  }
}

std::uint64_t Milliseconds(const Bytes& chapters) {
  return MkvFile(EightSeconds(kOwn, 'o', chapters)).Number(QMF_QID_TITLE_DURATION).value_or(0) / kMs;
}

TEST(MkvLinked, FollowsEditionsNeitherTooDeepNorForTooLong) {
  // Editions of which each plays the next one `times` times, the last of them `inmost`; the first also
  // `more`.
  const auto nested = [](std::uint64_t depth, int times, const Bytes& inmost, const Bytes& more) {
    Bytes editions;
    for (std::uint64_t uid = 1; uid <= depth; ++uid) {
      Bytes atoms;
      for (int i = 0; i < times; ++i) atoms += uid == depth ? inmost : Atom(0, 9000, {}, uid + 1);
      editions += Edition(uid, E::EditionFlagOrdered, uid == 1 ? atoms + more : atoms);
    }
    return Milliseconds(Put(E::Chapters, editions));
  };
  EXPECT_EQ(nested(8, 1, Atom(0, 500), {}), 500);
  EXPECT_EQ(nested(9, 1, Atom(0, 500), {}), 9000) << "the eighth is played as it stands";
  EXPECT_EQ(nested(5, 10, Atom(700, 600), Atom(0, 1000)), 8000) << "behind 100,000 chapters of no length";
  Bytes disabled;
  for (int i = 0; i < 500; ++i) disabled += Put(E::ChapterAtom, Unsigned(E::ChapterFlagEnabled, 0));
  EXPECT_EQ(nested(3, 10, disabled, Atom(0, 1000)), 8000) << "behind 500,000 that are disabled";
  Bytes atoms;
  for (int i = 0; i < 1000; ++i) atoms += Atom(700, 600, {}, 99);
  Bytes editions = Edition(1, E::EditionFlagOrdered, atoms + Atom(0, 1000));
  for (int i = 0; i < 200; ++i) editions += Put(E::EditionEntry, {});
  EXPECT_EQ(Milliseconds(Put(E::Chapters, editions)), 8000) << "behind 200,000 editions that are another";
  constexpr std::uint64_t kLongest = 18'446'744'000'000;
  Bytes centuries;
  for (int i = 0; i < 60; ++i) centuries += Atom(0, kLongest);
  EXPECT_EQ(Milliseconds(Ordered(1, centuries)), 13 * kLongest);
}

TEST(MkvLinked, SearchesNotEveryOneOfManyPartsForAStreamOfNoBlocks) {
  Bytes atoms;
  for (std::uint64_t i = 0; i < 2000; ++i) atoms += Atom(9000 + 20 * i, 9010 + 20 * i);
  Bytes blocks;
  for (int i = 0; i < 2000; ++i) blocks += Simple(1, 0, "p");
  MkvFile film(Segment(Info() + Tracks() + Ordered(1, atoms) + Cluster(0, blocks)));
  constexpr std::uint64_t kMost = 1'200'000;
  std::uint64_t before = film.Looks();
  EXPECT_EQ(film.NextOf(kBlockAudio).result, QMF_ERR_END_OF_STREAM);
  EXPECT_LT(film.Looks() - before, kMost);
  before = film.Looks();
  EXPECT_EQ(film.Seek(kBlockAudio, 0), -1);
  EXPECT_LT(film.Looks() - before, kMost);
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
    return std::ranges::count_if(files, [](const Neighbour& file) { return file.reader->BytesRead() > 0; });
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
  MkvFile film(
      EightSeconds(kOwn, 'o', Ordered(1, Atom(4000, 6000) + Atom(1000, 3000, kOpening) + Atom(0, 1000))));
  struct {
    std::uint64_t asked;  // Milliseconds, like all of these.
    std::uint64_t landed;
    const char* next;
    std::uint64_t previousSync;
    std::uint64_t nextSync;
    QMFResult nextResult = QMF_OK;
  } const rows[] = {
      {0, 0, "oi@0 ", 0, 3000},
      {1900, 0, "oi@0 ", 0, 3000},
      {2500, 1000, "pa@1000 ", 0, 3000},
      {3200, 3000, "pe@3000 ", 3000, 4000},
      {4000, 4000, "oa@4000 ", 4000, 0, QMF_ERR_END_OF_STREAM},
      {99'000, 4000, "oa@4000 ", 4000, 0, QMF_ERR_END_OF_STREAM},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(film.Seek(kBlockVideo, static_cast<std::int64_t>(row.asked * kMs)), row.landed * kMs)
        << row.asked;
    EXPECT_EQ(Told(film.Next()), row.next);
    EXPECT_EQ(Told(film.NextOf(kBlockVideo)), row.next);
    film.Expect(
        {{QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, row.previousSync * kMs, QMF_OK, row.asked * kMs},
         {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, 0, row.nextSync * kMs, row.nextResult, row.asked * kMs}});
  }
  EXPECT_EQ(film.Seek(kBlockVideo, 2000 * kMs - 1), 0) << "a key frame stands at the chapter's end";
  // To the half tick before its end, the key frame at 6 s is not the chapter's.
  MkvFile uneven(
      EightSeconds(kOwn, 'o',
                   Ordered(1, Put(E::ChapterAtom, Unsigned(E::ChapterTimeStart, 4'000'000'000) +
                                                      Unsigned(E::ChapterTimeEnd, 6'000'400'000)))));
  EXPECT_EQ(uneven.Seek(kBlockVideo, INT64_MAX), 0);
  EXPECT_EQ(Told(uneven.Next()), "oi@0 ");
  uneven.Expect({{QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, 0, 0, QMF_OK, 99'000 * kMs}});
  EXPECT_NE(film.Seek(kBlockVideo, 2000 * kMs), -1);
  EXPECT_EQ(Told(film.RestOf(kBlockVideo)),
            "pa@1000 pb@1500 pc@2000 pd@2500 pe@3000 pf@3500 oa@4000 ob@4500 ");
}

// Two laces of four frames of 250 ms, from 500 ms and 1500 ms on; a key frame at every second.
TEST(MkvLinked, CutsLacesBetweenTheirFrames) {
  const auto second = [](std::uint64_t i, std::string_view picture, std::string_view frames) {
    return Cluster(i * 1000, Simple(1, 0, picture) + Simple(2, 500, frames, 0x84));
  };
  MkvFile film(Segment(Info() + Tracks(Unsigned(E::DefaultDuration, 250'000'000)) +
                       Ordered(1, Atom(1000, 1600) + Atom(800, 1300)) + second(0, "A", "\3abcd") +
                       second(1, "B", "\3efgh") + second(2, "C", "\3ijkl")));
  EXPECT_EQ(film.All(), "c@0-250 d@250-500 B@0 e@500-600 A@-200 c@800-1050 d@1050-1100 B@800 ");
  EXPECT_EQ(Told(film.RestOf(kBlockAudio)), "c@0-250 d@250-500 e@500-600 c@800-1050 d@1050-1100 ");
  for (const auto& [asked, landed, next] :
       {std::tuple(0, 0, "c@0-250 "), {550, 500, "e@500-600 "}, {700, 600, "c@800-1050 "}}) {
    EXPECT_EQ(film.Seek(kBlockAudio, asked * std::int64_t{kMs}), landed * std::int64_t{kMs});
    EXPECT_EQ(Told(film.NextOf(kBlockAudio)), next);
  }
}

TEST(MkvLinked, LooksAtOtherFilesOnlyForAnOrderThatNeedsThem) {
  const Neighbour opening(u"opening.mkv", EightSeconds(kOpening, 'p'));
  const auto isReadFor = [&](const Bytes& atoms, std::uint64_t allowed) {
    MkvFile film(EightSeconds(kOwn, 'o', Ordered(1, atoms)));
    EXPECT_EQ(film.Tell(QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG, allowed), QMF_OK);
    (void)film.Number(QMF_QID_TITLE_DURATION);
    (void)film.All();
    return opening.reader->BytesRead() > 0;
  };
  EXPECT_FALSE(isReadFor(Atom(0, 1000), 1));
  EXPECT_FALSE(isReadFor(Atom(0, 1000, kOpening), 0));
  EXPECT_TRUE(isReadFor(Atom(0, 1000, kOpening), 1));
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
  EXPECT_EQ(film.Text(QMF_QID_CONTAINER_PREV_NAME), std::nullopt);
  MkvFile told(file(Put(E::NextUid, kOpening) + Text(E::NextFileName, "as told.mkv"), {}));
  EXPECT_EQ(told.Text(QMF_QID_CONTAINER_NEXT_NAME), u"as told.mkv");
  told.Expect({{QMF_QID_ENHANCEDTRACK, 0, 0, QMF_ERR_STREAM_DNE},
               {QMF_QID_MASTERTRACK, 1, 0, QMF_ERR_INVALID_STREAM}});

  using Link = std::pair<std::uint32_t, std::u16string>;
  const auto link = [](MkvFile& of, std::uint32_t qid) {
    const auto found = of.Format<QMFTrackLink>(qid);
    return Link(found.flags, found.fileName);
  };
  EXPECT_EQ(link(film, QMF_QID_ENHANCEDTRACK), Link(2, u"part2.mkv"));
  EXPECT_EQ(link(film, QMF_QID_GET_MASTER_TRACK_PROP), Link(1, u""));
  const std::pair<std::string_view, Link> masters[] = {
      {"Part2.MKV", {2, u"part2.mkv"}},
      {"../part2.mkv", {0, u"../part2.mkv"}},
      {"//server/part2.mkv", {0, u"//server/part2.mkv"}},
      {"gone.mkv", {0, u"gone.mkv"}},
  };
  for (const auto& [name, found] : masters) {
    MkvFile named(file({}, Unsigned(E::MasterTrackUid, 22) + Text(E::MasterTrackFileName, name)));
    EXPECT_EQ(link(named, QMF_QID_MASTERTRACK), found);
  }
}

}  // namespace
}  // namespace qmf::test
