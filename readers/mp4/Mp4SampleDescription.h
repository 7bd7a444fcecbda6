#pragma once

#include <array>
#include <cstdint>

#include "readers/mp4/Mp4AtomReader.h"

namespace qmf {

/// What the decoder-configuration descriptor of an 'esds' atom says (ISO/IEC 14496-1).
struct CMP4ElementaryStreamAtom {
  std::uint8_t objectType = 0;  ///< objectTypeIndication; 0 without the atom.
  std::uint32_t maxBitrate = 0;
  std::uint32_t avgBitrate = 0;  ///< Bits a second.
};

/// Decoder configuration: which atom gave it and where its bytes lie, without version and flags. Its first
/// bytes are kept, which is all of most: when formats are asked for, the file's window is elsewhere.
struct CMP4CodecConfig {
  static constexpr std::uint32_t kKept = 128;

  FourCC type = 0;
  std::uint64_t begin = 0;
  std::uint32_t size = 0;  ///< At most kMaxSize; a longer one is left out.
  static constexpr std::uint64_t kMaxSize = 1U << 20;
  std::array<std::uint8_t, kKept> front{};

  bool IsKept() const { return size <= kKept; }
};

/// The first entry of 'stsd': the coding that a track's samples have.
struct CMP4SampleDescription {
  FourCC format = 0;  ///< The entry's type; for protected entries that of the coding behind the protection.
  std::uint16_t dataReference = 0;  ///< 1-based index into 'dref'.

  std::uint16_t width = 0;  ///< Pixels.
  std::uint16_t height = 0;
  std::uint16_t depth = 0;             ///< Bits a pixel.
  std::uint32_t pixelAspectWidth = 0;  ///< 'pasp'; 0 without one.
  std::uint32_t pixelAspectHeight = 0;
  bool interlaced = false;  ///< QuickTime's 'fiel' counts two fields a frame.

  std::uint32_t channels = 0;
  std::uint32_t bitsPerSample = 0;
  std::uint32_t sampleRate = 0;        ///< Hz; 0 where the entry cannot say.
  std::uint32_t samplesPerPacket = 0;  ///< QuickTime's constant-rate packets; 0 when the entry has none.
  std::uint32_t bytesPerPacket = 0;    ///< Bytes of such a packet, all channels.
  std::uint32_t linearPcmFlags = 0;    ///< Of 'lpcm': 1 floating point, 2 big-endian, 4 signed.
  bool littleEndian = false;           ///< 'enda' or 'pcmC' says so.

  std::uint32_t bitrate = 0;  ///< 'btrt', average bits a second.
  CMP4ElementaryStreamAtom elementaryStream;
  CMP4CodecConfig config;
};

/// Reads the first entry of an 'stsd' atom of a track whose handler is `handler`. False when there is none.
bool ReadSampleDescription(const CMP4Atom& stsd, FourCC handler, CMP4SampleDescription& description);

}  // namespace qmf
