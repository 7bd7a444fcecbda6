#pragma once

#include <array>
#include <cstdint>
#include <memory_resource>
#include <optional>
#include <span>
#include <vector>

#include "framework/Allocator.h"
#include "framework/ByteOrder.h"
#include "framework/FourCC.h"
#include "framework/QueryIds.h"

namespace qmf {

/// Streams of a title that are read; further ones are counted and otherwise ignored.
inline constexpr std::uint32_t kMaxAviVideoStreams = 1;
inline constexpr std::uint32_t kMaxAviAudioStreams = 8;
inline constexpr std::uint32_t kMaxAviSubtitleStreams = 8;
inline constexpr std::uint32_t kMaxAviStreams =
    kMaxAviVideoStreams + kMaxAviAudioStreams + kMaxAviSubtitleStreams;

/// The 'avih' payload (AVIMAINHEADER), byte for byte.
struct AviMainHeader {
  std::array<std::uint8_t, 56> bytes{};

  std::uint32_t TotalFrames() const { return LoadLE32(&bytes[16]); }
  std::uint32_t SuggestedBufferSize() const { return LoadLE32(&bytes[28]); }
};

/// The 'strh' chunk from its chunk header on (AVISTREAMHEADER), byte for byte. Times count in units of
/// scale / rate seconds.
struct AviStreamHeader {
  std::array<std::uint8_t, 64> bytes{};

  FourCC Type() const { return LoadLE32(&bytes[8]); }
  FourCC Handler() const { return LoadLE32(&bytes[12]); }
  std::uint32_t Scale() const { return LoadLE32(&bytes[28]); }
  std::uint32_t Rate() const { return LoadLE32(&bytes[32]); }
  std::uint32_t Start() const { return LoadLE32(&bytes[36]); }
  std::uint32_t Length() const { return LoadLE32(&bytes[40]); }
  /// Bytes of one unit for streams of constant bit rate; 0 when each block is one unit.
  std::uint32_t SampleSize() const { return LoadLE32(&bytes[52]); }
};

/// The first 40 bytes of a video 'strf' (BITMAPINFOHEADER); palette and codec data are not read.
struct AviVideoFormat {
  std::array<std::uint8_t, 40> bytes{};

  std::uint32_t Width() const { return LoadLE32(&bytes[4]); }
  std::uint32_t Height() const { return LoadLE32(&bytes[8]); }
  std::uint16_t BitCount() const { return LoadLE16(&bytes[14]); }
  FourCC Compression() const { return LoadLE32(&bytes[16]); }
  std::uint32_t ImageSize() const { return LoadLE32(&bytes[20]); }
  std::uint32_t XPixelsPerMetre() const { return LoadLE32(&bytes[24]); }
  std::uint32_t YPixelsPerMetre() const { return LoadLE32(&bytes[28]); }
};

/// An audio 'strf' (WAVEFORMATEX) with at most 22 bytes of extra data.
struct AviAudioFormat {
  static constexpr std::uint32_t kBasicSize = 16;
  static constexpr std::uint32_t kExtraOffset = 18;
  static constexpr std::uint32_t kMaxExtra = 22;

  std::array<std::uint8_t, kExtraOffset + kMaxExtra> bytes{};

  std::uint16_t FormatTag() const { return LoadLE16(bytes.data()); }
  std::uint16_t Channels() const { return LoadLE16(&bytes[2]); }
  std::uint32_t SamplesPerSec() const { return LoadLE32(&bytes[4]); }
  std::uint32_t AvgBytesPerSec() const { return LoadLE32(&bytes[8]); }
  std::uint16_t BlockAlign() const { return LoadLE16(&bytes[12]); }
  std::uint16_t BitsPerSample() const { return LoadLE16(&bytes[14]); }
  /// As the file says it, also when there are no extra bytes here.
  std::uint16_t ExtraSize() const { return LoadLE16(&bytes[16]); }
  std::span<const std::uint8_t, kMaxExtra> Extra() const {
    return std::span(bytes).subspan<kExtraOffset, kMaxExtra>();
  }
};

/// The head of an 'indx' chunk (OpenDML AVI File Format Extensions 1.02).
struct AviIndexHeader {
  static constexpr std::uint32_t kSize = 32;  ///< With the chunk header; the entries follow.

