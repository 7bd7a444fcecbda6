#include <gtest/gtest.h>

#include <bit>

#include "tests/readers/mp4/Mp4Movies.h"
#include "tests/support/H264Writer.h"

namespace qmf::test {
namespace {

Bytes AvcConfig(const Bytes& sps, std::uint32_t profile = 66) {
  AtomBuilder atoms;
  atoms.Begin("avcC").U8(1, profile, 0, 30, 0xFF, 0xE1).U16(sps.size());
  return atoms.Raw(sps).U8(1).U16(2, 0x68CE).Take();
}

Bytes MovieOfVideo(std::string_view type, const Bytes& children) {
  return MovieOf({.width = 10, .height = 10, .entry = VideoEntry(type, 720, 576, children)});
}

TEST(Mp4VideoFormat, TakesItsSizesFromEntryPixelAspectAndTrackHeader) {
  const auto aspect = [](std::uint32_t h, std::uint32_t v) {
    return AtomBuilder().Begin("pasp").U32(h, v).Take();
  };
  const Bytes plain = SpsUnit(PlainSps());  // 64 x 48
  SPL_H264::H264HdrSeqParSet fields = PlainSps();
  fields.frame_mbs_only_flag = 0;
  fields.pic_width_in_mbs_minus1 = 119;
  fields.pic_height_in_map_units_minus1 = 33;
  fields.frame_cropping_flag = 1;
  fields.frame_crop_left_offset = 1;
  fields.frame_crop_right_offset = 3;
  fields.frame_crop_bottom_offset = 2;
  const Bytes twoFields = AtomBuilder().Begin("fiel").U8(2, 9).Take();
  struct Row {
    const char* what;
    Bytes children;
    std::uint32_t trackWidth, trackHeight;
    std::array<std::uint32_t, 4> sizes;  // Width and height, both also as displayed.
    std::uint8_t interlaced = 0;
  };
  const Row rows[] = {
      {"the track header's display size", {}, 1024, 576, {720, 576, 1024, 576}},
      {"no display size at all", {}, 0, 0, {720, 576, 720, 576}},
      {"wide pixels", aspect(64, 45), 10, 10, {720, 576, 1024, 576}},
      {"tall pixels", aspect(8, 9), 10, 10, {720, 576, 720, 648}},
      {"an aspect of nothing", aspect(0, 9), 10, 10, {720, 576, 10, 10}},
      {"fields of QuickTime's", twoFields, 0, 0, {720, 576, 720, 576}, 1},
      {"an SPS of frames all the same", AvcConfig(plain) + twoFields, 0, 0, {64, 48, 64, 48}},
      {"an SPS of another size", AvcConfig(plain), 0, 0, {64, 48, 64, 48}},
      {"an SPS of fields", AvcConfig(SpsUnit(fields)), 0, 0, {1912, 1080, 1912, 1080}, 1},
      {"an SPS of another profile", AvcConfig(plain, 100), 0, 0, {720, 576, 720, 576}},
      {"an SPS that is none", AvcConfig({0x67, 1, 2}), 0, 0, {720, 576, 720, 576}},
      {"a cut configuration", Cut(AvcConfig(plain), 14), 0, 0, {720, 576, 720, 576}},
  };
  for (const Row& row : rows) {
    TrackSpec track = VideoTrack();
    track.entry = VideoEntry("avc1", 720, 576, row.children);
    track.width = row.trackWidth;
    track.height = row.trackHeight;
    StartedFile file(kMp4Module, MovieOf(track));
    const QMFVideoFormat format = file.Video();
    const std::array sizes = {format.width, format.height, format.displayWidth, format.displayHeight};
    EXPECT_EQ(sizes, row.sizes) << row.what;
    EXPECT_EQ(format.bitCount, 32U);
    EXPECT_EQ(format.imageSize, row.sizes[0] * row.sizes[1] * 4);
    EXPECT_EQ(format.kind, 1);
    EXPECT_EQ(format.interlaced, row.interlaced);
    EXPECT_EQ(file.Number(QMF_QID_MKV_IS_INTERLACED), row.interlaced);
  }
  Bytes gray = VideoEntry("rle ", 16, 16);
  for (const auto& [depth, bits] : {std::pair<std::uint8_t, std::uint32_t>(40, 8), {34, 2}, {48, 48}}) {
    gray[83] = depth;
    EXPECT_EQ(StartedFile(kMp4Module, MovieOf({.entry = gray})).Video().bitCount, bits);
  }
}

TEST(Mp4VideoFormat, NamesTheCoding) {
  const auto esds = [](std::uint8_t object) {
    return AtomBuilder().Begin("esds", 0, 0).U8(4, 13, object).Zeros(12).Take();
  };
  const Bytes protection =
      AtomBuilder().Begin("sinf").Begin("frma").Code("avc1").End().Begin("schm").Zeros(12).Take();
  const std::tuple<const char*, Bytes, FourCC> rows[] = {
      {"avc3", {}, MakeFourCC("H264")},         {"hev1", {}, MakeFourCC("hev1")},
      {"dva1", {}, MakeFourCC("H264")},         {"mp4v", esds(0x20), MakeFourCC("mp4v")},
      {"mp4v", esds(0x65), MakeFourCC("MPG2")}, {"encv", protection, MakeFourCC("H264")},
      {"jpeg", {}, MakeFourCC("MJPG")},         {"XyZ!", {}, MakeFourCC("XyZ!")},
  };
  for (const auto& [type, children, code] : rows) {
    const QMFVideoFormat format = StartedFile(kMp4Module, MovieOfVideo(type, children)).Video();
    EXPECT_EQ(format.compression, code) << type;
    EXPECT_EQ(format.handler, code) << type;
  }
}

TEST(Mp4Queries, GiveTheCodecConfigurationAndItsParameterSets) {
  const Bytes sps = SpsUnit(PlainSps());
  StartedFile file(kMp4Module, MovieOfVideo("avc1", AvcConfig(sps)));
  EXPECT_EQ(file.Number(QMF_QID_SPS_SIZE), sps.size());
  EXPECT_EQ(file.Number(QMF_QID_PPS_SIZE), 2U);
  EXPECT_EQ(file.Number(QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE), AvcConfig(sps).size() - 8);
  Bytes got(sps.size());
  EXPECT_EQ(file.FillBytes(QMF_QID_SPS_DATA, got.data(), got.size()), QMF_OK);
  EXPECT_EQ(got, sps);
  for (const std::size_t size : {std::size_t{1} << 20, (std::size_t{1} << 20) + 1}) {
    StartedFile large(kMp4Module, MovieOfVideo("avc1", AtomBuilder().Begin("avcC").Zeros(size).Take()));
    EXPECT_EQ(large.Number(QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE), size > 1U << 20 ? 0 : size);
  }
}

// An 'esds' of 128 kbit/s with long-form lengths and, as `flags` say, all optional fields.
Bytes Esds(std::uint8_t object, const Bytes& specific, std::uint8_t flags = 0xE0) {
  const Bytes optional = flags != 0 ? AtomBuilder().U16(0).U8(2).Code("xx").U16(0).Take() : Bytes{};
  AtomBuilder atoms;
  atoms.Begin("esds", 0, 0).U8(3, 0x80, 0x80, 0x80, specific.size() + 25 + optional.size());
  atoms.U16(1).U8(flags).Raw(optional).U8(4, specific.size() + 15, object, 0x15).Zeros(3);
  return atoms.U32(192'000, 128'000).U8(5, specific.size()).Raw(specific).U8(6, 1, 2).Take();
}

TEST(Mp4AudioFormat, IsThatOfTheConfigurationAndElseOfTheEntry) {
  const auto coded = [](std::string_view type, std::uint32_t rate, const Bytes& children) {
    return AudioEntry(type, 2, 16, rate, children);
  };
  const auto config = [](std::string_view type, auto... bytes) {
    return AtomBuilder().Begin(type).U8(bytes...).Take();
  };
  const auto pcm = [](double rate, std::uint32_t flags) {
    AtomBuilder fields;
    fields.U32(72).U64(std::bit_cast<std::uint64_t>(rate)).U32(6, 0x7F000000, 32, flags, 24, 1);
    return QuickTimeSound("lpcm", 2, fields.Take());
  };
  const Bytes lowComplexity = {0x12, 0x0C};           // LC, 44100 Hz, 1 channel, frames of 960 samples
  const Bytes replicated = {0x2B, 0x11, 0x88, 0x00};  // SBR over LC: 24000 to 48000 Hz, 2 channels
  AtomBuilder wave, flac, alac;
  wave.U32(1, 3, 6, 3).Begin("wave").Begin("frma").Code("mp4a").End();
  wave.Raw(Esds(0x40, lowComplexity)).U32(0, 0);
  flac.Begin("dfLa", 0, 0).U8(0x80).Number(34, 3).U16(4608, 4608).Zeros(6);
  flac.U64(std::uint64_t{88200} << 44 | std::uint64_t{5} << 41 | std::uint64_t{23} << 36).Zeros(16);
  alac.Begin("alac", 0, 0).U32(4096).U8(0, 24).Zeros(3).U8(8).U16(255).U32(0, 80'000, 192'000);
  // Format tag, channels, rate, bytes a second, block align, bits a sample and size of the configuration.
  const std::pair<Bytes, std::array<std::uint32_t, 7>> rows[] = {
      {coded("mp4a", 48000, Esds(0x40, lowComplexity)), {0xFF, 1, 44100, 16000, 960, 16, 2}},
      {coded("mp4a", 24000, Esds(0x40, replicated, 0)), {0xFF, 2, 48000, 16000, 2048, 16, 4}},
      {coded("mp4a", 32000, AtomBuilder().Begin("btrt").U32(0, 0, 64'000).Take()),
       {0xFF, 2, 32000, 8000, 1024, 16, 0}},
      {coded("mp4a", 32000, Esds(0x40, {0x12})), {0xFF, 2, 32000, 16000, 1024, 16, 1}},
      // MP3 in MPEG-4 clothes.
      {coded("mp4a", 32000, Esds(0x6B, {})), {0x55, 2, 32000, 16000, 1152, 16, 0}},
      {coded("Opus", 16000, config("dOps", 0, 6, 1, 0x38)), {0x704F, 6, 48000, 0, 960, 16, 4}},
      {coded("Opus", 16000, config("dOps", 0, 6)), {0x704F, 6, 48000, 0, 960, 16, 2}},
      {coded("Opus", 16000, config("dOps", 0)), {0x704F, 2, 48000, 0, 960, 16, 1}},
      // 2/2 channels and the low-frequency one, 448 kbit/s; then one channel of 192 kbit/s.
      {coded("ac-3", 44100, config("dac3", 0x10, 0x35, 0xE0)), {0x2000, 5, 48000, 56000, 1536, 16, 3}},
      {coded("ec-3", 44100, config("dec3", 6, 0, 0x20, 2, 0)), {0x2000, 1, 48000, 24000, 1536, 16, 5}},
      // 3/2 channels and the low-frequency one; behind them a pair, or a single one and a second
      // low-frequency one.
      {coded("ec-3", 44100, config("dec3", 12, 0, 0x20, 0xF, 2, 2)), {0x2000, 8, 48000, 48000, 1536, 16, 6}},
      {coded("ec-3", 44100, config("dec3", 12, 0, 0x20, 0xF, 3, 4)), {0x2000, 8, 48000, 48000, 1536, 16, 6}},
      {coded("ec-3", 44100, config("dec3", 12, 0, 0x20, 0xF, 0, 2)), {0x2000, 6, 48000, 48000, 1536, 16, 6}},
      {coded("fLaC", 0, flac.Take()), {0xF1AC, 6, 88200, 0, 4608, 24, 38}},
      {coded("alac", 0, alac.Take()), {0x6C61, 8, 192000, 10000, 4096, 24, 24}},
      {coded("what", 0, {}), {0, 2, 96000, 0, 1920, 16, 0}},
      // The tag of a WAVEFORMATEX.
      {AudioEntry({"ms\0\x11", 4}, 2, 4, 22050), {0x11, 2, 22050, 0, 441, 4, 0}},
      {AudioEntry("sowt", 2, 16, 44100), {1, 2, 44100, 176400, 4, 16, 0}},
      {AudioEntry("raw ", 1, 8, 11025), {1, 1, 11025, 11025, 1, 8, 0}},
      {AudioEntry("raw ", 2, 16, 11025), {1, 2, 11025, 44100, 4, 16, 0}},
      {AudioEntry("ulaw", 1, 16, 8000), {7, 1, 8000, 8000, 1, 8, 0}},
      {coded("ipcm", 48000, config("pcmC", 0, 0, 0, 0, 1, 24)), {1, 2, 48000, 288000, 6, 24, 0}},
      {QuickTimeSound("in24", 1, AtomBuilder().U32(1, 3, 6, 3).Take()), {1, 2, 48000, 288000, 6, 24, 0}},
      {QuickTimeSound("mp4a", 1, wave.Take()), {0xFF, 1, 44100, 16000, 960, 16, 2}},
      {pcm(88200, 4), {1, 6, 88200, 2116800, 24, 32, 0}},
      {pcm(88200, 1), {3, 6, 88200, 2116800, 24, 32, 0}},  // Floating point.
      {pcm(-1, 4), {1, 6, 96000, 2304000, 24, 32, 0}},
      {pcm(4294967295.75, 4), {1, 6, 96000, 2304000, 24, 32, 0}},  // One more than can be told.
  };
  const auto formatOf = [](const Bytes& entry) {
    const TrackSpec track = {.handler = "soun", .timescale = 96000, .entry = entry, .times = {{100, 1920}}};
    return StartedFile(kMp4Module, MovieOf(track)).Audio();
  };
  for (const auto& [entry, expected] : rows) {
    const QMFAudioFormat f = formatOf(entry);
    EXPECT_EQ(f.kind, 0x11);
    const std::array<std::uint32_t, 7> found = {f.formatTag,      f.channels,   f.samplesPerSec,
                                                f.avgBytesPerSec, f.blockAlign, f.bitsPerSample,
                                                f.extraSize};
    EXPECT_EQ(found, expected) << std::string(&entry[4], &entry[8]);
  }
  // The first rates of AC-3 are four to an octave.
  for (std::uint32_t code = 0; code < 17; ++code) {
    const Bytes dac3 = config("dac3", 0x10, 0x3C | code >> 3, (code & 7) << 5);
    EXPECT_EQ(formatOf(coded("ac-3", 48000, dac3)).avgBytesPerSec, (4 + code % 4) * 1000 << code / 4);
  }
}

}  // namespace
}  // namespace qmf::test
