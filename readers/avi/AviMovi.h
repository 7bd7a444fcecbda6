#pragma once

#include <array>
#include <cstdint>
#include <memory_resource>
#include <optional>
#include <vector>

#include "readers/avi/AviChunks.h"
#include "readers/avi/AviTitle.h"

namespace qmf {

/// One block of an admitted stream. Offsets are absolute, in bytes.
struct AviMediaChunk {
  std::uint64_t offset = 0;  ///< Of the chunk header.
  std::uint32_t size = 0;    ///< Of the payload.
  std::uint8_t place = 0;    ///< Of the stream in AviTitle::streams.

  std::uint64_t Payload() const { return offset + AviChunk::kHeaderSize; }
  std::uint64_t Next() const { return Payload() + size + (size & 1); }
  friend bool operator==(const AviMediaChunk&, const AviMediaChunk&) = default;
};

/// The media chunks of a title in file order: those of its 'movi' list and of the lists of its AVI 2.0
/// extensions, whose chain is followed as far as it is read.
class AviMovi {
 public:
  AviMovi(FileReader& file, const AviTitle& title, QMFAllocator* memory);

  /// Finds the first block of an admitted stream that starts at or behind `position`, or one byte in front
  /// where the pad byte before it is missing, and moves `position` behind it. False at the end of the data.
  /// Garbage, and a chunk that neither its list nor the file can hold, is passed over as far as the next
  /// block within 1 MiB; where there is none the list ends.
  bool Next(std::uint64_t& position, AviMediaChunk& chunk);

  /// Whether the file has this block, in the same place and of the same size.
  bool Holds(const AviMediaChunk& chunk);

  /// The stream that a data chunk's id names, as its place in AviTitle::streams.
  std::optional<std::uint8_t> StreamOf(FourCC id) const;

 private:
  struct Piece {
    std::uint64_t begin;
    std::uint64_t end;
    std::uint64_t lostAt = UINT64_MAX;  ///< Where garbage begins behind which no block was found.
  };

  void AddPiece(std::uint64_t listOffset, std::uint32_t listSize);
  bool AddExtension();
  /// Valid until the next is looked for.
  Piece* FindPiece(std::uint64_t position);
  bool StartsBlock(std::span<const std::uint8_t> bytes, std::uint64_t offset, const Piece& piece) const;
  bool Resync(std::uint64_t& position, Piece& piece);
  bool Step(std::uint64_t& position, const Piece& piece, std::optional<AviMediaChunk>& found);

  FileReader& m_file;
  std::array<std::int8_t, 100> m_places{};  ///< By ordinal; -1 for streams that are not admitted.
  std::pmr::vector<Piece> m_pieces;         ///< In file order.
  std::uint64_t m_nextExtension;            ///< 0 when there are no more.
  AviChunkReader m_chain;
};

}  // namespace qmf
