#pragma once

#include <cstddef>
#include <cstdint>

#include "framework/FourCC.h"

namespace qmf {

/// The argument of GetInfo and SetInfo.
struct QMFQueryData {
  /// The caller sets 0; the callee writes the value kind of its answer.
  std::uint8_t type = 0;
  /// For kinds 0xA and 0xB the capacity of the caller's buffer, in bytes.
  std::uint32_t size = 0;
  union {
    /// Kinds 0x1 to 0x8; narrower values occupy the low bytes.
    std::uint64_t value = 0;
    /// Kinds 0xA and 0xB: the caller's buffer.
    void* pointer;
  };
};
static_assert(sizeof(QMFQueryData) == 16 && offsetof(QMFQueryData, size) == 4 &&
              offsetof(QMFQueryData, value) == 8);

/// Answer of QMF_QID_VID_STREAM_FORMAT: 48 bytes, little-endian. Lengths in pixels.
struct QMFVideoFormat {
  std::uint8_t kind;
  std::uint32_t rate;   ///< Frame-rate numerator.
  std::uint32_t scale;  ///< Frame-rate denominator; 0 when the rate is unknown.
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t bitCount;
  FourCC handler;
  FourCC compression;
  std::uint32_t imageSize;  ///< As the module reports it.
  std::uint8_t interlaced;  ///< 1 when the stream is not frame-only.
  std::uint32_t displayWidth;
  std::uint32_t displayHeight;
};
static_assert(sizeof(QMFVideoFormat) == 48 && offsetof(QMFVideoFormat, rate) == 4 &&
              offsetof(QMFVideoFormat, scale) == 8);
static_assert(offsetof(QMFVideoFormat, width) == 12 && offsetof(QMFVideoFormat, height) == 16);
static_assert(offsetof(QMFVideoFormat, bitCount) == 20 && offsetof(QMFVideoFormat, handler) == 24);
static_assert(offsetof(QMFVideoFormat, compression) == 28 && offsetof(QMFVideoFormat, imageSize) == 32);
static_assert(offsetof(QMFVideoFormat, interlaced) == 36 && offsetof(QMFVideoFormat, displayWidth) == 40);
static_assert(offsetof(QMFVideoFormat, displayHeight) == 44);

/// Answer of QMF_QID_AUD_STREAM_FORMAT: 48 bytes, little-endian.
struct QMFAudioFormat {
  std::uint8_t kind;
  std::uint16_t formatTag;  ///< WAVEFORMATEX format tag.
  std::uint16_t channels;
  std::uint32_t samplesPerSec;   ///< Hz.
  std::uint32_t avgBytesPerSec;  ///< Bytes a second.
  std::uint16_t blockAlign;      ///< PCM: bytes of one sample of all channels; else samples per frame.
  std::uint16_t bitsPerSample;
  std::uint16_t reserved;
  std::uint16_t
      extraSize;  ///< Codec-specific bytes that the stream has, kept in full even when `extra` is smaller.
  std::uint8_t extra[24];
};
static_assert(sizeof(QMFAudioFormat) == 48 && offsetof(QMFAudioFormat, formatTag) == 2);
static_assert(offsetof(QMFAudioFormat, channels) == 4 && offsetof(QMFAudioFormat, samplesPerSec) == 8);
static_assert(offsetof(QMFAudioFormat, avgBytesPerSec) == 12 && offsetof(QMFAudioFormat, blockAlign) == 16);
static_assert(offsetof(QMFAudioFormat, bitsPerSample) == 18 && offsetof(QMFAudioFormat, reserved) == 20);
static_assert(offsetof(QMFAudioFormat, extraSize) == 22 && offsetof(QMFAudioFormat, extra) == 24);

/// Answer of QMF_QID_SUB_STREAM_FORMAT: the first 36 bytes of the video record's layout.
struct QMFSubtitleFormat {
  std::uint8_t kind;
  std::uint32_t rate;
  std::uint32_t scale;
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t bitCount;
  FourCC handler;
  FourCC compression;
  std::uint32_t imageSize;
};
static_assert(sizeof(QMFSubtitleFormat) == 36);

/// Answer of QMF_QID_GET_TITLE_MEDIA_PROP.
struct QMFTitleMediaProp {
  std::uint8_t flags;
  std::uint16_t counts[3];
};
static_assert(sizeof(QMFTitleMediaProp) == 8 && offsetof(QMFTitleMediaProp, counts) == 2);

/// The stream-kind numbering of the entry points. 4 counts as subtitle and 5 as video when streams are
/// counted.
enum QMFBlockType : std::uint32_t {
  kBlockAudio = 1,
  kBlockVideo = 2,
  kBlockSubtitle = 3,
  kBlockSubtitleAlternate = 4,
  kBlockVideoAlternate = 5,
};

/// One media block. The caller gives `data` and `capacity`; the module fills the rest.
struct QMFBlock {
  enum KeyState : std::uint8_t { kUnknown = 0, kNotKey = 1, kKey = 2 };

  std::uint8_t* data = nullptr;
  std::uint32_t size = 0;      ///< Bytes delivered; 0 on every failure.
  std::uint32_t capacity = 0;  ///< Bytes at `data`.
  /// Bytes the block needs. When it exceeds `capacity` the call fails with QMF_ERR_BLOCK_BUFFER_TOO_SMALL and
  /// the position stays, so that the caller can come back with a larger buffer.
  std::uint32_t required = 0;
  KeyState key = kUnknown;             ///< Whether decoding can start here, where the module knows.
  std::int64_t compositionOffset = 0;  ///< Presentation minus decoding time, 100-ns units.
  std::int64_t endTime = 0;            ///< End of presentation, 100-ns units; 0 when unknown.
  std::int64_t time = 0;               ///< Start, 100-ns units.
};

}  // namespace qmf
