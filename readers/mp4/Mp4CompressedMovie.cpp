#include "readers/mp4/Mp4CompressedMovie.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <vector>

namespace qmf {
namespace {

using Bytes = std::pmr::vector<std::uint8_t>;

// Blocks of the deflated stream: each may bring tables, which cost more than the few bytes that they take.
// Compressors end a block after thousands of symbols; this many of 512 bytes make the largest movie.
constexpr std::uint32_t kMaxBlocks = kMaxInflatedMovie / 512;

// Bytes in memory as a file that owns them.
class OwnedSource : public FileSource {
 public:
  explicit OwnedSource(Bytes&& bytes) : m_bytes(std::move(bytes)), m_view(m_bytes) {}
  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    return m_view.ReadAt(offset, destination, count);
  }
  std::uint64_t Size() const noexcept override { return m_bytes.size(); }

 private:
  const Bytes m_bytes;
  MemoryFileSource m_view;
};

// zlib's stream, ended when it goes.
class Inflater {
 public:
  Inflater() { m_ready = inflateInit(&m_stream) == Z_OK; }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater() {
    if (m_ready) inflateEnd(&m_stream);
  }

  bool Ready() const { return m_ready; }

  // Appends what `input` inflates to, up to `most` bytes in all. False on bad data, when there is more, and
  // past kMaxBlocks. Each turn ends with a block at the latest.
  bool Feed(std::span<const std::uint8_t> input, std::size_t most, Bytes& out) {
    m_stream.next_in = const_cast<Bytef*>(input.data());
    m_stream.avail_in = static_cast<uInt>(input.size());
    do {
      std::array<std::uint8_t, 16384> part;
      m_stream.next_out = part.data();
      m_stream.avail_out = static_cast<uInt>(part.size());
      const int result = inflate(&m_stream, Z_BLOCK);
      if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return false;
      const std::size_t made = part.size() - m_stream.avail_out;
      if (made > most - out.size()) return false;
      out.insert(out.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(made));
      m_ended = result == Z_STREAM_END;
      constexpr int kAtEndOfBlock = 128;
      if ((m_stream.data_type & kAtEndOfBlock) != 0 && ++m_blocks > kMaxBlocks) return false;
    } while (!m_ended && (m_stream.avail_in > 0 || m_stream.avail_out == 0));
    return true;
  }

  bool Ended() const { return m_ended; }

 private:
  z_stream m_stream{};
  bool m_ready = false;
  bool m_ended = false;
  std::uint32_t m_blocks = 0;
};

}  // namespace

QMFResult InflateMovie(FileReader& file, const CMP4Bytes& compressed, std::pmr::memory_resource* memory,
                       std::shared_ptr<FileReader>& inflated) {
  constexpr std::uint64_t kSizeField = 4;
  Inflater inflater;
  if (!inflater.Ready()) return QMF_OUT_OF_MEMORY;
  if (compressed.size < kSizeField) return QMF_ERR_BAD_STRUCTURE;
  const std::uint64_t declared = CMP4Fields(file.View(compressed.begin, kSizeField)).U32();
  const auto most = static_cast<std::size_t>(std::min(declared, kMaxInflatedMovie));
  Bytes out(memory);
  const std::uint64_t end = compressed.begin + compressed.size;
  for (std::uint64_t at = compressed.begin + kSizeField; at < end && !inflater.Ended();) {
    const auto input =
        file.View(at, static_cast<std::size_t>(std::min<std::uint64_t>(end - at, FileReader::kWindowSize)));
    if (input.empty() || !inflater.Feed(input, most, out)) return QMF_ERR_BAD_STRUCTURE;
    at += input.size();
  }
  if (!inflater.Ended()) return QMF_ERR_BAD_STRUCTURE;
  auto source =
      std::allocate_shared<OwnedSource>(std::pmr::polymorphic_allocator<OwnedSource>(memory), std::move(out));
  inflated = std::allocate_shared<FileReader>(std::pmr::polymorphic_allocator<FileReader>(memory),
                                              std::move(source), memory);
  return QMF_OK;
}

}  // namespace qmf
