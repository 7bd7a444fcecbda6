#include "readers/mkv/MkvLacing.h"

#include "framework/ReturnIf.h"
#include "readers/mkv/EbmlVarInt.h"

namespace qmf {
namespace {

constexpr std::uint8_t kKeyFrameFlag = 0x80;

// Takes numbers from the front of the lacing head.
class LacingHead {
 public:
  explicit LacingHead(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

  std::size_t Length() const { return m_length; }

  QMFResult Byte(std::uint64_t& value) {
    if (m_length >= m_bytes.size()) return QMF_FAILURE;
    value = m_bytes[m_length++];
    return QMF_OK;
  }

  /// Xiph: bytes of 255 and a last one below are added up.
  QMFResult XiphSize(std::uint64_t& size) {
    size = 0;
    for (std::uint64_t byte = 0xFF; byte == 0xFF; size += byte) QMF_RETURN_IF_NONZERO(Byte(byte));
    return QMF_OK;
  }

  QMFResult VarInt(EbmlVarInt& number) {
    if (ReadVarInt(m_bytes.subspan(m_length), sizeof(number.value), number) != QMF_OK) return QMF_FAILURE;
    m_length += number.length;
    return QMF_OK;
  }

  /// EBML: the first size itself, then differences.
  QMFResult EbmlSize(bool first, std::uint64_t& size) {
    EbmlVarInt number;
    QMF_RETURN_IF_NONZERO(VarInt(number));
    size = first ? number.Data() : size + static_cast<std::uint64_t>(number.SignedData());
    return QMF_OK;
  }

 private:
  std::span<const std::uint8_t> m_bytes;
  std::size_t m_length = 0;
};

QMFResult ReadSizes(LacingHead& head, MkvBlockHeader::Lacing lacing, std::uint64_t count, std::uint64_t size,
                    std::pmr::vector<std::uint64_t>& frames) {
  std::uint64_t frame = 0;
  std::uint64_t total = 0;
  for (std::uint64_t i = 0; i + 1 < count; ++i) {
    QMF_RETURN_IF_NONZERO(lacing == MkvBlockHeader::kXiph ? head.XiphSize(frame)
                                                          : head.EbmlSize(i == 0, frame));
    if (frame > size - total) return QMF_FAILURE;
    total += frame;
    frames.push_back(frame);
  }
  if (head.Length() > size - total) return QMF_FAILURE;
  frames.push_back(size - total - head.Length());
  return QMF_OK;
}

QMFResult CutEvenly(std::uint64_t count, std::uint64_t size, std::pmr::vector<std::uint64_t>& frames) {
  if (size % count != 0) return QMF_FAILURE;
  frames.assign(static_cast<std::size_t>(count), size / count);
  return QMF_OK;
}

}  // namespace

QMFResult ReadMkvBlockHeader(std::span<const std::uint8_t> bytes, MkvBlockHeader& header) {
  EbmlVarInt track;
  if (ReadVarInt(bytes, sizeof(track.value), track) != QMF_OK) return QMF_FAILURE;
  constexpr std::size_t kTicksAndFlags = 3;
  if (bytes.size() - track.length < kTicksAndFlags) return QMF_FAILURE;
  const std::uint8_t* const rest = bytes.data() + track.length;
  header.track = track.Data();
  header.ticks = static_cast<std::int16_t>(LoadBE16(rest));
  header.keyFrame = (rest[2] & kKeyFrameFlag) != 0;
  header.lacing = static_cast<MkvBlockHeader::Lacing>(rest[2] >> 1 & 3);
  header.length = track.length + kTicksAndFlags;
  return QMF_OK;
}

QMFResult ReadMkvLacing(std::span<const std::uint8_t> bytes, std::uint64_t size,
                        MkvBlockHeader::Lacing lacing, std::pmr::vector<std::uint64_t>& frames,
                        std::size_t& length) {
  frames.clear();
  length = 0;
  if (lacing == MkvBlockHeader::kNone) {
    frames.push_back(size);
    return QMF_OK;
  }
  LacingHead head(bytes);
  std::uint64_t count = 0;
  QMF_RETURN_IF_NONZERO(head.Byte(count));
  ++count;
  QMF_RETURN_IF_NONZERO(lacing == MkvBlockHeader::kFixed ? CutEvenly(count, size - head.Length(), frames)
                                                         : ReadSizes(head, lacing, count, size, frames));
  length = head.Length();
  return QMF_OK;
}

}  // namespace qmf
