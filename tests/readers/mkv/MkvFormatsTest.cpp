#include "readers/mkv/MkvFormats.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "readers/mkv/CodecTable.h"
#include "tests/readers/mkv/MkvFile.h"

namespace qmf {
namespace {

using test::EbmlBuilder;
using test::MkvFile;
using Bytes = EbmlBuilder::Bytes;

constexpr std::uint8_t kAvcPrivate[] = {1, 100, 0, 40, 0xFF};

EbmlBuilder Private(const Bytes& bytes) {
  return EbmlBuilder().Binary(Element::CodecPrivate, bytes);
}

EbmlBuilder AvcPrivate(std::uint8_t profile = 100) {
  Bytes bytes(std::begin(kAvcPrivate), std::end(kAvcPrivate));
  bytes[1] = profile;
  return Private(bytes);
}

// A 640 by 480 film of one video track.
MkvFile VideoFilm(std::string_view codecId, const EbmlBuilder& more = {}) {
  return MkvFile(test::Film(
      test::Track(1, test::kMatroskaVideo, codecId, EbmlBuilder(more).Raw(test::Picture(640, 480).Done()))));
}

MkvFile AudioFilm(std::string_view codecId, const EbmlBuilder& more = {}) {
  return MkvFile(test::Film(test::Track(1, test::kMatroskaAudio, codecId, more)));
}

EbmlBuilder AudioGroup(double frequency, std::uint64_t channels, std::uint64_t bits) {
  return EbmlBuilder().Master(Element::Audio, EbmlBuilder()
                                                  .Float(Element::SamplingFrequency, frequency)
                                                  .Unsigned(Element::Channels, channels)
                                                  .Unsigned(Element::BitDepth, bits));
}

TEST(MkvVideoFormat, DescribesAnAvcTrack) {
  const EbmlBuilder more = AvcPrivate()
                               .Unsigned(Element::DefaultDuration, 41'708'333)
                               .Raw(test::Picture(1920, 1080,
                                                  EbmlBuilder()
                                                      .Unsigned(Element::FlagInterlaced, 1)
                                                      .Unsigned(Element::DisplayWidth, 1440)
                                                      .Unsigned(Element::DisplayHeight, 810))
                                        .Done());
  MkvFile film(test::Film(test::Track(1, test::kMatroskaVideo, "V_MPEG4/ISO/AVC", more)));
  QMFVideoFormat format;
  ASSERT_EQ(film.Video(format), QMF_OK);
  EXPECT_EQ(format.kind, 0);
  EXPECT_EQ(format.rate, 1'000'000'000U);
  EXPECT_EQ(format.scale, 41'708'333U);
  EXPECT_EQ(format.width, 1920U);
  EXPECT_EQ(format.height, 1080U);
  EXPECT_EQ(format.bitCount, 24U);
  EXPECT_EQ(format.handler, MakeFourCC("H264"));
  EXPECT_EQ(format.compression, MakeFourCC("H264"));
  EXPECT_EQ(format.imageSize, 6'220'800U);
  EXPECT_EQ(format.interlaced, 1);
  EXPECT_EQ(format.displayWidth, 1440U);
  EXPECT_EQ(format.displayHeight, 810U);
}

TEST(MkvVideoFormat, FollowsTheCodec) {
  Bytes bitmapInfoHeader(40);
  bitmapInfoHeader[4] = 1;  // a width that PixelWidth overrules
  bitmapInfoHeader[14] = 12;
  bitmapInfoHeader[16] = 'X', bitmapInfoHeader[17] = 'V', bitmapInfoHeader[18] = 'I',
  bitmapInfoHeader[19] = 'D';
  struct Row {
    std::string_view codecId;
    EbmlBuilder more;
    QMFResult result;
    FourCC handler;
    FourCC compression;
    std::uint32_t bitCount;
    std::uint32_t imageSize;
  };
  const FourCC qivo = MakeFourCC("QIVO");
  const FourCC qx50 = MakeFourCC("QX50");
  const FourCC h264 = MakeFourCC("H264");
  const FourCC mpg2 = MakeFourCC("MPG2");
  const FourCC xvid = MakeFourCC("XVID");
  const Row rows[] = {
      {"V_MS/VFW/FOURCC", Private(bitmapInfoHeader), QMF_OK, xvid, xvid, 12, 640 * 480 * 12 / 8},
      {"V_MS/VFW/FOURCC", Private(Bytes(bitmapInfoHeader.begin(), bitmapInfoHeader.begin() + 17)), QMF_OK,
       'X', 'X', 12, 640 * 480 * 12 / 8},
      {"V_MS/VFW/FOURCC", {}, QMF_OK, 0, qx50, 0, 0},
      {"V_MPEG4/ISO/ASP", {}, QMF_OK, qivo, qx50, 24, 7'372'800},
      {"V_MPEG2", {}, QMF_OK, mpg2, mpg2, 24, 7'372'800},
      {"V_MPEG4/ISO/AVC", {}, QMF_OK, h264, h264, 0, 0},
      {"V_MPEG4/ISO/AVC", AvcPrivate(66), QMF_OK, h264, h264, 24, 921'600},
      {"V_MPEG4/ISO/AVC", AvcPrivate(99), QMF_FAILURE, 0, 0, 0, 0},
      {"V_MPEG4/ISO/AVC", Private({1}), QMF_FAILURE, 0, 0, 0, 0},
      {"V_MPEG4/ISO/SP", {}, QMF_ERR_CODEC_UNSUPPORTED, 0, 0, 0, 0},
      {"V_MPEG4/ISO/AP", {}, QMF_ERR_CODEC_UNSUPPORTED, 0, 0, 0, 0},
      {"V_MPEG1", {}, QMF_ERR_CODEC_UNSUPPORTED, 0, 0, 0, 0},
      {"V_THEORA", {}, QMF_ERR_CODEC_UNSUPPORTED, 0, 0, 0, 0},
      {"V_REAL/RV40", {}, QMF_ERR_CODEC_UNSUPPORTED, 0, 0, 0, 0},
      {"V_VP9", {}, QMF_ERR_CODEC_UNSUPPORTED, 0, 0, 0, 0},
  };
  for (const Row& row : rows) {
    MkvFile film = VideoFilm(row.codecId, row.more);
    QMFVideoFormat format;
    EXPECT_EQ(film.Video(format), row.result) << row.codecId;
    EXPECT_EQ(format.handler, row.handler) << row.codecId;
    EXPECT_EQ(format.compression, row.compression) << row.codecId;
    EXPECT_EQ(format.bitCount, row.bitCount) << row.codecId;
    EXPECT_EQ(format.imageSize, row.imageSize) << row.codecId;
    EXPECT_EQ(format.width, row.result == QMF_OK ? 640U : 0U) << row.codecId;
  }
}

TEST(MkvVideoFormat, NeedsAPictureSizeAndInformation) {
  QMFVideoFormat format;
  const EbmlBuilder widthOnly =
      EbmlBuilder().Master(Element::Video, EbmlBuilder().Unsigned(Element::PixelWidth, 640));
  MkvFile flat(test::Film(test::Track(1, 1, "V_MPEG2", widthOnly)));
  EXPECT_EQ(flat.Video(format), QMF_FAILURE);
  MkvFile uninformed(test::Header().Master(
      Element::Segment,
      EbmlBuilder().Master(Element::Tracks, test::Track(1, 1, "V_MPEG2", test::Picture(640, 480)))));
  EXPECT_EQ(uninformed.Video(format), QMF_FAILURE);
}

TEST(MkvVideoFormat, HasNoRateWithoutDefaultDurationAndKeepsTheLowBitsOfALongOne) {
  struct Row {
    std::string_view codecId;
    std::uint64_t defaultDuration;
    std::uint32_t rate;
    std::uint32_t scale;
    std::uint32_t width;
  };
  // An audio codec's row may be flagged; as video it has a rate and nothing else.
  for (const Row& row : {Row{"V_MPEG2", 0, 0, 1, 640}, Row{"V_MPEG2", 0x1'0000'0002, 1'000'000'000, 2, 640},
                         Row{"A_AC3", 40'000'000, 1'000'000'000, 40'000'000, 0}}) {
    MkvFile film =
        VideoFilm(row.codecId, EbmlBuilder().Unsigned(Element::DefaultDuration, row.defaultDuration));
    QMFVideoFormat format;
    ASSERT_EQ(film.Video(format), QMF_OK);
    EXPECT_EQ(format.rate, row.rate);
    EXPECT_EQ(format.scale, row.scale);
    EXPECT_EQ(format.width, row.width);
  }
}

TEST(MkvVideoFormat, ReckonsHugePicturesInThirtyTwoBits) {
  const auto film = [](std::string_view codecId, const EbmlBuilder& more) {
    return test::Film(
        test::Track(1, 1, codecId, EbmlBuilder(more).Raw(test::Picture(0x10000, 0x1000).Done())));
  };
  QMFVideoFormat format;
  MkvFile avc(film("V_MPEG4/ISO/AVC", AvcPrivate()));
  ASSERT_EQ(avc.Video(format), QMF_OK);
  EXPECT_EQ(static_cast<std::int32_t>(format.imageSize), std::numeric_limits<std::int32_t>::min() / 8);
  MkvFile mpeg2(film("V_MPEG2", {}));
  ASSERT_EQ(mpeg2.Video(format), QMF_OK);
  EXPECT_EQ(format.imageSize, 0x80000000U);
}

TEST(MkvVideoFormat, ChecksIndexBeforeBuffer) {
  MkvFile film = VideoFilm("V_MPEG2");
  std::uint8_t buffer[64] = {0xEE};
  const auto ask = [&](std::uint32_t size, void* pointer, std::uint32_t index) {
    QMFQueryData data;
    data.size = size;
    data.pointer = pointer;
    return film.Ask(QMF_QID_VID_STREAM_FORMAT, data, index);
  };
  EXPECT_EQ(ask(47, buffer, 0), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(ask(48, nullptr, 0), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(ask(47, buffer, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(buffer[0], 0xEE);
  EXPECT_EQ(ask(48, buffer, 0x80000000), QMF_FAILURE);  // negative when compared signed
  QMFQueryData data;
  data.size = 64;
  data.pointer = buffer;
  EXPECT_EQ(film.Ask(QMF_QID_VID_STREAM_FORMAT, data), QMF_OK);
  EXPECT_EQ(data.type, kValueRecord);
  EXPECT_EQ(data.size, 48U);
}

TEST(MkvAudioFormat, DescribesTracks) {
  const EbmlBuilder frames = EbmlBuilder().Unsigned(Element::DefaultDuration, 21'333'333);
  const EbmlBuilder unchanneled = EbmlBuilder().Master(
      Element::Audio, EbmlBuilder().Float(Element::SamplingFrequency, 48000).Unsigned(Element::BitDepth, 16));
  const auto extra = [](std::size_t size) { return Private(Bytes(size, 0xAB)); };
  struct {
    std::string_view codecId;
    EbmlBuilder more;
    QMFAudioFormat expected;
    std::size_t copied = 0;
  } const rows[] = {
      {"A_AAC",
       Private({0xAB, 0xAB}).Raw(frames.Done()).Raw(AudioGroup(48000, 2, 16).Done()),
       {0x11, 0xFF, 2, 48000, 0, 1024, 16, 0, 2, {}},
       2},
      {"A_VORBIS", {}, {0x11, 0x6771, 1, 8000, 0, 0, 0, 0, 0, {}}},
      {"A_PCM/INT/BIG", AudioGroup(48000, 6, 24), {0x11, 0, 6, 48000, 864'000, 18, 24, 0, 0, {}}},
      {"A_PCM/INT/LIT", AudioGroup(48000, 6, 24), {0x11, 1, 6, 48000, 864'000, 18, 24, 0, 0, {}}},
      {"A_PCM/FLOAT/IEEE", AudioGroup(48000, 6, 24), {0x11, 3, 6, 48000, 864'000, 18, 24, 0, 0, {}}},
      // The track's own channel count, none, is reckoned with; the record still says 1.
      {"A_PCM/INT/LIT", EbmlBuilder(frames).Raw(unchanneled.Done()), {0x11, 1, 1, 48000, 0, 0, 16, 0, 0, {}}},
      // Private data of up to 21 bytes are copied.
      {"A_AC3", extra(21), {0x11, 0x2000, 1, 8000, 0, 0, 0, 0, 21, {}}, 21},
      {"A_AC3", extra(22), {0x11, 0x2000, 1, 8000, 0, 0, 0, 0, 0, {}}},
      {"A_AC3", extra(5000), {0x11, 0x2000, 1, 8000, 0, 0, 0, 0, 0, {}}},
  };
  for (const auto& row : rows) {
    MkvFile film = AudioFilm(row.codecId, row.more);
    QMFAudioFormat format;
    ASSERT_EQ(film.Audio(format), QMF_OK);
    QMFAudioFormat expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.kind = row.expected.kind;
    std::memcpy(&expected.formatTag, &row.expected.formatTag,
                sizeof(expected) - offsetof(QMFAudioFormat, formatTag));
    std::memset(expected.extra, 0xAB, row.copied);
    const auto bytes = [](const QMFAudioFormat& of) {
      return Bytes(reinterpret_cast<const std::uint8_t*>(&of),
                   reinterpret_cast<const std::uint8_t*>(&of + 1));
    };
    EXPECT_EQ(bytes(format), bytes(expected)) << row.codecId << " " << row.copied;
  }
}

TEST(MkvAudioFormat, TruncatesFrequenciesAsSinglePrecision) {
  struct Row {
    double frequency;
    std::uint32_t hertz;
  };
  const Row rows[] = {
      {44100.7, 44100},
      {44099.9999999, 44100},
      {-1.5, 0xFFFFFFFF},
      {4294967296.0 + 1024.0, 1024},
      {1e30, 0},
      {std::numeric_limits<double>::infinity(), 0},
      {std::numeric_limits<double>::quiet_NaN(), 0},
  };
  for (const Row& row : rows) {
    MkvFile film = AudioFilm("A_AC3", AudioGroup(row.frequency, 2, 0));
    QMFAudioFormat format;
    ASSERT_EQ(film.Audio(format), QMF_OK);
    EXPECT_EQ(format.samplesPerSec, row.hertz) << row.frequency;
  }
}

TEST(MkvAudioFormat, TakesTheWaveFormatOfAnAcmTrack) {
  Bytes wave = {0x55, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x80, 0x3E, 0, 0, 1, 0, 16, 0, 30, 0};
  wave.insert(wave.end(), 30, 0xCD);
  MkvFile film = AudioFilm("A_MS/ACM", Private(wave));
  for (const std::uint32_t capacity : {48U, 52U, 54U, 100U}) {
    Bytes buffer(110, 0xEE);
    QMFQueryData data;
    data.size = capacity;
    data.pointer = buffer.data();
    ASSERT_EQ(film.Ask(QMF_QID_AUD_STREAM_FORMAT, data), QMF_OK);
    EXPECT_EQ(data.size, capacity);
    QMFAudioFormat format;
    std::memcpy(&format, buffer.data(), sizeof(format));
    EXPECT_EQ(format.formatTag, 0x55);
    EXPECT_EQ(format.channels, 2);
    EXPECT_EQ(format.samplesPerSec, 44100U);
    EXPECT_EQ(format.avgBytesPerSec, 16000U);
    EXPECT_EQ(format.blockAlign, 1);
    EXPECT_EQ(format.bitsPerSample, 16);
    EXPECT_EQ(format.extraSize, 30);
    // As much behind offset 24 as the caller has room for.
    const auto copied = std::count(buffer.begin() + 24, buffer.end(), 0xCD);
    EXPECT_EQ(copied, std::min<std::ptrdiff_t>(30, capacity - 24)) << capacity;
    EXPECT_EQ(std::count(buffer.begin() + 54, buffer.end(), 0xEE), 56);
  }
}

TEST(MkvAudioFormat, BelievesAnAcmHeaderNoMoreThanItHolds) {
  const Bytes lying = {0x55, 0, 2, 0, 0x44, 0xAC, 0, 0, 0, 0, 0, 0, 1, 0, 16, 0, 3, 0, 0xCD, 0xCD};
  struct Row {
    Bytes wave;
    std::uint16_t channels;
  };
  for (const Row& row : {Row{lying, 2}, Row{{0x55, 0, 2}, 2}, Row{{}, 0}}) {
    MkvFile film = AudioFilm("A_MS/ACM", Private(row.wave));
    QMFAudioFormat format;
    ASSERT_EQ(film.Audio(format), QMF_OK);
    EXPECT_EQ(format.channels, row.channels);
    EXPECT_EQ(format.extraSize, 0);
    EXPECT_EQ(format.extra[0], 0);
  }
}

TEST(MkvAudioFormat, ChecksBufferBeforeIndex) {
  MkvFile film = AudioFilm("A_AAC");
  QMFAudioFormat format;
  const auto ask = [&](std::uint32_t size, std::uint32_t index) {
    QMFQueryData data;
    data.size = size;
    data.pointer = &format;
    return film.Ask(QMF_QID_AUD_STREAM_FORMAT, data, index);
  };
  EXPECT_EQ(ask(47, 9), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(ask(48, 1), QMF_FAILURE);
  EXPECT_EQ(ask(48, 0x80000000), QMF_FAILURE);
}

}  // namespace
}  // namespace qmf