  std::uint64_t offset = 0;  ///< Of the chunk.
  std::array<std::uint8_t, kSize> bytes{};

  std::uint16_t LongsPerEntry() const { return LoadLE16(&bytes[8]); }
  std::uint8_t Type() const { return bytes[11]; }
  std::uint32_t EntriesInUse() const { return LoadLE32(&bytes[12]); }
  std::uint64_t BaseOffset() const { return LoadLE64(&bytes[20]); }
};

/// Where reading of one stream stands.
struct AviStreamSlot {
  bool active = false;         ///< Delivered by ReadNextBlock.
  std::uint64_t position = 0;  ///< File offset from which the next block is looked for; 0: from the start.
  std::uint64_t count = 0;     ///< What came before it, in the unit of AviStream::CountOf.
};

/// One admitted stream.
struct AviStream {
  QMFStreamKind kind = kStreamNone;
  /// Place among all stream lists of the file, also those that are ignored; data chunks carry it.
  std::uint16_t ordinal = 0;
  AviStreamHeader header;
  AviVideoFormat video;  ///< Video and subtitles.
  AviAudioFormat audio;
  std::optional<AviIndexHeader> index;
  AviStreamSlot read;

  /// How a stream counts its blocks: audio of constant bit rate by bytes, everything else by blocks. An empty
  /// chunk is a frame that was left out of the video, but nothing at all in audio.
  bool CountsBytes() const { return kind == kStreamAudio && header.SampleSize() != 0; }
  std::uint64_t CountOf(std::uint32_t blockSize) const {
    if (CountsBytes()) return blockSize;
    return kind == kStreamAudio && blockSize == 0 ? 0 : 1;
  }
};

/// What one title's header walk learned.
struct AviTitle {
  explicit AviTitle(QMFAllocator* memory) : names(memory), protection1(memory), protection2(memory) {}

  AviMainHeader mainHeader;
  std::array<AviStream, kMaxAviStreams> streams{};
  std::pmr::vector<std::pmr::vector<std::uint8_t>> names;  ///< 'strn' by place in `streams`; may be shorter.
  bool hasVideo = false;
  /// Counted when the stream headers are complete.
  std::uint16_t admittedAudio = 0;
  std::uint16_t admittedSubtitles = 0;
  /// All stream headers met, admitted or not, by kind of stream; they wrap.
  std::array<std::uint16_t, 4> met{};
  std::uint64_t moviOffset = 0;  ///< Of the LIST.
  std::uint32_t moviSize = 0;
  bool hasIndex = false;                ///< Of either kind.
  std::uint64_t legacyIndexOffset = 0;  ///< Of the 'idx1' chunk; 0 when there is none.
  bool hasOpenDmlIndex = false;         ///< Any 'indx' was met.
  std::uint32_t superIndexEntries = 0;  ///< Of the video stream, or else of the first stream that has one.
  std::uint64_t extensionsOffset = 0;   ///< Of the first AVI 2.0 'AVIX' RIFF; 0 when there is none.
  std::pmr::vector<std::uint8_t> protection1;
  std::pmr::vector<std::uint8_t> protection2;

  AviStream& Video() { return streams[0]; }
  const AviStream& Video() const { return streams[0]; }
  std::span<AviStream> Audio() { return std::span(streams).subspan<1, kMaxAviAudioStreams>(); }
  std::span<const AviStream> Audio() const { return std::span(streams).subspan<1, kMaxAviAudioStreams>(); }
  std::span<AviStream> Subtitles() { return std::span(streams).last<kMaxAviSubtitleStreams>(); }
  std::span<const AviStream> Subtitles() const { return std::span(streams).last<kMaxAviSubtitleStreams>(); }
};

}  // namespace qmf
