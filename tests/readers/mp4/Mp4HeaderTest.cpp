#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>

#include "tests/readers/mp4/Mp4Movies.h"

namespace qmf::test {
namespace {

MovieSpec GoodMovie() {
  MovieSpec spec;
  spec.tracks = {VideoTrack(), AudioTrack()};
  return spec;
}

QMFResult ResultOf(const Bytes& bytes) {
  return StartedFile(kMp4Module, bytes).result;
}

void ExpectGoodMovie(const Bytes& file) {
  StartedFile movie(kMp4Module, file);
  ASSERT_EQ(movie.result, QMF_OK);
  EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), 1U);
  EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA), 1U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLE_DURATION), 40'000'000U);
  EXPECT_EQ(movie.Video().width, 640U);
  EXPECT_EQ(movie.Audio().samplesPerSec, 48000U);
}

TEST(Mp4Probe, AcceptsWhatBeginsLikeAMovie) {
  const auto file = [](std::uint32_t size, std::string_view type, std::size_t rest) {
    return AtomBuilder().U32(size).Code(type).Zeros(rest).Take();
  };
  const std::tuple<const char*, Bytes, std::int32_t> rows[] = {
      {"ftyp", file(20, "ftyp", 12), 100},
      {"movie in front", file(5000, "moov", 12), 100},
      {"media in front, cut off", file(5000, "mdat", 12), 100},
      {"media of 64-bit size", AtomBuilder().U32(1).Code("mdat").U64(9'000'000'000).Take(), 100},
      {"media to the end", file(0, "mdat", 12), 100},
      {"wide", file(8, "wide", 8), 100},
      {"preview", file(20, "pnot", 12), 100},
      {"free larger than the file", file(5000, "free", 12), 0},
      {"a text that says free", AtomBuilder().Code("the free world is").Take(), 0},
      {"size below the header", file(7, "ftyp", 12), 0},
      {"64-bit size below the header", AtomBuilder().U32(1).Code("ftyp").U64(15).Take(), 0},
      {"64-bit size missing", AtomBuilder().U32(1).Code("ftyp").U32(0).Take(), 0},
      {"another type", file(20, "RIFF", 12), 0},
      {"seven bytes", Bytes{0, 0, 0, 20, 'f', 't', 'y'}, 0},
      {"nothing", Bytes{}, 0},
  };
  for (const auto& [what, bytes, score] : rows) EXPECT_EQ(OpenedFile(kMp4Module, bytes).Bid(), score) << what;
  // What cannot be opened goes by its extension.
  for (const auto& [path, score] : {std::pair(u"/nowhere/a.mp4", 100),
                                    {u"/nowhere/a.3g2 ", 100},
                                    {u"http://host/a.mov", 100},
                                    {u"/nowhere/a.MP4", 0},
                                    {u"/nowhere/a.mkv", 0}}) {
    EXPECT_EQ(Score(kMp4Module, path), score);
  }
}

TEST(Mp4Header, FindsTheMovieWhereverItStands) {
  MovieSpec spec = GoodMovie();
  ExpectGoodMovie(MakeMovie(spec));
  spec.movieFirst = false;
  ExpectGoodMovie(MakeMovie(spec));
  spec.wide = spec.tracks[0].wide = spec.tracks[1].wide = true;
  ExpectGoodMovie(MakeMovie(spec));

  Bytes movie = MakeMovieAtom(GoodMovie(), 0);
  AtomBuilder strange;
  strange.U32(1).Code("mdat").U64(24).U64(0);
  strange.Begin("uuid").Zeros(16).End().Begin("free").End().Raw(movie).Begin("free").U32(7).End();
  ExpectGoodMovie(strange.Take());
  std::fill_n(movie.begin(), 4, std::uint8_t{0});  // To the end of the file.
  ExpectGoodMovie(movie);
}

Bytes CompressedMovie(const Bytes& movie, std::uint32_t declared) {
  Bytes packed(compressBound(static_cast<uLong>(movie.size())));
  uLongf size = static_cast<uLongf>(packed.size());
  compress(packed.data(), &size, movie.data(), static_cast<uLong>(movie.size()));
  packed.resize(size);
  AtomBuilder atoms;
  atoms.Begin("moov").Begin("cmov").Begin("dcom").Code("zlib").End();
  return atoms.Begin("cmvd").U32(declared).Raw(packed).End().End().End().Take();
}

TEST(Mp4Header, InflatesACompressedMovieWithinItsDeclaredSize) {
  const Bytes movie = MakeMovieAtom(GoodMovie(), 0);
  const auto size = static_cast<std::uint32_t>(movie.size());
  const Bytes packed = CompressedMovie(movie, size);
  ExpectGoodMovie(packed);
  Bytes damaged = packed;
  damaged[damaged.size() / 2] ^= 0xFF;
  // 32 MiB of zeros pack well; they stay packed, even behind a movie.
  for (const Bytes& bad : {damaged, CompressedMovie(movie, size - 1), CompressedMovie(packed, 1 << 20),
                           CompressedMovie(movie + Bytes(32U << 20), UINT32_MAX)}) {
    EXPECT_EQ(ResultOf(bad), QMF_ERR_BAD_STRUCTURE) << bad.size();
  }
}

TEST(Mp4Header, NeedsAMovieAndDropsTracksWithoutTheirParts) {
  EXPECT_EQ(ResultOf(AtomBuilder().Begin("ftyp").Zeros(8).End().Take()), QMF_ERR_BAD_STRUCTURE);
  EXPECT_EQ(ResultOf(AtomBuilder().Begin("moov").Begin("trak").End().End().Take()), QMF_ERR_BAD_STRUCTURE);
  for (const std::string_view part : {"tkhd", "mdia", "mdhd", "hdlr", "minf", "stbl", "stsd", "stts"}) {
    // The first of each is the video track's.
    Bytes file = MakeMovieAtom(GoodMovie(), 0);
    const auto at = std::search(file.begin(), file.end(), part.begin(), part.end());
    ASSERT_NE(at, file.end());
    *at = 'X';
    StartedFile movie(kMp4Module, file);
    ASSERT_EQ(movie.result, QMF_OK);
    EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), 0U) << part;
    EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA), 1U) << part;
  }
  MovieSpec crowd;
  crowd.tracks.assign(1025, VideoTrack());
  EXPECT_EQ(StartedFile(kMp4Module, MakeMovieAtom(crowd, 0)).Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA),
            1024U);
}

