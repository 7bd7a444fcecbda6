#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>

#include "tests/readers/mp4/Mp4TestFile.h"

namespace qmf::test {
namespace {

TrackSpec VideoTrack() {
  TrackSpec track;
  track.entry = VideoEntry("avc1", 640, 360);
  return track;
}

TrackSpec AudioTrack(std::uint32_t id) {
  TrackSpec track;
  track.id = id;
  track.handler = "soun";
  track.timescale = 48000;
  track.duration = 192000;
  track.times = {{187, 1024}};
  track.entry = AudioEntry("mp4a", 2, 16, 48000);
  return track;
}

MovieSpec GoodMovie() {
  MovieSpec spec;
  spec.tracks = {VideoTrack(), AudioTrack(2)};
  return spec;
}

void ExpectGoodMovie(Bytes file) {
  Mp4TestFile movie(std::move(file));
  ASSERT_EQ(movie.Open(), QMF_OK);
  EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), 1U);
  EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA), 1U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLE_DURATION), 40'000'000U);
  EXPECT_EQ(movie.Video().width, 640U);
  EXPECT_EQ(movie.Audio().samplesPerSec, 48000U);
}

TEST(Mp4Probe, AcceptsWhatBeginsLikeAMovie) {
  struct Row {
    const char* what;
    Bytes bytes;
    std::int32_t score;
  };
  const auto file = [](std::uint32_t size, std::string_view type, std::size_t rest) {
    return AtomBuilder().U32(size).Code(type).Zeros(rest).Take();
  };
  const Row rows[] = {
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
  for (const Row& row : rows) EXPECT_EQ(Mp4TestFile(row.bytes).Score(), row.score) << row.what;
}

TEST(Mp4Probe, GoesByTheExtensionOfWhatCannotBeOpened) {
  const std::pair<const char16_t*, std::int32_t> rows[] = {
      {u"/nowhere/a.mp4", 100}, {u"/nowhere/a.3g2 ", 100}, {u"http://host/a.mov", 100},
      {u"/nowhere/a.MP4", 0},   {u"/nowhere/a.mkv", 0},
  };
  for (const auto& [path, expected] : rows) {
    std::int32_t score = -1;
    EXPECT_EQ(Mp4TestFile::Slots().ProbeContainer(&score, path, nullptr), QMF_OK);
    EXPECT_EQ(score, expected);
  }
  QMFModuleHandle handle = nullptr;
  EXPECT_EQ(Mp4TestFile::Slots().OpenContainer(&handle, u"http://host/a.mov", nullptr),
            QMF_ERR_REMOTE_FILE_UNSUPPORTED);
}

TEST(Mp4Header, FindsTheMovieWhereverItStands) {
  MovieSpec spec = GoodMovie();
  ExpectGoodMovie(MakeMovie(spec));
  spec.movieFirst = false;
  ExpectGoodMovie(MakeMovie(spec));
  spec.wide = spec.tracks[0].wide = spec.tracks[1].wide = true;
  ExpectGoodMovie(MakeMovie(spec));

  const Bytes movie = MakeMovieAtom(GoodMovie(), 0);
  AtomBuilder strange;
  strange.U32(1).Code("mdat").U64(24).U64(0);
  strange.Begin("uuid").Zeros(16).End().Begin("free").End().Raw(movie).Begin("free").U32(7).End();
  ExpectGoodMovie(strange.Take());

  Bytes toTheEnd = movie;
  toTheEnd[0] = toTheEnd[1] = toTheEnd[2] = toTheEnd[3] = 0;
  ExpectGoodMovie(toTheEnd);
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
  ExpectGoodMovie(CompressedMovie(movie, size));
  EXPECT_EQ(Mp4TestFile(CompressedMovie(movie, size - 1)).Open(), QMF_ERR_BAD_STRUCTURE);
  Bytes damaged = CompressedMovie(movie, size);
  damaged[damaged.size() / 2] ^= 0xFF;
  EXPECT_EQ(Mp4TestFile(damaged).Open(), QMF_ERR_BAD_STRUCTURE);
  EXPECT_EQ(Mp4TestFile(CompressedMovie(CompressedMovie(movie, size), 1 << 20)).Open(),
            QMF_ERR_BAD_STRUCTURE);
  // 32 MiB of zeros pack well; they stay packed.
  EXPECT_EQ(Mp4TestFile(CompressedMovie(Bytes(32U << 20), UINT32_MAX)).Open(), QMF_ERR_BAD_STRUCTURE);
}

TEST(Mp4Header, NeedsAMovieAndDropsTracksWithoutTheirParts) {
  EXPECT_EQ(Mp4TestFile(AtomBuilder().Begin("ftyp").Zeros(8).End().Take()).Open(), QMF_ERR_BAD_STRUCTURE);
  EXPECT_EQ(Mp4TestFile(AtomBuilder().Begin("moov").Begin("trak").End().End().Take()).Open(),
            QMF_ERR_BAD_STRUCTURE);

  const Bytes good = MakeMovieAtom(GoodMovie(), 0);
  for (const std::string_view part : {"tkhd", "mdia", "mdhd", "hdlr", "minf", "stbl", "stsd", "stts"}) {
    // The first of each is the video track's.
    Bytes file = good;
    const auto at = std::search(file.begin(), file.end(), part.begin(), part.end());
    ASSERT_NE(at, file.end());
    *at = 'X';
    Mp4TestFile movie(std::move(file));
    ASSERT_EQ(movie.Open(), QMF_OK);
    EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), 0U) << part;
    EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA), 1U) << part;
  }
}

