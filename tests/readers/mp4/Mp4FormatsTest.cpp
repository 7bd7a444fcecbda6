#include <gtest/gtest.h>

#include "tests/readers/mp4/Mp4Movies.h"
#include "tests/support/H264Writer.h"

namespace qmf::test {
namespace {

TrackSpec Track(std::string_view handler, Bytes entry) {
  TrackSpec track;
  track.handler = handler;
  track.entry = std::move(entry);
  return track;
}

Bytes Atom(std::string_view type, const Bytes& payload) {
  return AtomBuilder().Begin(type).Raw(payload).End().Take();
}

Bytes AvcConfig(const Bytes& sps, std::uint32_t profile = 66) {
  AtomBuilder atoms;
  atoms.Begin("avcC").U8(1).U8(profile).U8(0).U8(30).U8(0xFF).U8(0xE1).U16(
      static_cast<std::uint32_t>(sps.size()));
  return atoms.Raw(sps).U8(1).U16(2).U16(0x68CE).End().Take();
}

// 64 x 48 by its SPS.
Bytes PlainAvcConfig() {
  return AvcConfig(SpsUnit(PlainSps()));
}

TEST(Mp4VideoFormat, TakesItsSizesFromEntryPixelAspectAndTrackHeader) {
  struct Row {
    const char* what;
    Bytes children;
    std::uint32_t trackWidth, trackHeight;
    std::uint32_t width, height, displayWidth, displayHeight;
  };
  const auto aspect = [](std::uint32_t h, std::uint32_t v) {
    return AtomBuilder().Begin("pasp").U32(h).U32(v).End().Take();
  };
  const Row rows[] = {
      {"the track header's display size", {}, 1024, 576, 720, 576, 1024, 576},
      {"no display size at all", {}, 0, 0, 720, 576, 720, 576},
      {"wide pixels", aspect(64, 45), 10, 10, 720, 576, 1024, 576},
      {"tall pixels", aspect(8, 9), 10, 10, 720, 576, 720, 648},
      {"an aspect of nothing", aspect(0, 9), 10, 10, 720, 576, 10, 10},
      {"an SPS of another size", PlainAvcConfig(), 0, 0, 64, 48, 64, 48},
      {"an SPS of another profile", AvcConfig(SpsUnit(PlainSps()), 100), 0, 0, 720, 576, 720, 576},
      {"an SPS that is none", AvcConfig({0x67, 1, 2}), 0, 0, 720, 576, 720, 576},
      {"a cut configuration", Atom("avcC", {1, 66, 0, 30, 0xFF, 0xE1}), 0, 0, 720, 576, 720, 576},
  };
  for (const Row& row : rows) {
    TrackSpec track = Track("vide", VideoEntry("avc1", 720, 576, row.children));
    track.width = row.trackWidth;
    track.height = row.trackHeight;
    StartedFile file(kMp4Module, MovieOf(track));
    ASSERT_EQ(file.result, QMF_OK);
    const QMFVideoFormat format = file.Video();
    EXPECT_EQ(std::pair(format.width, format.height), std::pair(row.width, row.height)) << row.what;
    EXPECT_EQ(std::pair(format.displayWidth, format.displayHeight),
              std::pair(row.displayWidth, row.displayHeight))
        << row.what;
    EXPECT_EQ(format.bitCount, 24U);
    EXPECT_EQ(format.imageSize, row.width * row.height * 3);
    EXPECT_EQ(format.kind, 1);
    EXPECT_EQ(format.interlaced, 0);
  }
}

TEST(Mp4VideoFormat, FollowsAFieldCodedSps) {
  SPL_H264::H264HdrSeqParSet sps = PlainSps();
  sps.frame_mbs_only_flag = 0;
  sps.pic_width_in_mbs_minus1 = 119;
  sps.pic_height_in_map_units_minus1 = 33;
  sps.frame_cropping_flag = 1;
  sps.frame_crop_bottom_offset = 2;
  StartedFile file(kMp4Module, MovieOf(Track("vide", VideoEntry("avc1", 0, 0, AvcConfig(SpsUnit(sps))))));
  ASSERT_EQ(file.result, QMF_OK);
  EXPECT_EQ(file.Video().width, 1920U);
  EXPECT_EQ(file.Video().height, 1080U);
  EXPECT_EQ(file.Video().interlaced, 1);
  EXPECT_EQ(file.Number(QMF_QID_MKV_IS_INTERLACED), 1U);
}

TEST(Mp4VideoFormat, NamesTheCoding) {
  const auto esds = [](std::uint8_t object) {
    return AtomBuilder().Begin("esds", 0, 0).U8(4).U8(13).U8(object).Zeros(12).End().Take();
  };
  const Bytes protection =
      AtomBuilder().Begin("sinf").Begin("frma").Code("avc1").End().Begin("schm").Zeros(12).End().End().Take();
  const std::tuple<const char*, Bytes, FourCC> rows[] = {
      {"avc3", {}, MakeFourCC("H264")},         {"hev1", {}, MakeFourCC("hev1")},
      {"mp4v", esds(0x20), MakeFourCC("mp4v")}, {"mp4v", esds(0x61), MakeFourCC("MPG2")},
      {"encv", protection, MakeFourCC("H264")}, {"jpeg", {}, MakeFourCC("MJPG")},
      {"XyZ!", {}, MakeFourCC("XyZ!")},
  };
  for (const auto& [type, children, code] : rows) {
    StartedFile file(kMp4Module, MovieOf(Track("vide", VideoEntry(type, 64, 48, children))));
    ASSERT_EQ(file.result, QMF_OK);
    EXPECT_EQ(file.Video().compression, code) << type;
    EXPECT_EQ(file.Video().handler, code) << type;
  }
}

TEST(Mp4Queries, GiveTheCodecConfigurationAndItsParameterSets) {
  StartedFile file(kMp4Module, MovieOf(Track("vide", VideoEntry("avc1", 64, 48, PlainAvcConfig()))));
  ASSERT_EQ(file.result, QMF_OK);
  const Bytes sps = SpsUnit(PlainSps());
  EXPECT_EQ(file.Number(QMF_QID_SPS_SIZE), sps.size());
  EXPECT_EQ(file.Number(QMF_QID_PPS_SIZE), 2U);
  EXPECT_EQ(file.Number(QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE), PlainAvcConfig().size() - 8);
  Bytes got(sps.size());
  EXPECT_EQ(file.FillBytes(QMF_QID_SPS_DATA, got.data(), got.size()), QMF_OK);
  EXPECT_EQ(got, sps);
  for (const std::size_t size : {std::size_t{1} << 20, (std::size_t{1} << 20) + 1}) {
    const Bytes config = AtomBuilder().Begin("avcC").Zeros(size).End().Take();
    StartedFile large(kMp4Module, MovieOf(Track("vide", VideoEntry("avc1", 64, 48, config))));
    EXPECT_EQ(large.Number(QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE), size > 1U << 20 ? 0 : size);
  }
}

struct AudioRow {
  const char* what;
  Bytes entry;
  std::uint16_t tag, channels;
  std::uint32_t rate, bytesPerSecond;
  std::uint16_t align, bits, extra;
};

void ExpectAudio(const AudioRow& row) {
  TrackSpec track = Track("soun", row.entry);
  track.timescale = 96000;
  track.times = {{100, 1920}};
  StartedFile file(kMp4Module, MovieOf(track));
  ASSERT_EQ(file.result, QMF_OK) << row.what;
  const QMFAudioFormat f = file.Audio();
  EXPECT_EQ(f.kind, 0x11) << row.what;
  EXPECT_EQ(std::tuple(f.formatTag, f.channels, f.samplesPerSec, f.avgBytesPerSec, f.blockAlign,
                       f.bitsPerSample, f.extraSize),
            std::tuple(row.tag, row.channels, row.rate, row.bytesPerSecond, row.align, row.bits, row.extra))
      << row.what;
}

// An 'esds' with all optional fields, long-form lengths and 128 kbit/s.
Bytes Esds(std::uint8_t object, const Bytes& specific) {
  AtomBuilder atoms;
  const auto size = static_cast<std::uint32_t>(specific.size());
  atoms.Begin("esds", 0, 0).U8(3).U8(0x80).U8(0x80).U8(0x80).U8(size + 32);
  atoms.U16(1).U8(0xE0).U16(0).U8(2).Code("xx").U16(0);
  atoms.U8(4).U8(size + 15).U8(object).U8(0x15).Zeros(3).U32(192'000).U32(128'000);
  return atoms.U8(5).U8(size).Raw(specific).U8(6).U8(1).U8(2).End().Take();
}

TEST(Mp4AudioFormat, OfAacIsThatOfTheAudioSpecificConfig) {
  const Bytes lowComplexity = {0x12, 0x10};           // LC, 44100 Hz, 2 channels
  const Bytes replicated = {0x2B, 0x11, 0x88, 0x00};  // SBR over LC: 24000 to 48000 Hz, 2 channels
  const AudioRow rows[] = {
      {"LC", AudioEntry("mp4a", 1, 16, 48000, Esds(0x40, lowComplexity)), 0xFF, 2, 44100, 16000, 1024, 16, 2},
      {"SBR", AudioEntry("mp4a", 2, 16, 24000, Esds(0x40, replicated)), 0xFF, 2, 48000, 16000, 2048, 16, 4},
      {"no descriptor", AudioEntry("mp4a", 2, 16, 32000), 0xFF, 2, 32000, 0, 1024, 16, 0},
      {"a config cut short", AudioEntry("mp4a", 2, 16, 32000, Esds(0x40, {0x12})), 0xFF, 2, 32000, 16000,
       1024, 16, 1},
      {"MP3 in MPEG-4 clothes", AudioEntry("mp4a", 2, 16, 32000, Esds(0x6B, {})), 0x55, 2, 32000, 16000, 1152,
       16, 0},
  };
  for (const AudioRow& row : rows) ExpectAudio(row);
}

TEST(Mp4AudioFormat, ReadsTheConfigurationsOfOtherCodings) {
  const Bytes opus = Atom("dOps", {0, 6, 1, 0x38, 0, 0, 0x3E, 0x80, 0, 0, 0});
  const Bytes ac3 = Atom("dac3", {0x10, 0x3D, 0xE0});  // 48000 Hz, 3/2 and LFE, 448 kbit/s
  const Bytes eac3 = Atom("dec3", {0x06, 0x00, 0x20, 0x0F, 0x00});
  AtomBuilder flac;
  flac.Begin("dfLa", 0, 0).U8(0x80).Number(34, 3).U16(4608).U16(4608).Zeros(6);
  flac.U64(std::uint64_t{96000} << 44 | std::uint64_t{5} << 41 | std::uint64_t{23} << 36).Zeros(16).End();
  AtomBuilder alac;
  alac.Begin("alac", 0, 0).U32(4096).U8(0).U8(24).Zeros(3).U8(8).U16(255).U32(0);
  alac.U32(80'000).U32(192'000).End();
  const AudioRow rows[] = {
      {"Opus", AudioEntry("Opus", 2, 16, 16000, opus), 0x704F, 6, 48000, 0, 960, 16, 11},
      {"Opus, two bytes", AudioEntry("Opus", 2, 16, 16000, Atom("dOps", {0, 6})), 0x704F, 6, 48000, 0, 960,
       16, 2},
      {"Opus, one", AudioEntry("Opus", 2, 16, 16000, Atom("dOps", {0})), 0x704F, 2, 48000, 0, 960, 16, 1},
      {"AC-3", AudioEntry("ac-3", 2, 16, 44100, ac3), 0x2000, 6, 48000, 56000, 1536, 16, 3},
      {"E-AC-3", AudioEntry("ec-3", 2, 16, 44100, eac3), 0x2000, 6, 48000, 24000, 1536, 16, 5},
      {"FLAC", AudioEntry("fLaC", 2, 16, 0, flac.Take()), 0xF1AC, 6, 96000, 0, 4608, 24, 38},
      {"ALAC", AudioEntry("alac", 2, 16, 0, alac.Take()), 0x6C61, 8, 192000, 10000, 4096, 24, 24},
      {"an unknown coding", AudioEntry("qqqq", 2, 16, 0), 0, 2, 96000, 0, 1920, 16, 0},
      {"a WAVEFORMATEX tag", AudioEntry({"ms\0\x11", 4}, 2, 4, 22050), 0x0011, 2, 22050, 0, 441, 4, 0},
  };
  for (const AudioRow& row : rows) ExpectAudio(row);
}

// QuickTime sound descriptions of version 1 and 2.
Bytes SoundEntry(std::string_view type, std::uint32_t version, std::uint32_t flags, const Bytes& children) {
  AtomBuilder atoms;
  atoms.Begin(type).Zeros(6).U16(1).U16(version).Zeros(6).U16(2).U16(16).U16(0xFFFE).U16(0).U32(48000U << 16);
  if (version == 1) atoms.U32(1).U32(3).U32(6).U32(3);
  if (version == 2) {
    atoms.U32(72).U64(0x40F7700000000000).U32(6).U32(0x7F000000).U32(32).U32(flags).U32(24).U32(1);
  }
  return atoms.Raw(children).End().Take();
}

TEST(Mp4AudioFormat, ReadsQuickTimeSoundDescriptions) {
  AtomBuilder wave;
  wave.Begin("wave").Begin("frma").Code("mp4a").End().Raw(Esds(0x40, {0x12, 0x10})).U32(0).U32(0).End();
  const AudioRow rows[] = {
      {"little-endian", AudioEntry("sowt", 2, 16, 44100), 1, 2, 44100, 176400, 4, 16, 0},
      {"8 bits", AudioEntry("raw ", 1, 8, 11025), 1, 1, 11025, 11025, 1, 8, 0},
      {"mu-law", AudioEntry("ulaw", 1, 16, 8000), 7, 1, 8000, 8000, 1, 8, 0},
      {"24 bits, version 1", SoundEntry("in24", 1, 0, {}), 1, 2, 48000, 288000, 6, 24, 0},
      {"AAC in 'wave'", SoundEntry("mp4a", 1, 0, wave.Take()), 0xFF, 2, 44100, 16000, 1024, 16, 2},
      {"version 2, integers", SoundEntry("lpcm", 2, 4, {}), 1, 6, 96000, 2304000, 24, 32, 0},
      {"version 2, floating point", SoundEntry("lpcm", 2, 1, {}), 3, 6, 96000, 2304000, 24, 32, 0},
      {"ISO's PCM", AudioEntry("ipcm", 2, 16, 48000, Atom("pcmC", {0, 0, 0, 0, 1, 24})), 1, 2, 48000, 288000,
       6, 24, 0},
  };
  for (const AudioRow& row : rows) ExpectAudio(row);
}

}  // namespace
}  // namespace qmf::test