TEST(Mp4Header, SurvivesEveryCutAndReadsWhatIsLeft) {
  const Bytes good = MakeMovieAtom(GoodMovie(), 0);
  for (std::size_t size = 0; size < good.size(); ++size) {
    StartedFile movie(kMp4Module, Cut(good, size));
    if (movie.result != QMF_OK) continue;
    EXPECT_LE(movie.Number(QMF_QID_NUM_TITLE_STREAMS), 2U);
    EXPECT_EQ(movie.Video().width, movie.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA) == 1U ? 640U : 0U);
  }
}

TEST(Mp4Header, ListsTracksAsStreamsEnabledOnesFirst) {
  MovieSpec spec = GoodMovie();
  spec.tracks.push_back(AudioTrack(3));
  spec.tracks[1].flags = 0;
  TrackSpec text = VideoTrack();
  text.entry = TextEntry("text");
  for (const std::string_view handler : {"text", "sbtl", "tmcd"}) {
    text.id = static_cast<std::uint32_t>(spec.tracks.size() + 1);
    text.handler = handler;
    spec.tracks.push_back(text);
  }
  spec.tracks[0].references = AtomBuilder().Begin("tref").Begin("chap").U32(4).End().End().Take();

  StartedFile movie(kMp4Module, MakeMovie(spec));
  ASSERT_EQ(movie.result, QMF_OK);
  EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLE_STREAMS), 4U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, 0), 3U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, 1), 2U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, 0), 5U);
  const auto prop = movie.Format<QMFTitleMediaProp>(QMF_QID_GET_TITLE_MEDIA_PROP);
  EXPECT_EQ(prop.counts[0], 1);
  EXPECT_EQ(prop.counts[1], 2);
  EXPECT_EQ(prop.counts[2], 1);
}

