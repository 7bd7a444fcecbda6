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

Bytes AvcPrivate(std::uint8_t profile) {
  return Private({1, profile, 0, 40, 0xFF});
}

TEST(MkvVideoFormat, FollowsCodecPictureAndDefaultDuration) {
  Bytes bitmapInfoHeader(40);
  bitmapInfoHeader[4] = 1;  // a width that PixelWidth overrules
  bitmapInfoHeader[14] = 12;
  std::memcpy(&bitmapInfoHeader[16], "XVID", 4);
  const FourCC qx50 = MakeFourCC("QX50");
  const FourCC h264 = MakeFourCC("H264");
  const FourCC mpg2 = MakeFourCC("MPG2");
  const FourCC xvid = MakeFourCC("XVID");
  const Bytes picture = Picture(640, 480);
  const Bytes display = Picture(
      640, 480,
      Unsigned(E::FlagInterlaced, 1) + Unsigned(E::DisplayWidth, 1440) + Unsigned(E::DisplayHeight, 810));
  const Bytes huge = Picture(0x10000, 0x1000);
  const auto lasting = [](std::uint64_t nanoseconds) { return Unsigned(E::DefaultDuration, nanoseconds); };
  const auto video = [](std::string_view codecId, const Bytes& more) {
    return OneTrack(kMatroskaVideo, codecId, more);
  };
  using Words = std::array<std::uint32_t, sizeof(QMFVideoFormat) / sizeof(std::uint32_t)>;
  struct {
    Bytes file;
    Words words;  // In the order of QMFVideoFormat.
    QMFResult result = QMF_OK;
  } const rows[] = {
      {video("V_MS/VFW/FOURCC", Private(bitmapInfoHeader) + picture),
       {0, 0, 1, 640, 480, 12, xvid, xvid, 460'800}},
      {video("V_MS/VFW/FOURCC", Private(Cut(bitmapInfoHeader, 17)) + picture),
       {0, 0, 1, 640, 480, 12, 'X', 'X', 460'800}},
      {video("V_MS/VFW/FOURCC", picture), {0, 0, 1, 640, 480, 0, 0, qx50}},
      {video("V_MPEG4/ISO/ASP", picture), {0, 0, 1, 640, 480, 24, MakeFourCC("QIVO"), qx50, 7'372'800}},
      {video("V_MPEG4/ISO/AVC", picture), {0, 0, 1, 640, 480, 0, h264, h264}},
      {video("V_MPEG4/ISO/AVC", AvcPrivate(66) + picture), {0, 0, 1, 640, 480, 24, h264, h264, 921'600}},
      {video("V_MPEG2", display), {0, 0, 1, 640, 480, 24, mpg2, mpg2, 7'372'800, 1, 1440, 810}},
      // The low bits of a long duration stay.
      {video("V_MPEG2", lasting(0x1'0000'0002) + picture),
       {0, 1'000'000'000, 2, 640, 480, 24, mpg2, mpg2, 7'372'800}},
      // An audio codec's row may be flagged; as video it has a rate and nothing else.
      {video("A_AC3", lasting(40'000'000) + display), {0, 1'000'000'000, 40'000'000}},
      // Sizes are reckoned in 32 bits, divided as signed.
      {video("V_MPEG4/ISO/AVC", AvcPrivate(100) + huge),
       {0, 0, 1, 0x10000, 0x1000, 24, h264, h264, 0xF0000000}},
      {video("V_MPEG2", huge), {0, 0, 1, 0x10000, 0x1000, 24, mpg2, mpg2, 0x80000000}},
      {video("V_MPEG2", Put(E::Video, Unsigned(E::PixelWidth, 640))),
       {0, 0, 0, 0, 0, 24, mpg2, mpg2},
       QMF_FAILURE},
      {video("V_MPEG4/ISO/AVC", AvcPrivate(99) + picture), {}, QMF_FAILURE},
      {video("V_MPEG4/ISO/AVC", Private({1}) + picture), {}, QMF_FAILURE},
      {video("V_MPEG4/ISO/SP", picture), {}, QMF_ERR_CODEC_UNSUPPORTED},
      {video("V_MPEG4/ISO/AP", picture), {}, QMF_ERR_CODEC_UNSUPPORTED},
      {video("V_REAL/RV40", picture), {}, QMF_ERR_CODEC_UNSUPPORTED},
      {video("V_VP9", picture), {}, QMF_ERR_CODEC_UNSUPPORTED},
      // Without segment information.
      {Segment(Put(E::Tracks, Track(1, kMatroskaVideo, "V_MPEG2", picture))), {}, QMF_FAILURE},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    Words words;
    words.fill(0xEEEEEEEE);
    EXPECT_EQ(MkvFile(rows[i].file).Fill(QMF_QID_VID_STREAM_FORMAT, words), rows[i].result) << i;
    EXPECT_EQ(words, rows[i].words) << i;
  }
}

TEST(MkvFormats, CheckBufferAndIndexInTheirOrder) {
  MkvFile film(WithClusters({}));
  std::uint8_t buffer[64] = {0xEE};
  const std::tuple<std::uint32_t, std::size_t, std::uint32_t, QMFResult> rows[] = {
      {QMF_QID_VID_STREAM_FORMAT, 47, 0, QMF_ERR_BUFFER_TOO_SMALL},
      {QMF_QID_VID_STREAM_FORMAT, 47, 1, QMF_ERR_INVALID_STREAM},
      {QMF_QID_AUD_STREAM_FORMAT, 47, 9, QMF_ERR_BUFFER_TOO_SMALL},
      {QMF_QID_AUD_STREAM_FORMAT, 48, 1, QMF_FAILURE},
      // Negative when compared signed.
      {QMF_QID_VID_STREAM_FORMAT, 48, 0x80000000, QMF_FAILURE},
      {QMF_QID_AUD_STREAM_FORMAT, 48, 0x80000000, QMF_FAILURE},
  };
  for (const auto& [qid, size, index, result] : rows) {
    EXPECT_EQ(film.FillBytes(qid, buffer, size, index), result) << std::hex << qid << " " << index;
    EXPECT_TRUE(size == 48 || buffer[0] == 0xEE);
  }
  EXPECT_EQ(film.FillBytes(QMF_QID_VID_STREAM_FORMAT, nullptr, 48), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(film.Answer(QMF_QID_VID_STREAM_FORMAT).size(), 48U);
}

Bytes AudioGroup(double frequency, std::uint64_t channels, std::uint64_t bits) {
  return Put(E::Audio, Float(E::SamplingFrequency, frequency) + Unsigned(E::Channels, channels) +
                           Unsigned(E::BitDepth, bits));
}

Bytes Wave(std::uint8_t extraSize, const Bytes& extra) {
  return Private(Bytes{0x55, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x80, 0x3E, 0, 0, 1, 0, 16, 0, extraSize, 0} + extra);
}

// From the tag to the extra size, and how many bytes of 0xAB follow.
using AudioFields = std::tuple<int, int, std::uint32_t, std::uint32_t, int, int, int, std::ptrdiff_t>;

AudioFields FieldsOf(const QMFAudioFormat& format) {
  return {
      format.formatTag,  format.channels,      format.samplesPerSec, format.avgBytesPerSec,
      format.blockAlign, format.bitsPerSample, format.extraSize,     std::ranges::count(format.extra, 0xAB)};
}

TEST(MkvAudioFormat, DescribesTracks) {
  const Bytes frames = Unsigned(E::DefaultDuration, 21'333'333);
  const Bytes unchanneled = Put(E::Audio, Float(E::SamplingFrequency, 48000) + Unsigned(E::BitDepth, 16));
  const auto extra = [](std::size_t size) { return Private(Bytes(size, 0xAB)); };
  const auto hertz = [](double frequency) { return AudioGroup(frequency, 2, 0); };
  struct {
    std::string_view codecId;
    Bytes more;
    AudioFields fields;
  } const rows[] = {
      {"A_AAC", extra(2) + frames + AudioGroup(48000, 2, 16), {0xFF, 2, 48000, 0, 1024, 16, 2, 2}},
      {"A_VORBIS", {}, {0x6771, 1, 8000, 0, 0, 0, 0, 0}},
      {"A_PCM/INT/BIG", AudioGroup(48000, 6, 24), {0, 6, 48000, 864'000, 18, 24, 0, 0}},
      {"A_PCM/INT/LIT", AudioGroup(48000, 6, 24), {1, 6, 48000, 864'000, 18, 24, 0, 0}},
      {"A_PCM/FLOAT/IEEE", AudioGroup(48000, 6, 24), {3, 6, 48000, 864'000, 18, 24, 0, 0}},
      // The track's own channel count, none, is reckoned with; the record still says 1.
      {"A_PCM/INT/LIT", frames + unchanneled, {1, 1, 48000, 0, 0, 16, 0, 0}},
      // Absurd rates wrap in 32 bits; samples of a frame that no number holds are none.
      {"A_PCM/INT/LIT", AudioGroup(4e9, 2, 32), {1, 2, 4'000'000'000, 861'487'104, 8, 32, 0, 0}},
      {"A_AAC",
       Unsigned(E::DefaultDuration, ~0ULL) + AudioGroup(4e9, 2, 16),
       {0xFF, 2, 4'000'000'000, 0, 0, 16, 0, 0}},
      // Frequencies are cut as single precision.
      {"A_AC3", hertz(44100.7), {0x2000, 2, 44100, 0, 0, 0, 0, 0}},
      {"A_AC3", hertz(44099.9999999), {0x2000, 2, 44100, 0, 0, 0, 0, 0}},
      {"A_AC3", hertz(-1.5), {0x2000, 2, 0xFFFFFFFF, 0, 0, 0, 0, 0}},
      {"A_AC3", hertz(4294967296.0 + 1024.0), {0x2000, 2, 1024, 0, 0, 0, 0, 0}},
      {"A_AC3", hertz(1e30), {0x2000, 2, 0, 0, 0, 0, 0, 0}},
      {"A_AC3", hertz(std::numeric_limits<double>::quiet_NaN()), {0x2000, 2, 0, 0, 0, 0, 0, 0}},
      // Private data of up to 21 bytes are copied.
      {"A_AC3", extra(21), {0x2000, 1, 8000, 0, 0, 0, 21, 21}},
      {"A_AC3", extra(22), {0x2000, 1, 8000, 0, 0, 0, 0, 0}},
      // A WAVEFORMATEX is believed no more than it holds.
      {"A_MS/ACM", Wave(3, {0xAB, 0xAB}), {0x55, 2, 44100, 16000, 1, 16, 0, 0}},
      {"A_MS/ACM", Private({0x55, 0, 2}), {0x55, 2, 0, 0, 0, 0, 0, 0}},
      {"A_MS/ACM", {}, {0, 0, 0, 0, 0, 0, 0, 0}},
  };
  for (const auto& row : rows) {
    QMFAudioFormat format;
    std::memset(&format, 0xDD, sizeof(format));
    ASSERT_EQ(
        MkvFile(OneTrack(kMatroskaAudio, row.codecId, row.more)).Fill(QMF_QID_AUD_STREAM_FORMAT, format),
        QMF_OK);
    EXPECT_EQ(format.kind, 0x11);
    EXPECT_EQ(FieldsOf(format), row.fields) << row.codecId << testing::PrintToString(row.fields);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&format);
    EXPECT_EQ(std::count(bytes, bytes + sizeof(format), 0xDD), 0) << "its padding reaches the caller too";
  }
}

// As much behind offset 24 as the caller has room for.
TEST(MkvAudioFormat, HandsOnWhatFollowsAWaveFormat) {
  MkvFile film(OneTrack(kMatroskaAudio, "A_MS/ACM", Wave(30, Bytes(30, 0xAB))));
  for (const std::uint32_t capacity : {48U, 52U, 54U, 100U}) {
    Bytes buffer(110, 0xEE);
    ASSERT_EQ(film.FillBytes(QMF_QID_AUD_STREAM_FORMAT, buffer.data(), capacity), QMF_OK);
    QMFAudioFormat format;
    std::memcpy(&format, buffer.data(), sizeof(format));
    EXPECT_EQ(FieldsOf(format), AudioFields(0x55, 2, 44100, 16000, 1, 16, 30, 24));
    const auto copied = std::count(buffer.begin() + 24, buffer.end(), 0xAB);
    EXPECT_EQ(copied, std::min(30, static_cast<int>(capacity) - 24)) << capacity;
    EXPECT_EQ(std::count(buffer.begin() + 54, buffer.end(), 0xEE), 56);
  }
}

}  // namespace
}  // namespace qmf::test