TEST(Mp4Header, SurvivesEveryCutAndReadsWhatIsLeft) {
  const Bytes good = MakeMovieAtom(GoodMovie(), 0);
  for (std::size_t size = 0; size < good.size(); ++size) {
    Mp4TestFile movie(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)));
    if (movie.Open() != QMF_OK) continue;
    const std::uint64_t streams = movie.Number(QMF_QID_NUM_TITLE_STREAMS);
    EXPECT_LE(streams, 2U);
    EXPECT_EQ(movie.Video().width, movie.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA) == 1 ? 640U : 0U);
  }
}

TEST(Mp4Header, ListsTracksAsStreamsEnabledOnesFirst) {
  MovieSpec spec = GoodMovie();
  spec.tracks.push_back(AudioTrack(3));
  spec.tracks[1].flags = 0;
  TrackSpec text = VideoTrack();
  text.id = 4;
  text.handler = "text";
  text.entry = TextEntry("text");
  spec.tracks.push_back(text);
  text.id = 5;
  text.handler = "sbtl";
  text.entry = TextEntry("tx3g");
  spec.tracks.push_back(text);
  text.id = 6;
  text.handler = "tmcd";
  spec.tracks.push_back(text);
  spec.tracks[0].references = AtomBuilder().Begin("tref").Begin("chap").U32(4).End().End().Take();

  Mp4TestFile movie(MakeMovie(spec));
  ASSERT_EQ(movie.Open(), QMF_OK);
  EXPECT_EQ(movie.Number(QMF_QID_NUM_TITLE_STREAMS), 4U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, 0), 3U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, 1), 2U);
  EXPECT_EQ(movie.Number(QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, 0), 5U);
  QMFTitleMediaProp prop{};
  EXPECT_EQ(movie.ReadRecord(QMF_QID_GET_TITLE_MEDIA_PROP, prop), QMF_OK);
  EXPECT_EQ(prop.counts[0], 1);
  EXPECT_EQ(prop.counts[1], 2);
  EXPECT_EQ(prop.counts[2], 1);
}

TEST(Mp4Queries, RefuseWhatTheyCannotAnswer) {
  Mp4TestFile movie(MakeMovie(GoodMovie()));
  QMFModuleHandle handle = nullptr;
  const QMFModuleEntryPoints& slots = Mp4TestFile::Slots();
  ASSERT_EQ(movie.Open(), QMF_OK);
  handle = movie.Handle();
  QMFQueryData data;
  EXPECT_EQ(slots.GetInfo(handle, QMF_QID_GET_STD_INDEX_NUM_ENTRIES, &data, 0), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(slots.SetInfo(handle, QMF_QID_TITLE_DURATION, &data, 0), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(slots.SetTitle(handle, 1), QMF_ERR_INVALID_TITLE_INDEX);
  QMFVideoFormat format{};
  EXPECT_EQ(movie.ReadRecord(QMF_QID_VID_STREAM_FORMAT, format, 1), QMF_ERR_INVALID_STREAM);
  data.pointer = &format;
  data.size = sizeof(format) - 1;
  EXPECT_EQ(slots.GetInfo(handle, QMF_QID_VID_STREAM_FORMAT, &data, 0), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(format.width, 0U);
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
  Mp4TestFile movie(MakeMovie(spec));
  ASSERT_EQ(movie.Open(), QMF_OK);
  EXPECT_EQ(movie.Text(QMF_QID_CONTAINER_TITLE_NAME), u"Titel \u00e4");
  EXPECT_EQ(movie.Text(QMF_QID_CONTAINER_WRITE_APP), u"Encoder 1.0");
  EXPECT_EQ(movie.Text(QMF_QID_VID_STREAM_NAME), u"Main");
  EXPECT_EQ(movie.Text(QMF_QID_AUD_STREAM_NAME), u"Handler");
  EXPECT_EQ(movie.Text(QMF_QID_VID_CODEC_ID), u"avc1");
  EXPECT_EQ(movie.Text(QMF_QID_AUD_CODEC_NAME), u"AAC");

  AtomBuilder quickTime;
  quickTime.Begin("udta")
      .Begin("\251nam")
      .U16(5)
      .U16(0)
      .Code("Plain")
      .U16(3)
      .U16(1)
      .Code("Two")
      .End()
      .U32(0)
      .End();
  spec.extra = quickTime.Take();
  Mp4TestFile plain(MakeMovie(spec));
  ASSERT_EQ(plain.Open(), QMF_OK);
  EXPECT_EQ(plain.Text(QMF_QID_CONTAINER_TITLE_NAME), u"Plain");
  EXPECT_EQ(plain.Text(QMF_QID_CONTAINER_WRITE_APP), u"");
}

}  // namespace
}  // namespace qmf::test