TEST(Mp4Queries, RefuseWhatTheyCannotAnswer) {
  StartedFile movie(kMp4Module, MakeMovie(GoodMovie()));
  EXPECT_EQ(movie.Ask(QMF_QID_GET_STD_INDEX_NUM_ENTRIES), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(movie.Tell(QMF_QID_TITLE_DURATION, 0), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(movie.SetTitle(1), QMF_ERR_INVALID_TITLE_INDEX);
  QMFVideoFormat format{};
  EXPECT_EQ(movie.Fill(QMF_QID_VID_STREAM_FORMAT, format, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(movie.FillBytes(QMF_QID_VID_STREAM_FORMAT, &format, sizeof(format) - 1),
            QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(format.width, 0U);
  QMFModuleHandle handle = nullptr;
  EXPECT_EQ(kMp4Module.entryPoints->OpenContainer(&handle, u"http://host/a.mov", nullptr),
            QMF_ERR_REMOTE_FILE_UNSUPPORTED);
}

TEST(Mp4Queries, TellNamesAndTexts) {
  const auto text = [](std::string_view type, std::string_view value) {
    return AtomBuilder().Begin(type).Begin("data").U32(1).U32(0).Code(value).End().End().Take();
  };
  MovieSpec spec = GoodMovie();
  AtomBuilder udta;
  udta.Begin("udta").Begin("meta", 0, 0).Begin("hdlr", 0, 0).Zeros(20).End().Begin("ilst");
  udta.Raw(text("\251nam", "Titel \xC3\xA4")).Raw(text("\251too", "Encoder 1.0")).End().End().End();
  spec.extra = udta.Take();
  spec.tracks[0].userData = AtomBuilder().Begin("udta").Begin("name").Code("Main").End().End().Take();
  StartedFile movie(kMp4Module, MakeMovie(spec));
  for (const auto& [qid, answer] : {std::pair(QMF_QID_CONTAINER_TITLE_NAME, u"Titel \u00e4"),
                                    {QMF_QID_CONTAINER_WRITE_APP, u"Encoder 1.0"},
                                    {QMF_QID_VID_STREAM_NAME, u"Main"},
                                    {QMF_QID_AUD_STREAM_NAME, u"Handler"},
                                    {QMF_QID_VID_CODEC_ID, u"avc1"},
                                    {QMF_QID_AUD_CODEC_NAME, u"AAC"}}) {
    EXPECT_EQ(movie.Text(qid), answer);
  }

  // QuickTime's metadata, whose texts go by numbers that 'keys' names.
  AtomBuilder keyed;
  keyed.Begin("meta").Begin("hdlr").Zeros(8).Code("mdta").Zeros(13).End().Begin("keys").U32(0).U32(3);
  keyed.Begin("mdta").Code("other").End().Begin("mdta").Code("com.apple.quicktime.title").End();
  keyed.Begin("mdta").Code("encoder").End().End().Begin("ilst").Raw(text({"\0\0\0\1", 4}, "wrong"));
  keyed.Raw(text({"\0\0\0\3", 4}, "Phone")).Raw(text({"\0\0\0\2", 4}, "Keyed")).End().End();
  const Bytes meta = keyed.Take();
  for (const Bytes& extra : {meta, AtomBuilder().Begin("udta").Raw(meta).End().Take()}) {
    spec.extra = extra;
    StartedFile named(kMp4Module, MakeMovie(spec));
    EXPECT_EQ(named.Text(QMF_QID_CONTAINER_TITLE_NAME), u"Keyed");
    EXPECT_EQ(named.Text(QMF_QID_CONTAINER_WRITE_APP), u"Phone");
  }

  AtomBuilder quickTime;
  quickTime.Begin("udta").Begin("\251nam").U16(5).U16(0).Code("Plain").U16(3).U16(1).Code("Two").End();
  spec.extra = quickTime.U32(0).End().Take();
  StartedFile plain(kMp4Module, MakeMovie(spec));
  EXPECT_EQ(plain.Text(QMF_QID_CONTAINER_TITLE_NAME), u"Plain");
  EXPECT_EQ(plain.Text(QMF_QID_CONTAINER_WRITE_APP), std::nullopt);
}

TEST(Mp4Chapters, ComeFromATextTrackOrFromTheUserData) {
  MovieSpec listed = ShortMovie();
  AtomBuilder list;
  list.Begin("udta").Begin("chpl", 1, 0).U32(0).U8(2).U64(0).U8(3).Code("One");
  listed.extra = list.U64(2'000'000).U8(2).Code("\xC3\xA4").End().End().Take();

  MovieSpec tracked = ShortMovie();
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
  tracked.tracks.insert(tracked.tracks.begin(), text);
  Bytes bytes = MakeMovie(tracked);
  const std::string_view mdat = "mdat";
  const Bytes samples = AtomBuilder().U16(3).Code("One").U16(2).Code("\xC3\xA4").Take();
  std::ranges::copy(samples, std::search(bytes.begin(), bytes.end(), mdat.begin(), mdat.end()) + 4);

  for (const Bytes& movie : {MakeMovie(listed), bytes}) {
    StartedFile file(kMp4Module, movie);
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_BEGIN), 2U);
    EXPECT_EQ(file.Text(QMF_QID_CHAPTERS_CHAPTER_NAME, 0), u"One");
    EXPECT_EQ(file.Text(QMF_QID_CHAPTERS_CHAPTER_NAME, 1), u"\u00e4");
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_CHAPTER_STARTTIME, 1), 2'000'000U);
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_CHAPTER_ENDTIME, 0), 2'000'000U);
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_CHAPTER_ENDTIME, 1), 4'000'000U);
    EXPECT_EQ(file.Number(QMF_QID_CHAPTERS_CHAPTER_STARTTIME, 2), std::nullopt);
  }
}

}  // namespace
}  // namespace qmf::test
