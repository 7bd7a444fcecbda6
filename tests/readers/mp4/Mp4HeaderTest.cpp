#include <gmock/gmock.h>
#include <zlib.h>

#include <random>

#include "tests/readers/mp4/Mp4Movies.h"

namespace qmf::test {
namespace {

using testing::ElementsAre;

MovieSpec GoodMovie() {
  return {.tracks = {VideoTrack(), AudioTrack()}};
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
      {"64-bit size missing", file(1, "ftyp", 4), 0},
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
  spec.wide = spec.tracks[0].wide = spec.tracks[1].wide = true;
  spec.tracks[0].handlerLast = spec.tracks[1].handlerLast = true;
  ExpectGoodMovie(MakeMovie(spec));

  Bytes movie = MakeMovieAtom(GoodMovie(), 0);
  AtomBuilder strange;
  strange.U32(1).Code("mdat").U64(24, 0).Begin("uuid").Zeros(16).End().Begin("free").End();
  ExpectGoodMovie(strange.Raw(movie).Begin("free").U32(7).Take());
  std::fill_n(movie.begin(), 4, std::uint8_t{0});  // To the end of the file.
  ExpectGoodMovie(movie);
}

// With so many blocks of nothing between zlib's header and its first one.
Bytes CompressedMovie(const Bytes& movie, std::uint32_t declared, int emptyBlocks = 0) {
  Bytes packed(compressBound(static_cast<uLong>(movie.size())));
  uLongf size = static_cast<uLongf>(packed.size());
  compress(packed.data(), &size, movie.data(), static_cast<uLong>(movie.size()));
  packed.resize(size);
  Bytes empty;
  for (int i = 0; i < emptyBlocks; ++i) empty += Bytes{0, 0, 0, 0xFF, 0xFF};
  packed.insert(packed.begin() + 2, empty.begin(), empty.end());
  AtomBuilder atoms;
  atoms.Begin("moov").Begin("cmov").Begin("dcom").Code("zlib").End();
  return atoms.Begin("cmvd").U32(declared).Raw(packed).Take();
}

TEST(Mp4Header, InflatesACompressedMovieWithinItsDeclaredSize) {
  AtomBuilder noise;  // So much that no read brings all of it.
  std::mt19937 random;
  for (noise.Begin("free"); noise.Size() < 100'000;) noise.U32(random());
  MovieSpec spec = GoodMovie();
  spec.extra = noise.Take();
  const Bytes movie = MakeMovieAtom(spec, 0);
  const auto size = static_cast<std::uint32_t>(movie.size());
  const Bytes packed = CompressedMovie(movie, size);
  ExpectGoodMovie(packed);
  ExpectGoodMovie(CompressedMovie(movie, size, 16'000));
  Bytes damaged = packed;
  damaged[damaged.size() / 2] ^= 0xFF;
  // 9 MiB of zeros pack well; they stay packed, even behind a movie.
  for (const Bytes& bad :
       {damaged, CompressedMovie(movie, size - 1), CompressedMovie(packed, 1 << 20),
        CompressedMovie(movie, size, 20'000), CompressedMovie(movie + Bytes(9U << 20), UINT32_MAX)}) {
    EXPECT_EQ(ResultOf(bad), QMF_ERR_BAD_STRUCTURE) << bad.size();
  }
}

TEST(Mp4Header, NeedsAMovieAndDropsTracksWithoutTheirParts) {
  EXPECT_EQ(ResultOf(AtomBuilder().Begin("ftyp").Zeros(8).Take()), QMF_ERR_BAD_STRUCTURE);
  EXPECT_EQ(ResultOf(AtomBuilder().Begin("moov").Begin("trak").Take()), QMF_ERR_BAD_STRUCTURE);
  for (const std::string_view part : {"tkhd", "mdia", "mdhd", "hdlr", "minf", "stbl", "stsd", "stts"}) {
    // The first of each is the video track's.
    Bytes file = MakeMovieAtom(GoodMovie(), 0);
    PayloadOf(file, part)[-4] = 'X';
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

TEST(Mp4Header, ListsTracksAsStreamsEnabledOnesFirst) {
  MovieSpec spec = GoodMovie();
  spec.tracks.push_back(AudioTrack(3));
  spec.tracks[1].flags = 0;
  spec.tracks.push_back({.id = 4, .handler = "text", .entry = TextEntry("text")});
  spec.tracks.push_back({.id = 5, .handler = "sbtl", .entry = TextEntry("text")});
  spec.tracks.push_back({.id = 6, .handler = "tmcd", .entry = TextEntry("text")});
  spec.tracks[0].references = AtomBuilder().Begin("tref").Begin("chap").U32(4).Take();

  StartedFile movie(kMp4Module, MakeMovie(spec));
  ASSERT_EQ(movie.result, QMF_OK);
  EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLE_STREAMS), 4U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, 0), 3U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, 1), 2U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, 0), 5U);
  EXPECT_THAT(movie.Format<QMFTitleMediaProp>(QMF_QID_GET_TITLE_MEDIA_PROP).counts, ElementsAre(1, 2, 1));
}

TEST(Mp4Module, FillsTheSlotsOfItsKindAndRefusesWhatItCannotAnswer) {
  EXPECT_THAT(FilledSlots(*kMp4Module.entryPoints), ElementsAre(0, 1, 2, 3, 5, 7, 8, 10, 11, 12, 13, 14, 17));
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
    return AtomBuilder().Begin(type).Begin("data").U32(1, 0).Code(value).Take();
  };
  AtomBuilder byType, byNumber, quickTime, asset;
  byType.Begin("udta").Begin("meta", 0, 0).Begin("hdlr", 0, 0).Zeros(20).End().Begin("ilst");
  byType.Raw(text("\251nam", "Titel \xC3\xA4")).Raw(text("\251too", "Encoder 1.0"));
  // Their types are numbers of what 'keys' names.
  byNumber.Begin("meta").Begin("hdlr").Zeros(8).Code("mdta").Zeros(13).End().Begin("keys").U32(0, 3);
  byNumber.Begin("mdta").Code("other").End().Begin("mdta").Code("com.apple.quicktime.title").End();
  byNumber.Begin("mdta").Code("encoder").End().End().Begin("ilst").Raw(text({"\0\0\0\1", 4}, "wrong"));
  byNumber.Raw(text({"\0\0\0\3", 4}, "Phone")).Raw(text({"\0\0\0\2", 4}, "Keyed"));
  quickTime.Begin("udta").Begin("\251nam").U16(5, 0).Code("Plain").U16(3, 1).Code("Two").End().U32(0);
  asset.Begin("udta").Begin("titl", 0, 0).U16(0x15C7, 0xFEFF, 'T', 0x6F22, 0, 'x');
  const Bytes meta = byNumber.Take();
  const std::tuple<Bytes, const char16_t*, std::optional<std::u16string>> rows[] = {
      {byType.Take(), u"Titel \u00e4", u"Encoder 1.0"},
      {meta, u"Keyed", u"Phone"},
      {AtomBuilder().Begin("udta").Raw(meta).Take(), u"Keyed", u"Phone"},
      {quickTime.Take(), u"Plain", {}},
      {asset.Take(), u"T\u6f22", {}},
  };
  MovieSpec spec = GoodMovie();
  spec.tracks[0].userData = AtomBuilder().Begin("udta").Begin("name").Code("M").Take();
  for (const auto& [extra, title, encoder] : rows) {
    spec.extra = extra;
    StartedFile movie(kMp4Module, MakeMovie(spec));
    EXPECT_EQ(movie.Text(QMF_QID_CONTAINER_TITLE_NAME), title);
    EXPECT_EQ(movie.Text(QMF_QID_CONTAINER_WRITE_APP), encoder);
    EXPECT_EQ(movie.Text(QMF_QID_VID_STREAM_NAME), u"M");
    EXPECT_EQ(movie.Text(QMF_QID_AUD_STREAM_NAME), u"Handler");
    EXPECT_EQ(movie.Text(QMF_QID_VID_CODEC_ID), u"avc1");
    EXPECT_EQ(movie.Text(QMF_QID_AUD_CODEC_NAME), u"AAC");
  }
}

TEST(Mp4Chapters, ComeFromATextTrackOrFromTheUserData) {
  MovieSpec listed = ShortMovie();
  AtomBuilder list;
  list.Begin("udta").Begin("chpl", 1, 0).U32(0).U8(2).U64(0).U8(3).Code("One").U64(2'000'000);
  listed.extra = list.U8(2).Code("\xC3\xA4").Take();

  MovieSpec tracked = ShortMovie();
  tracked.tracks[0].references = AtomBuilder().Begin("tref").Begin("chap").U32(9).Take();
  const TrackSpec text = {.id = 9,
                          .flags = 0,
                          .handler = "text",
                          .timescale = 1000,
                          .duration = 400,
                          .entry = TextEntry("text"),
                          .times = {{2, 200}},
                          .sizes = {5, 6}};
  tracked.tracks.insert(tracked.tracks.begin(), text);
  Bytes bytes = MakeMovie(tracked);
  std::ranges::copy(AtomBuilder().U16(3).Code("One").U16(4, 0xFFFE, 0xE400).Take(), PayloadOf(bytes, "mdat"));

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
  list.Begin("udta").Begin("chpl", 0, 0).U8(255);
  for (std::uint32_t i = 0; i < 255; ++i) list.U64(i).U8(255).Raw(Bytes(255, 'x'));
  listed.extra = list.Take();
  EXPECT_EQ(StartedFile(kMp4Module, MakeMovie(listed)).Number(QMF_QID_CHAPTERS_BEGIN), 255U);
}

}  // namespace
}  // namespace qmf::test
