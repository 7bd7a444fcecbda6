#include "readers/avi/AviChunks.h"

#include "framework/ByteOrder.h"

namespace qmf {
namespace {

constexpr std::uint32_t kMaxChunks = 250'000;
// Far beyond any file, far below where adding sizes could wrap.
constexpr std::uint64_t kMaxOffset = std::uint64_t{1} << 62;

}  // namespace

bool AviChunkReader::Read(std::uint64_t offset, AviChunk& chunk) {
  // The size is asked first: looking for a chunk behind the last one must not cost a read.
  if (offset > kMaxOffset || offset + AviChunk::kListHeaderSize > m_file.Size()) return false;
  if (++m_chunks > kMaxChunks || m_file.BytesRead() - m_bytesBefore > m_maxBytes) return false;
  const std::span<const std::uint8_t> bytes = m_file.View(offset, AviChunk::kListHeaderSize);
  if (bytes.size() < AviChunk::kListHeaderSize) return false;
  chunk = {offset, LoadLE32(bytes.data()), LoadLE32(bytes.data() + 4), LoadLE32(bytes.data() + 8)};
  return true;
}

}  // namespace qmf
