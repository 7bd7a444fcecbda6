#include <gtest/gtest.h>

#include <tuple>

#include "streamlib/AACHdrADTS.h"
#include "streamlib/AACHdrAudioSpecificConfig.h"
#include "streamlib/AACHdrProgramConfig.h"
#include "tests/support/AdtsWriter.h"

namespace qmf::test {
namespace {

using namespace SPL_AAC;

template <class Header>
Header Parsed(const Bytes& bytes) {
  Header header;
  const bool parsed = header.Parse(bytes.data(), static_cast<std::int32_t>(bytes.size()));
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
  const auto plain = Parsed<AACHdrADTS>(AdtsFrame());
  EXPECT_EQ(
      std::tuple(plain.IsValid(), plain.SampleRate(), plain.channel_configuration, plain.profile_ObjectType,
                 plain.frame_length, plain.adts_buffer_fullness, plain.HeaderSize(), plain.SampleCount()),
      std::tuple(true, 44100U, 2, 1, 27, 0x7FF, 7U, 1024U));
  const auto full = Parsed<AACHdrADTS>(AdtsFrame({.id = 1, .hasChecksum = true, .blocksLessOne = 3}));
  EXPECT_EQ(full.HeaderSize(), 15U);
  EXPECT_EQ(full.SampleCount(), 4096U);
  Bytes noSync = AdtsFrame();
  noSync[1] = 0xE1;
  for (const Bytes& frame :
       {AdtsFrame({.layer = 1}), AdtsFrame({.frequencyIndex = 13}), AdtsFrame({.lengthError = -21}),
        AdtsFrame({.hasChecksum = true, .payload = {}, .lengthError = -1}), Cut(AdtsFrame(), 6), Bytes(),
        noSync}) {
    EXPECT_FALSE(Parsed<AACHdrADTS>(frame).IsValid()) << testing::PrintToString(frame);
  }
}

TEST(AACHdrAudioSpecificConfig, ReadsSignalling) {
  struct Row {
    const char* name;
    Bytes config;
    std::uint32_t type, frequency, channels, samples, extension;
    bool ps;
  };
  const auto front = [](std::uint32_t type, std::uint32_t frequencyIndex, std::uint32_t channels) {
    return BitWriter().Bits(type, 5).Bits(frequencyIndex, 4).Bits(channels, 4);
  };
  constexpr std::uint32_t kSbrBehind = 0x2B7 << 10 | 5 << 5 | 1 << 4 | 3;
  const Row kRows[] = {
      {"LC 48000 stereo", {0x11, 0x90}, 2, 48000, 2, 1024, 0, false},
      {"LC 44100, 960 samples", {0x12, 0x14}, 2, 44100, 2, 960, 0, false},
      {"7.1", {0x11, 0xB8}, 2, 48000, 8, 1024, 0, false},
      {"explicit frequency", BitWriter().Bits(2, 5).Bits(15, 4).Bits(12345, 24).Bits(1, 4).Bits(0, 3).Bytes(),
       2, 12345, 1, 1024, 0, false},
      {"SBR in front", front(5, 7, 2).Bits(4, 4).Bits(2, 5).Bits(0, 3).Bytes(), 2, 22050, 2, 1024, 44100,
       false},
      {"PS in front", front(29, 7, 1).Bits(4, 4).Bits(2, 5).Bits(0, 3).Bytes(), 2, 22050, 1, 1024, 44100,
       true},
      {"SBR and PS behind", {0x13, 0x88, 0x56, 0xE5, 0x9D, 0x48, 0x80}, 2, 22050, 1, 1024, 48000, true},
      {"SBR behind, absent", {0x13, 0x88, 0x56, 0xE5, 0x00}, 2, 22050, 1, 1024, 0, false},
      {"SBR behind a scalable type's delay, layer and extension",
       front(6, 6, 1).Bits(0b01, 2).Bits(0b1'000'0, 14 + 5).Bits(kSbrBehind, 21).Bytes(), 6, 24000, 1, 1024,
       48000, false},
      {"none behind an error-resilient type", front(19, 6, 1).Bits(0b100, 3).Bits(kSbrBehind, 21).Bytes(), 19,
       24000, 1, 960, 0, false},
      {"low delay, 480 samples", front(23, 3, 2).Bits(0b100, 3).Bytes(), 23, 48000, 2, 480, 0, false},
      {"enhanced low delay", BitWriter().Bits(31, 5).Bits(7, 6).Bits(3, 4).Bits(2, 4).Bits(0, 8).Bytes(), 39,
       48000, 2, 512, 0, false},
      {"escaped type", BitWriter().Bits(31, 5).Bits(10, 6).Bits(3, 4).Bits(2, 4).Bytes(), 42, 48000, 2, 1024,
       0, false},
  };
  for (const Row& row : kRows) {
    const auto config = Parsed<AACHdrAudioSpecificConfig>(row.config);
    EXPECT_EQ(std::tuple(config.IsValid(), config.audio_object_type, config.sampling_frequency,
                         config.channels, config.samples_per_frame, config.extension_sampling_frequency,
                         config.sbr_present, config.ps_present),
              std::tuple(true, row.type, row.frequency, row.channels, row.samples, row.extension,
                         row.extension != 0, row.ps))
        << row.name;
  }
  // Nothing, a byte too few, and frequency index 13.
  for (const Bytes& config : {Bytes{}, Bytes{0x11}, Bytes{0x16, 0x90}}) {
    EXPECT_FALSE(Parsed<AACHdrAudioSpecificConfig>(config).IsValid());
  }
}

TEST(AACHdrAudioSpecificConfig, IsMadeOfAnAdtsHeaderAndItsProgramConfigElement) {
  std::uint32_t channels = 0;
  const auto make = [&](const AdtsFields& fields) {
    const Bytes frame = AdtsFrame(fields);
    const AACConfigBytes made = MakeAudioSpecificConfig(Parsed<AACHdrADTS>(frame), frame.data(),
                                                        static_cast<std::int32_t>(frame.size()), channels);
    return Bytes(made.bytes, made.bytes + made.size);
  };
  EXPECT_EQ(make({.frequencyIndex = 3, .channels = 7}), (Bytes{0x11, 0xB8}));
  EXPECT_EQ(channels, 8U);

  BitWriter block;
  block.Bits(5, 3);
  WriteProgramConfig(block);
  block.Align().Bits(1, 8).Bits('c', 8).Bits(0x20, 8);
  const Bytes config = make({.hasChecksum = true, .channels = 0, .payload = block.Bytes()});
  EXPECT_EQ(channels, 8U);
  EXPECT_EQ(Parsed<AACHdrAudioSpecificConfig>(config).channels, 8U);
  // What follows the element is found behind its alignment and comment.
  const auto extended = Parsed<AACHdrAudioSpecificConfig>(config + Bytes{0x56, 0xE5, 0x98});
  EXPECT_EQ(extended.extension_sampling_frequency, 48000U);

  EXPECT_EQ(make({.channels = 0, .payload = {0x21, 0x00}}).size(), 2U) << "another element first";
  EXPECT_EQ(channels, 0U);
}

}  // namespace
}  // namespace qmf::test
