#include "readers/avi/AviMovi.h"

#include <algorithm>

#include "framework/ByteOrder.h"

namespace qmf {
namespace {

constexpr FourCC TwoLetters(char first, char second) {
  return static_cast<std::uint8_t>(first) | FourCC{static_cast<std::uint8_t>(second)} << 8;
}
constexpr FourCC kPaletteChange = TwoLetters('p', 'c');
constexpr FourCC kIndexPart = TwoLetters('i', 'x');
// What follows the stream's number in the id of a block: pictures, sound and texts.
constexpr FourCC kBlockSuffixes[] = {TwoLetters('d', 'c'), TwoLetters('d', 'b'), TwoLetters('w', 'b'),
                                     TwoLetters('t', 'x'), TwoLetters('s', 'b')};

// Most bytes of garbage behind which a list is taken up again, and how many are looked at together.
constexpr std::uint64_t kMaxResync = 1 << 20;
constexpr std::size_t kResyncStep = 512;

// Ids are printable; anything else is not the start of a chunk.
bool IsPlausible(FourCC id) {
  for (int shift = 0; shift < 32; shift += 8) {
    const FourCC letter = id >> shift & 0xFF;
    if (letter < ' ' || letter > '~') return false;
  }
  return true;
}

constexpr unsigned Digit(FourCC id, int place) {
  return (id >> (8 * place) & 0xFF) - '0';
}

}  // namespace

AviMovi::AviMovi(FileReader& file, const AviTitle& title, QMFAllocator* memory)
    : m_file(file), m_pieces(memory), m_nextExtension(title.extensionsOffset), m_chain(file, UINT64_MAX) {
  m_places.fill(-1);
  for (std::size_t i = title.streams.size(); i > 0; --i) {
    const AviStream& stream = title.streams[i - 1];
    if (stream.kind == kStreamNone || stream.ordinal >= m_places.size()) continue;
    m_places[stream.ordinal] = static_cast<std::int8_t>(i - 1);
  }
  AddPiece(title.moviOffset, title.moviSize);
}

std::optional<std::uint8_t> AviMovi::StreamOf(FourCC id) const {
  const unsigned tens = Digit(id, 0);
  const unsigned ones = Digit(id, 1);
  const FourCC suffix = id >> 16;
  if (tens > 9 || ones > 9 || suffix == kPaletteChange || suffix == kIndexPart) return std::nullopt;
  const std::int8_t place = m_places[10 * tens + ones];
  return place < 0 ? std::nullopt : std::optional(static_cast<std::uint8_t>(place));
}

void AviMovi::AddPiece(std::uint64_t listOffset, std::uint32_t listSize) {
  const std::uint64_t begin = listOffset + AviChunk::kListHeaderSize;
  const std::uint64_t end = listOffset + AviChunk::kHeaderSize + listSize;
  if (begin < end && (m_pieces.empty() || m_pieces.back().end <= begin))
    m_pieces.push_back({.begin = begin, .end = end});
}

// The next RIFF of the chain; false when there is none.
bool AviMovi::AddExtension() {
  AviChunk riff;
  if (m_nextExtension == 0 || !m_chain.Read(m_nextExtension, riff) || !IsAviExtension(riff)) {
    m_nextExtension = 0;
    return false;
  }
  AviChunk child;
  for (std::uint64_t at = riff.Children(); at < riff.End() && m_chain.Read(at, child); at = child.Next()) {
    if (child.id == kFccList && child.form == kFccMovi) AddPiece(child.offset, child.size);
  }
  m_nextExtension = riff.Next();  // Last: whoever runs out of memory before comes here again.
  return true;
}

// The first list that ends behind `position`.
AviMovi::Piece* AviMovi::FindPiece(std::uint64_t position) {
  for (;;) {
    const auto found = std::ranges::upper_bound(m_pieces, position, {}, &Piece::end);
    if (found != m_pieces.end()) return &*found;
    if (!AddExtension()) return nullptr;
  }
}

bool AviMovi::Next(std::uint64_t& position, AviMediaChunk& chunk) {
  while (Piece* const piece = FindPiece(position)) {
    position = std::max(position, piece->begin);
    while (position < piece->end) {
      std::optional<AviMediaChunk> found;
      if (!Step(position, *piece, found) && !Resync(position, *piece)) position = piece->end;
      if (!found) continue;
      chunk = *found;
      return true;
    }
  }
  return false;
}

// Whether `bytes`, which stand at `offset`, begin with the header of a known stream's block that the list can
// hold.
bool AviMovi::StartsBlock(std::span<const std::uint8_t> bytes, std::uint64_t offset,
                          const Piece& piece) const {
  if (bytes.size() < AviChunk::kHeaderSize) return false;
  const AviChunk chunk = {offset, LoadLE32(bytes.data()), LoadLE32(bytes.data() + 4), 0};
  const bool isBlock = std::ranges::find(kBlockSuffixes, chunk.id >> 16) != std::end(kBlockSuffixes);
  return isBlock && StreamOf(chunk.id) && chunk.End() <= piece.end;
}

// Moves to the next header of a known stream's block that the list can hold. Whoever asks again where there
// is none does not search again; but a file that ends there may have grown.
bool AviMovi::Resync(std::uint64_t& position, Piece& piece) {
  if (position == piece.lostAt) return false;
  const std::uint64_t limit = std::min(position + kMaxResync, piece.end);
  for (std::uint64_t at = position + 1; at < limit;) {
    const std::span<const std::uint8_t> bytes = m_file.View(at, kResyncStep);
    if (bytes.size() < AviChunk::kHeaderSize) return false;
    const std::size_t headers = bytes.size() - AviChunk::kHeaderSize + 1;
    for (std::size_t i = 0; i < headers && at + i < limit; ++i) {
      if (!StartsBlock(bytes.subspan(i), at + i, piece)) continue;
      position = at + i;
      return true;
    }
    at += headers;
  }
  piece.lostAt = position;
  return false;
}

// Moves over one chunk, or into a list of chunks; false where the list cannot be followed any further.
bool AviMovi::Step(std::uint64_t& position, const Piece& piece, std::optional<AviMediaChunk>& found) {
  // Some writers leave out pad bytes. No id is another one's without its first letter.
  if (position > piece.begin &&
      StartsBlock(m_file.View(position - 1, AviChunk::kHeaderSize), position - 1, piece)) {
    --position;
  }
  const std::span<const std::uint8_t> bytes = m_file.View(position, AviChunk::kListHeaderSize);
  if (bytes.size() < AviChunk::kHeaderSize) return false;
  const AviChunk chunk = {position, LoadLE32(bytes.data()), LoadLE32(bytes.data() + 4),
                          bytes.size() < AviChunk::kListHeaderSize ? 0 : LoadLE32(bytes.data() + 8)};
  if (!IsPlausible(chunk.id)) return false;
  if (chunk.id == kFccList && chunk.form == kFccRec) {
    position = chunk.Children();
    return true;
  }
  const std::optional<std::uint8_t> place = StreamOf(chunk.id);
  const std::uint64_t there = m_file.Size();
  if (chunk.End() > std::max(piece.end, there)) return false;
  // Of a file that was cut off, the last block is what is left of it.
  const std::uint64_t size = std::min(chunk.End(), there) - std::min(chunk.Payload(), there);
  if (place) found = AviMediaChunk{position, static_cast<std::uint32_t>(size), *place};
  position = chunk.Next();
  return true;
}

bool AviMovi::Holds(const AviMediaChunk& chunk) {
  std::uint64_t position = chunk.offset;
  const Piece* const piece = FindPiece(position);
  std::optional<AviMediaChunk> found;
  return piece != nullptr && position >= piece->begin && Step(position, *piece, found) && found == chunk;
}

}  // namespace qmf
