#include "readers/mkv/MkvEncodings.h"

#include <zlib.h>

#include <algorithm>
#include <array>

#include "framework/ReturnIf.h"

namespace qmf {
namespace {

using Bytes = std::pmr::vector<std::uint8_t>;

constexpr std::uint64_t kCompression = 0;
constexpr std::uint64_t kZlib = 0;
constexpr std::uint64_t kHeaderStripping = 3;

// zlib frees without saying how much, so each allocation carries its size in front.
constexpr std::size_t kSizeField = alignof(std::max_align_t);

voidpf Allocate(voidpf opaque, uInt items, uInt size) {
  const std::size_t bytes = std::size_t{items} * size + kSizeField;
  try {
    void* const start = static_cast<std::pmr::memory_resource*>(opaque)->allocate(bytes);
    *static_cast<std::size_t*>(start) = bytes;
    return static_cast<std::uint8_t*>(start) + kSizeField;
  } catch (const std::bad_alloc&) {
    return Z_NULL;
  }
}

void Free(voidpf opaque, voidpf address) {
  void* const start = static_cast<std::uint8_t*>(address) - kSizeField;
  static_cast<std::pmr::memory_resource*>(opaque)->deallocate(start, *static_cast<std::size_t*>(start));
}

class Inflater {
 public:
  explicit Inflater(std::pmr::memory_resource* memory) {
    m_stream.zalloc = Allocate;
    m_stream.zfree = Free;
    m_stream.opaque = memory;
    if (inflateInit(&m_stream) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&m_stream); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  QMFResult Run(Bytes& in, std::size_t& left, Bytes& out) {
    m_stream.next_in = in.data();
    m_stream.avail_in = static_cast<uInt>(in.size());
    std::array<std::uint8_t, 4096> piece;
    for (int result = Z_OK; result != Z_STREAM_END;) {
      m_stream.next_out = piece.data();
      m_stream.avail_out = static_cast<uInt>(piece.size());
      result = inflate(&m_stream, Z_NO_FLUSH);
      const std::size_t got = piece.size() - m_stream.avail_out;
      if ((result != Z_OK && result != Z_STREAM_END) || got > left) return QMF_ERR_BLOCK_READ_FAILURE;
      left -= got;
      out.insert(out.end(), piece.begin(), piece.begin() + got);
    }
    return QMF_OK;
  }

 private:
  z_stream m_stream{};
};

QMFResult Inflate(std::size_t& left, Bytes& bytes) {
  Bytes inflated(bytes.get_allocator());
  inflated.reserve(std::min(left, bytes.size() * 2));
  QMF_RETURN_IF_NONZERO(Inflater(bytes.get_allocator().resource()).Run(bytes, left, inflated));
  bytes = std::move(inflated);
  return QMF_OK;
}

QMFResult PutHeaderBack(const Bytes& header, std::size_t& left, Bytes& bytes) {
  if (bytes.size() > left || header.size() > left - bytes.size()) return QMF_ERR_BLOCK_READ_FAILURE;
  bytes.insert(bytes.begin(), header.begin(), header.end());
  left -= bytes.size();
  return QMF_OK;
}

QMFResult Undo(const MkvContentEncoding& encoding, std::size_t& left, Bytes& bytes) {
  if (encoding.type != kCompression) return QMF_ERR_CODEC_UNSUPPORTED;
  switch (encoding.algorithm) {
    case kZlib:
      return Inflate(left, bytes);
    case kHeaderStripping:
      return PutHeaderBack(encoding.settings, left, bytes);
    default:
      return QMF_ERR_CODEC_UNSUPPORTED;
  }
}

}  // namespace

bool IsEncoded(const MkvTrack& track, MkvEncodingScope scope) {
  return std::ranges::any_of(track.encodings, [&](const auto& each) { return (each.scope & scope) != 0; });
}

QMFResult UndoEncodings(const MkvTrack& track, MkvEncodingScope scope, std::size_t& left,
                        std::pmr::vector<std::uint8_t>& bytes) {
  for (const MkvContentEncoding& encoding : track.encodings) {
    if ((encoding.scope & scope) != 0) QMF_RETURN_IF_NONZERO(Undo(encoding, left, bytes));
  }
  return QMF_OK;
}

}  // namespace qmf
