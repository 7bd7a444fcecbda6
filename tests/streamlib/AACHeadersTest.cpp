#include <gtest/gtest.h>

#include <tuple>

#include "streamlib/AACHdrADTS.h"
#include "streamlib/AACHdrAudioSpecificConfig.h"
#include "streamlib/AACHdrProgramConfig.h"
#include "tests/support/AdtsWriter.h"

namespace qmf::test {
namespace {

using namespace SPL_AAC;

AACHdrADTS ParsedFrame(const Bytes& frame) {
  AACHdrADTS header;
  const bool parsed = header.Parse(frame.data(), static_cast<std::int32_t>(frame.size()));
  EXPECT_EQ(parsed, header.IsValid());
  return header;
}

AACHdrAudioSpecificConfig ParsedConfig(const Bytes& config) {
  AACHdrAudioSpecificConfig header;
  const bool parsed = header.Parse(config.data(), static_cast<std::int32_t>(config.size()));
  EXPECT_EQ(parsed, header.IsValid());
  return header;
}

// A layout of three front, two side and two back channels and a low-frequency one, as tag and elements.
void WriteProgramConfig(BitWriter& w) {
  w.Bits(1, 4).Bits(1, 2).Bits(4, 4).Bits(2, 4).Bits(1, 4).Bits(1, 4).Bits(1, 2).Bits(1, 3).Bits(2, 4);
  w.Bits(0, 1).Bits(1, 1).Bits(3, 4).Bits(1, 1).Bits(5, 3);
  w.Bits(0, 1).Bits(0, 4).Bits(1, 1).Bits(0, 4);  // front: one, two
  w.Bits(1, 1).Bits(1, 4).Bits(1, 1).Bits(2, 4);  // side, back
  w.Bits(0, 4).Bits(0, 4).Bits(0, 5).Bits(1, 5);  // low frequency, data, coupling
}

TEST(AACHdrADTS, ReadsTheHeader) {
  const AACHdrADTS plain = ParsedFrame(AdtsFrame());
  EXPECT_TRUE(plain.IsValid());
  EXPECT_EQ(
      std::tuple(plain.SampleRate(), plain.channel_configuration, plain.profile_ObjectType,
                 plain.frame_length, plain.adts_buffer_fullness, plain.HeaderSize(), plain.SampleCount()),
      std::tuple(44100U, 2, 1, 27, 0x7FF, 7U, 1024U));
  const AACHdrADTS full = ParsedFrame(AdtsFrame({.id = 1, .hasChecksum = true, .blocksLessOne = 3}));
  EXPECT_EQ(full.HeaderSize(), 15U);
  EXPECT_EQ(full.SampleCount(), 4096U);
}

TEST(AACHdrADTS, RefusesWhatIsNoHeader) {
  EXPECT_FALSE(ParsedFrame(AdtsFrame({.layer = 1})).IsValid());
  EXPECT_FALSE(ParsedFrame(AdtsFrame({.frequencyIndex = 13})).IsValid());
  EXPECT_FALSE(ParsedFrame(AdtsFrame({.lengthError = -21})).IsValid());
  EXPECT_FALSE(ParsedFrame(AdtsFrame({.hasChecksum = true, .payload = {}, .lengthError = -1})).IsValid());
  Bytes frame = AdtsFrame();
  EXPECT_FALSE(ParsedFrame(Bytes(frame.begin(), frame.begin() + 6)).IsValid());
  EXPECT_FALSE(ParsedFrame({}).IsValid());
  frame[1] = 0xE1;
  EXPECT_FALSE(ParsedFrame(frame).IsValid());
}

TEST(AACHdrAudioSpecificConfig, ReadsSignalling) {
  struct Row {
    const char* name;
    Bytes config;
    std::uint32_t type, frequency, channels, samples, extension;
    bool ps;
  };
  const Row kRows[] = {
      {"LC 48000 stereo", {0x11, 0x90}, 2, 48000, 2, 1024, 0, false},
      {"LC 44100, 960 samples", {0x12, 0x14}, 2, 44100, 2, 960, 0, false},
      {"7.1", {0x11, 0xB8}, 2, 48000, 8, 1024, 0, false},
      {"explicit frequency", BitWriter().Bits(2, 5).Bits(15, 4).Bits(12345, 24).Bits(1, 4).Bits(0, 3).Bytes(),
       2, 12345, 1, 1024, 0, false},
      {"SBR in front", BitWriter().Bits(5, 5).Bits(7, 4).Bits(2, 4).Bits(4, 4).Bits(2, 5).Bits(0, 3).Bytes(),
       2, 22050, 2, 1024, 44100, false},
      {"PS in front", BitWriter().Bits(29, 5).Bits(7, 4).Bits(1, 4).Bits(4, 4).Bits(2, 5).Bits(0, 3).Bytes(),
       2, 22050, 1, 1024, 44100, true},
      {"SBR and PS behind", {0x13, 0x88, 0x56, 0xE5, 0x9D, 0x48, 0x80}, 2, 22050, 1, 1024, 48000, true},
      {"SBR behind, absent", {0x13, 0x88, 0x56, 0xE5, 0x00}, 2, 22050, 1, 1024, 0, false},
      {"escaped type", BitWriter().Bits(31, 5).Bits(10, 6).Bits(3, 4).Bits(2, 4).Bytes(), 42, 48000, 2, 1024,
       0, false},
  };
  for (const Row& row : kRows) {
    const AACHdrAudioSpecificConfig config = ParsedConfig(row.config);
    EXPECT_TRUE(config.IsValid()) << row.name;
    EXPECT_EQ(std::tuple(config.audio_object_type, config.sampling_frequency, config.channels,
                         config.samples_per_frame, config.extension_sampling_frequency, config.sbr_present,
                         config.ps_present),
              std::tuple(row.type, row.frequency, row.channels, row.samples, row.extension,
                         row.extension != 0, row.ps))
        << row.name;
  }
  EXPECT_FALSE(ParsedConfig({}).IsValid());
  EXPECT_FALSE(ParsedConfig({0x11}).IsValid());
  EXPECT_FALSE(ParsedConfig({0x16, 0x90}).IsValid());  // frequency index 13
}

TEST(AACHdrAudioSpecificConfig, IsMadeOfAnAdtsHeader) {
  std::uint32_t channels = 0;
  const Bytes frame = AdtsFrame({.frequencyIndex = 3, .channels = 7});
  const AACConfigBytes config = MakeAudioSpecificConfig(ParsedFrame(frame), frame.data(),
                                                        static_cast<std::int32_t>(frame.size()), channels);
  EXPECT_EQ(Bytes(config.bytes, config.bytes + config.size), (Bytes{0x11, 0xB8}));
  EXPECT_EQ(channels, 8U);
}

TEST(AACHdrAudioSpecificConfig, TakesTheChannelsFromAProgramConfigElement) {
  BitWriter block;
  block.Bits(5, 3);
  WriteProgramConfig(block);
  block.Align().Bits(1, 8).Bits('c', 8).Bits(0x20, 8);
  const Bytes frame = AdtsFrame({.hasChecksum = true, .channels = 0, .payload = block.Bytes()});
  std::uint32_t channels = 0;
  const AACConfigBytes made = MakeAudioSpecificConfig(ParsedFrame(frame), frame.data(),
                                                      static_cast<std::int32_t>(frame.size()), channels);
  EXPECT_EQ(channels, 8U);
  Bytes written(made.bytes, made.bytes + made.size);
  EXPECT_EQ(ParsedConfig(written).channels, 8U);
  // What follows the element is found behind its alignment and comment.
  for (const int byte : {0x56, 0xE5, 0x98}) written.push_back(static_cast<std::uint8_t>(byte));
  EXPECT_EQ(ParsedConfig(written).extension_sampling_frequency, 48000U);

  const Bytes silent = AdtsFrame({.channels = 0, .payload = {0x21, 0x00}});  // another element first
  const AACConfigBytes bare = MakeAudioSpecificConfig(ParsedFrame(silent), silent.data(),
                                                      static_cast<std::int32_t>(silent.size()), channels);
  EXPECT_EQ(channels, 0U);
  EXPECT_EQ(bare.size, 2U);
}

}  // namespace
}  // namespace qmf::test
