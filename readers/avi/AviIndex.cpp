#include "readers/avi/AviIndex.h"

#include <algorithm>

#include "framework/ByteOrder.h"

namespace qmf {
namespace {

constexpr std::uint32_t kLegacyEntrySize = 16;
constexpr std::uint32_t kIsList = 0x01;
constexpr std::uint32_t kIsKeyFrame = 0x10;

constexpr std::uint32_t kSuperEntrySize = 16;
constexpr std::uint8_t kIndexOfChunks = 1;
constexpr std::uint32_t kNotKeyFrame = 0x80000000;
constexpr std::uint64_t kMaxBase = std::uint64_t{1} << 62;
constexpr std::uint64_t kMaxStandardIndexes = 8192;

// Entries that an index chunk of `size` payload bytes has room for behind its header.
std::uint64_t RoomFor(std::uint32_t size, std::uint32_t entrySize) {
  constexpr std::uint32_t kHeader = AviIndexHeader::kSize - AviChunk::kHeaderSize;
  return size < kHeader ? 0 : (size - kHeader) / entrySize;
}

}  // namespace

AviLegacyIndex::AviLegacyIndex(FileReader& file, const AviTitle& title, AviMovi& movi)
    : m_file(file), m_movi(movi), m_at(title.legacyIndexOffset + AviChunk::kHeaderSize) {
  const std::span<const std::uint8_t> header = m_file.View(title.legacyIndexOffset, AviChunk::kHeaderSize);
  if (header.size() < AviChunk::kHeaderSize) return;
  m_end = m_at + LoadLE32(header.data() + 4);
  // Offsets count from the 'movi' form or from the start of the file: writers disagree, the first entry
  // tells.
  AviIndexEntry first;
  const std::uint64_t start = m_at;
  if (!Next(first)) return;
  const std::uint64_t relative = title.moviOffset + AviChunk::kHeaderSize;
  const auto stands = [&](std::uint64_t base) {
    return movi.Holds({base + first.chunk.offset, first.chunk.size, first.chunk.place});
  };
  m_base = stands(relative) || !stands(0) ? relative : 0;
  m_at = start;
}

bool AviLegacyIndex::Next(AviIndexEntry& entry) {
  while (m_at + kLegacyEntrySize <= m_end) {
    const std::span<const std::uint8_t> bytes = m_file.View(m_at, kLegacyEntrySize);
    if (bytes.size() < kLegacyEntrySize) return false;
    m_at += kLegacyEntrySize;
    const std::optional<std::uint8_t> place = m_movi.StreamOf(LoadLE32(bytes.data()));
    const std::uint32_t flags = LoadLE32(bytes.data() + 4);
    if (!place || (flags & kIsList) != 0) continue;
    entry.chunk = {m_base + LoadLE32(bytes.data() + 8), LoadLE32(bytes.data() + 12), *place};
    entry.isKey = (flags & kIsKeyFrame) != 0;
    return true;
  }
  return false;
}

AviStreamIndex::AviStreamIndex(FileReader& file, const AviStream& stream, std::uint8_t place,
                               QMFAllocator* memory)
    : m_file(file), m_place(place), m_super(stream.index->offset + AviIndexHeader::kSize), m_buffer(memory) {
  const AviIndexHeader& header = *stream.index;
  if (header.Type() == kIndexOfChunks) {
    m_bad = !ReadStandardHeader(header.offset);
  } else {
    m_superLeft = std::min({std::uint64_t{header.EntriesInUse()}, kMaxStandardIndexes,
                            RoomFor(LoadLE32(&header.bytes[4]), kSuperEntrySize)});
  }
}

// Indexes of several streams are read in turns, so each has its own buffer.
const std::uint8_t* AviStreamIndex::Fetch(std::uint64_t offset, std::size_t count) {
  if (offset < m_bufferAt || offset - m_bufferAt + count > m_bufferFilled) {
    m_buffer.resize(FileReader::kWindowSize);
    m_bufferAt = offset;
    m_bufferFilled = m_file.ReadAt(offset, m_buffer.data(), m_buffer.size());
    if (m_bufferFilled < count) return nullptr;
  }
  return m_buffer.data() + (offset - m_bufferAt);
}

bool AviStreamIndex::ReadStandardHeader(std::uint64_t offset) {
  const std::uint8_t* const bytes = Fetch(offset, AviIndexHeader::kSize);
  if (bytes == nullptr) return false;
  AviIndexHeader header{.offset = offset};
  std::copy_n(bytes, AviIndexHeader::kSize, header.bytes.begin());
  if (header.Type() != kIndexOfChunks || header.LongsPerEntry() < 2 || header.BaseOffset() > kMaxBase) {
    return false;
  }
  m_entrySize = std::uint32_t{header.LongsPerEntry()} * 4;
  m_standard = offset + AviIndexHeader::kSize;
  m_standardLeft =
      std::min<std::uint64_t>(header.EntriesInUse(), RoomFor(LoadLE32(&header.bytes[4]), m_entrySize));
  m_base = header.BaseOffset();
  return true;
}

// Goes on to the next standard index.
bool AviStreamIndex::OpenStandard() {
  if (m_superLeft == 0) return false;
  const std::uint8_t* const entry = Fetch(m_super, kSuperEntrySize);
  m_bad = entry == nullptr || !ReadStandardHeader(LoadLE64(entry));
  m_super += kSuperEntrySize;
  --m_superLeft;
  return !m_bad;
}

bool AviStreamIndex::Next(AviIndexEntry& entry) {
  while (m_standardLeft == 0) {
    if (m_bad || !OpenStandard()) return false;
  }
  const std::uint8_t* const bytes = Fetch(m_standard, m_entrySize);
  m_bad = bytes == nullptr;
  if (m_bad) return false;
  m_standard += m_entrySize;
  --m_standardLeft;
  // Entries point behind the chunk header.
  const std::uint64_t payload = m_base + LoadLE32(bytes);
  const std::uint32_t size = LoadLE32(bytes + 4);
  entry.chunk = {payload - AviChunk::kHeaderSize, size & ~kNotKeyFrame, m_place};
  entry.isKey = (size & kNotKeyFrame) == 0;
  // Backwards, or in front of the file, would let a few indexes count as any number of blocks.
  m_bad = payload < m_atLeast + AviChunk::kHeaderSize;
  m_atLeast = entry.chunk.Next();
  return !m_bad;
}

AviOpenDmlIndex::AviOpenDmlIndex(FileReader& file, const AviTitle& title, QMFAllocator* memory)
    : m_streams(memory) {
  for (std::size_t place = 0; place < title.streams.size(); ++place) {
    const AviStream& stream = title.streams[place];
    if (!stream.index) continue;
    m_streams.push_back({AviStreamIndex(file, stream, static_cast<std::uint8_t>(place), memory), {}, false});
    m_streams.back().has = m_streams.back().index.Next(m_streams.back().next);
  }
}

bool AviOpenDmlIndex::IsWhole(const AviTitle& title) {
  return std::ranges::all_of(title.streams, [](const AviStream& stream) {
    return stream.kind == kStreamNone || stream.index.has_value();
  });
}

bool AviOpenDmlIndex::Next(AviIndexEntry& entry) {
  Stream* earliest = nullptr;
  for (Stream& stream : m_streams) {
    if (!stream.has) continue;
    if (earliest == nullptr || stream.next.chunk.offset < earliest->next.chunk.offset) earliest = &stream;
  }
  if (earliest == nullptr || IsBad()) return false;
  entry = earliest->next;
  earliest->has = earliest->index.Next(earliest->next);
  return true;
}

bool AviOpenDmlIndex::IsBad() const {
  return std::ranges::any_of(m_streams, [](const Stream& stream) { return stream.index.IsBad(); });
}

}  // namespace qmf
