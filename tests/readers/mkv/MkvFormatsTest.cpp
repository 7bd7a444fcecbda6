#include "readers/mkv/MkvFormats.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {
namespace {

Bytes Private(const Bytes& bytes) {
  return Put(E::CodecPrivate, bytes);
}

Bytes AvcPrivate(std::uint8_t profile = 100) {
  return Private({1, profile, 0, 40, 0xFF});
}

// A 640 by 480 film.
MkvFile VideoFilm(std::string_view codecId, const Bytes& more = {}) {
  return MkvFile(OneTrack(kMatroskaVideo, codecId, more + Picture(640, 480)));
}

MkvFile AudioFilm(std::string_view codecId, const Bytes& more = {}) {
  return MkvFile(OneTrack(kMatroskaAudio, codecId, more));
}

Bytes AudioGroup(double frequency, std::uint64_t channels, std::uint64_t bits) {
  return Put(E::Audio, Float(E::SamplingFrequency, frequency) + Unsigned(E::Channels, channels) +
                           Unsigned(E::BitDepth, bits));
}

template <class Record>
Bytes BytesOf(const Record& record) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&record);
  return {bytes, bytes + sizeof(record)};
}

TEST(MkvVideoFormat, FollowsTheCodec) {
  Bytes bitmapInfoHeader(40);
  bitmapInfoHeader[4] = 1;  // a width that PixelWidth overrules
  bitmapInfoHeader[14] = 12;
  std::memcpy(&bitmapInfoHeader[16], "XVID", 4);
  const FourCC qx50 = MakeFourCC("QX50");
  const FourCC h264 = MakeFourCC("H264");
  const FourCC mpg2 = MakeFourCC("MPG2");
  const FourCC xvid = MakeFourCC("XVID");
  struct Row {
    std::string_view codecId;
    Bytes more;
    QMFResult result;
    FourCC handler = 0;
    FourCC compression = 0;
    std::uint32_t bitCount = 0;
    std::uint32_t imageSize = 0;
  };
  const Row rows[] = {
      {"V_MS/VFW/FOURCC", Private(bitmapInfoHeader), QMF_OK, xvid, xvid, 12, 640 * 480 * 12 / 8},
      {"V_MS/VFW/FOURCC", Private(Cut(bitmapInfoHeader, 17)), QMF_OK, 'X', 'X', 12, 640 * 480 * 12 / 8},
      {"V_MS/VFW/FOURCC", {}, QMF_OK, 0, qx50, 0, 0},
      {"V_MPEG4/ISO/ASP", {}, QMF_OK, MakeFourCC("QIVO"), qx50, 24, 7'372'800},
      {"V_MPEG2", {}, QMF_OK, mpg2, mpg2, 24, 7'372'800},
      {"V_MPEG4/ISO/AVC", {}, QMF_OK, h264, h264, 0, 0},
      {"V_MPEG4/ISO/AVC", AvcPrivate(66), QMF_OK, h264, h264, 24, 921'600},
      {"V_MPEG4/ISO/AVC", AvcPrivate(99), QMF_FAILURE},
      {"V_MPEG4/ISO/AVC", Private({1}), QMF_FAILURE},
      {"V_MPEG4/ISO/SP", {}, QMF_ERR_CODEC_UNSUPPORTED},
      {"V_MPEG4/ISO/AP", {}, QMF_ERR_CODEC_UNSUPPORTED},
      {"V_MPEG1", {}, QMF_ERR_CODEC_UNSUPPORTED},
      {"V_THEORA", {}, QMF_ERR_CODEC_UNSUPPORTED},
      {"V_REAL/RV40", {}, QMF_ERR_CODEC_UNSUPPORTED},
      {"V_VP9", {}, QMF_ERR_CODEC_UNSUPPORTED},
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
  EXPECT_EQ(MkvFile(OneTrack(1, "V_MPEG2", Put(E::Video, Unsigned(E::PixelWidth, 640)))).Video(format),
            QMF_FAILURE);
  EXPECT_EQ(MkvFile(Segment(Put(E::Tracks, Track(1, 1, "V_MPEG2", Picture(640, 480))))).Video(format),
            QMF_FAILURE);
}

TEST(MkvVideoFormat, TakesItsRateFromDefaultDurationAndTheDisplaySizeAsItStands) {
  const Bytes display =
      Unsigned(E::FlagInterlaced, 1) + Unsigned(E::DisplayWidth, 1440) + Unsigned(E::DisplayHeight, 810);
  struct Row {
    std::string_view codecId;
    std::uint64_t defaultDuration;
    std::uint32_t rate, scale, width;
  };
  // The low bits of a long duration stay. An audio codec's row may be flagged; as video it has a rate and
  // nothing else.
  for (const Row& row : {Row{"V_MPEG2", 0, 0, 1, 640}, Row{"V_MPEG2", 0x1'0000'0002, 1'000'000'000, 2, 640},
                         Row{"A_AC3", 40'000'000, 1'000'000'000, 40'000'000, 0}}) {
    MkvFile film(OneTrack(kMatroskaVideo, row.codecId,
                          Unsigned(E::DefaultDuration, row.defaultDuration) + Picture(640, 480, display)));
    QMFVideoFormat format;
    ASSERT_EQ(film.Video(format), QMF_OK);
    EXPECT_EQ(format.kind, 0);
    EXPECT_EQ(format.rate, row.rate);
    EXPECT_EQ(format.scale, row.scale);
    EXPECT_EQ(format.width, row.width);
    EXPECT_EQ(format.height, row.width * 480 / 640);
    EXPECT_EQ(format.interlaced, row.width != 0 ? 1 : 0);
    EXPECT_EQ(format.displayWidth, row.width != 0 ? 1440U : 0U);
    EXPECT_EQ(format.displayHeight, row.width != 0 ? 810U : 0U);
  }
}

TEST(MkvVideoFormat, ReckonsHugePicturesInThirtyTwoBits) {
  QMFVideoFormat format;
  MkvFile avc(OneTrack(1, "V_MPEG4/ISO/AVC", AvcPrivate() + Picture(0x10000, 0x1000)));
  ASSERT_EQ(avc.Video(format), QMF_OK);
  EXPECT_EQ(static_cast<std::int32_t>(format.imageSize), std::numeric_limits<std::int32_t>::min() / 8);
  MkvFile mpeg2(OneTrack(1, "V_MPEG2", Picture(0x10000, 0x1000)));
  ASSERT_EQ(mpeg2.Video(format), QMF_OK);
  EXPECT_EQ(format.imageSize, 0x80000000U);
}

TEST(MkvFormats, CheckBufferAndIndexInTheirOrder) {
  MkvFile video = VideoFilm("V_MPEG2");
  MkvFile audio = AudioFilm("A_AAC");
  std::uint8_t buffer[64] = {0xEE};
  EXPECT_EQ(video.AskInto(QMF_QID_VID_STREAM_FORMAT, buffer, 47), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(video.AskInto(QMF_QID_VID_STREAM_FORMAT, nullptr, 48), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(video.AskInto(QMF_QID_VID_STREAM_FORMAT, buffer, 47, 1), QMF_ERR_INVALID_STREAM);
  EXPECT_EQ(audio.AskInto(QMF_QID_AUD_STREAM_FORMAT, buffer, 47, 9), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(audio.AskInto(QMF_QID_AUD_STREAM_FORMAT, buffer, 48, 1), QMF_FAILURE);
  EXPECT_EQ(buffer[0], 0xEE);
  // Negative when compared signed.
  EXPECT_EQ(video.AskInto(QMF_QID_VID_STREAM_FORMAT, buffer, 48, 0x80000000), QMF_FAILURE);
  EXPECT_EQ(audio.AskInto(QMF_QID_AUD_STREAM_FORMAT, buffer, 48, 0x80000000), QMF_FAILURE);
  QMFQueryData data;
  data.size = 64;
  data.pointer = buffer;
  EXPECT_EQ(video.Ask(QMF_QID_VID_STREAM_FORMAT, data), QMF_OK);
  EXPECT_EQ(data.type, kValueRecord);
  EXPECT_EQ(data.size, 48U);
}

TEST(MkvAudioFormat, DescribesTracks) {
  const Bytes frames = Unsigned(E::DefaultDuration, 21'333'333);
  const Bytes unchanneled = Put(E::Audio, Float(E::SamplingFrequency, 48000) + Unsigned(E::BitDepth, 16));
  const auto extra = [](std::size_t size) { return Private(Bytes(size, 0xAB)); };
  struct {
    std::string_view codecId;
    Bytes more;
    QMFAudioFormat expected;
    std::size_t copied = 0;
  } const rows[] = {
      {"A_AAC",
       extra(2) + frames + AudioGroup(48000, 2, 16),
       {0x11, 0xFF, 2, 48000, 0, 1024, 16, 0, 2, {}},
       2},
      {"A_VORBIS", {}, {0x11, 0x6771, 1, 8000, 0, 0, 0, 0, 0, {}}},
      {"A_PCM/INT/BIG", AudioGroup(48000, 6, 24), {0x11, 0, 6, 48000, 864'000, 18, 24, 0, 0, {}}},
      {"A_PCM/INT/LIT", AudioGroup(48000, 6, 24), {0x11, 1, 6, 48000, 864'000, 18, 24, 0, 0, {}}},
      {"A_PCM/FLOAT/IEEE", AudioGroup(48000, 6, 24), {0x11, 3, 6, 48000, 864'000, 18, 24, 0, 0, {}}},
      // The track's own channel count, none, is reckoned with; the record still says 1.
      {"A_PCM/INT/LIT", frames + unchanneled, {0x11, 1, 1, 48000, 0, 0, 16, 0, 0, {}}},
      // Absurd rates wrap in 32 bits; samples of a frame that no number holds are none.
      {"A_PCM/INT/LIT", AudioGroup(4e9, 2, 32), {0x11, 1, 2, 4'000'000'000, 861'487'104, 8, 32, 0, 0, {}}},
      {"A_AAC",
       Unsigned(E::DefaultDuration, ~0ULL) + AudioGroup(4e9, 2, 16),
       {0x11, 0xFF, 2, 4'000'000'000, 0, 0, 16, 0, 0, {}}},
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
    EXPECT_EQ(BytesOf(format), BytesOf(expected)) << row.codecId << " " << row.copied;
  }
}

TEST(MkvAudioFormat, TruncatesFrequenciesAsSinglePrecision) {
  const std::pair<double, std::uint32_t> rows[] = {
      {44100.7, 44100},
      {44099.9999999, 44100},
      {-1.5, 0xFFFFFFFF},
      {4294967296.0 + 1024.0, 1024},
      {1e30, 0},
      {std::numeric_limits<double>::infinity(), 0},
      {std::numeric_limits<double>::quiet_NaN(), 0},
  };
  for (const auto& [frequency, hertz] : rows) {
    QMFAudioFormat format;
    ASSERT_EQ(AudioFilm("A_AC3", AudioGroup(frequency, 2, 0)).Audio(format), QMF_OK);
    EXPECT_EQ(format.samplesPerSec, hertz) << frequency;
  }
}

TEST(MkvAudioFormat, TakesTheWaveFormatOfAnAcmTrack) {
  const Bytes wave = {0x55, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x80, 0x3E, 0, 0, 1, 0, 16, 0, 30, 0};
  MkvFile film = AudioFilm("A_MS/ACM", Private(wave + Bytes(30, 0xCD)));
  for (const std::uint32_t capacity : {48U, 52U, 54U, 100U}) {
    Bytes buffer(110, 0xEE);
    ASSERT_EQ(film.AskInto(QMF_QID_AUD_STREAM_FORMAT, buffer.data(), capacity), QMF_OK);
    QMFAudioFormat format;
    std::memcpy(&format, buffer.data(), sizeof(format));
    EXPECT_EQ(std::tuple(format.formatTag, format.channels, format.samplesPerSec, format.avgBytesPerSec,
                         format.blockAlign, format.bitsPerSample, format.extraSize),
              std::tuple(0x55, 2, 44100U, 16000U, 1, 16, 30));
    // As much behind offset 24 as the caller has room for.
    const auto copied = std::count(buffer.begin() + 24, buffer.end(), 0xCD);
    EXPECT_EQ(copied, std::min(30, static_cast<int>(capacity) - 24)) << capacity;
    EXPECT_EQ(std::count(buffer.begin() + 54, buffer.end(), 0xEE), 56);
  }
}

TEST(MkvAudioFormat, BelievesAnAcmHeaderNoMoreThanItHolds) {
  const Bytes lying = {0x55, 0, 2, 0, 0x44, 0xAC, 0, 0, 0, 0, 0, 0, 1, 0, 16, 0, 3, 0, 0xCD, 0xCD};
  for (const auto& [wave, channels] : {std::pair(lying, 2), {{0x55, 0, 2}, 2}, {{}, 0}}) {
    QMFAudioFormat format;
    ASSERT_EQ(AudioFilm("A_MS/ACM", Private(wave)).Audio(format), QMF_OK);
    EXPECT_EQ(format.channels, channels);
    EXPECT_EQ(format.extraSize, 0);
    EXPECT_EQ(format.extra[0], 0);
  }
}

}  // namespace
}  // namespace qmf::test
