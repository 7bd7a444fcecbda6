#include "readers/avi/AviChunks.h"

#include "framework/ByteOrder.h"

namespace qmf {
namespace {

constexpr std::uint32_t kMaxChunks = 250'000;

}  // namespace

bool AviChunkReader::Read(std::uint64_t offset, AviChunk& chunk) {
  if (++m_chunks > kMaxChunks || m_file.BytesRead() - m_bytesBefore > m_maxBytes) return false;
  const std::span<const std::uint8_t> bytes = m_file.View(offset, AviChunk::kListHeaderSize);
  if (bytes.size() < AviChunk::kListHeaderSize) return false;
  chunk = {offset, LoadLE32(bytes.data()), LoadLE32(bytes.data() + 4), LoadLE32(bytes.data() + 8)};
  return true;
}

}  // namespace qmf
