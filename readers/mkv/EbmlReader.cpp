#include "readers/mkv/EbmlReader.h"

#include <algorithm>
#include <bit>
#include <string_view>

#include "framework/ByteOrder.h"
#include "framework/ReturnIf.h"
#include "framework/Text.h"
#include "readers/mkv/EbmlVarInt.h"

namespace qmf {
namespace {

constexpr std::size_t kMaxIdLength = 4;
constexpr std::size_t kMaxSizeLength = 8;
constexpr std::size_t kMaxHeaderLength = kMaxIdLength + kMaxSizeLength;

using Bytes = std::span<const std::uint8_t>;

bool MayHaveUnknownSize(const EbmlElement& element) {
  return element.Is(Element::Segment) || element.Is(Element::Cluster);
}

// Who shortens a text in place leaves the rest of the old one behind a zero.
std::string_view UpToZero(Bytes bytes) {
  const auto zero = std::ranges::find(bytes, 0);
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(zero - bytes.begin())};
}

}  // namespace

EbmlReader::EbmlReader(FileReader& file, QMFAllocator* memory, const EbmlLimits& limits)
    : m_file(file),
      m_memory(memory),
      m_left(limits),
      m_fileSize(file.Size()),
      m_bytesReadBefore(file.BytesRead()) {}

bool EbmlReader::MayRead(std::uint64_t bytes) const {
  const std::uint64_t read = m_file.BytesRead() - m_bytesReadBefore;
  return read <= m_left.bytesRead && bytes <= m_left.bytesRead - read;
}

QMFResult EbmlReader::SpendElement() {
  if (m_left.elements == 0 || !MayRead(0)) return QMF_ERR_END_OF_STREAM;
  --m_left.elements;
  return QMF_OK;
}

QMFResult EbmlReader::Keep(std::uint64_t bytes) {
  if (bytes > m_left.bytesKept) return QMF_FAILURE;
  m_left.bytesKept -= bytes;
  return QMF_OK;
}

QMFResult EbmlReader::CheckPresent(const EbmlElement& element) const {
  return element.end > m_fileSize || !MayRead(element.Size()) ? QMF_ERR_END_OF_STREAM : QMF_OK;
}

QMFResult EbmlReader::ReadHeader(std::uint64_t at, std::uint64_t parentEnd, EbmlElement& element) {
  QMF_RETURN_IF_NONZERO(SpendElement());
  if (at >= m_fileSize) return QMF_ERR_END_OF_STREAM;
  const Bytes bytes =
      m_file.View(at, static_cast<std::size_t>(std::min<std::uint64_t>(kMaxHeaderLength, m_fileSize - at)));
  EbmlVarInt id;
  QMF_RETURN_IF_NONZERO(ReadVarInt(bytes, kMaxIdLength, id));
  if (id.IsAllOnes()) return QMF_FAILURE;
  EbmlVarInt size;
  QMF_RETURN_IF_NONZERO(ReadVarInt(bytes.subspan(id.length), kMaxSizeLength, size));
  element = {static_cast<std::uint32_t>(id.value), at, at + id.length + size.length, EbmlElement::kOpenEnd};
  if (element.payload > parentEnd) return QMF_FAILURE;
  if (size.IsAllOnes()) return MayHaveUnknownSize(element) ? QMF_OK : QMF_FAILURE;
  if (size.Data() > parentEnd - element.payload) return QMF_FAILURE;
  element.end = element.payload + size.Data();
  return QMF_OK;
}

QMFResult EbmlReader::ReadIntegerBytes(const EbmlElement& element, std::uint64_t& value) {
  const std::uint64_t size = element.Size();
  if (size > sizeof(value)) return QMF_FAILURE;
  QMF_RETURN_IF_NONZERO(CheckPresent(element));
  const Bytes bytes = m_file.View(element.payload, static_cast<std::size_t>(size));
  if (bytes.size() != size) return QMF_ERR_END_OF_STREAM;
  value = LoadBE(bytes.data(), bytes.size());
  return QMF_OK;
}

QMFResult EbmlReader::Read(const EbmlElement& element, std::uint64_t& value) {
  return ReadIntegerBytes(element, value);
}

QMFResult EbmlReader::Read(const EbmlElement& element, std::uint32_t& value) {
  std::uint64_t wide = 0;
  QMF_RETURN_IF_NONZERO(ReadIntegerBytes(element, wide));
  value = static_cast<std::uint32_t>(wide);
  return QMF_OK;
}

QMFResult EbmlReader::Read(const EbmlElement& element, std::int64_t& value) {
  std::uint64_t bits = 0;
  QMF_RETURN_IF_NONZERO(ReadIntegerBytes(element, bits));
  const std::uint64_t unused = 64 - 8 * element.Size();
  value = unused == 64 ? 0 : static_cast<std::int64_t>(bits << unused) >> unused;
  return QMF_OK;
}

QMFResult EbmlReader::Read(const EbmlElement& element, bool& value) {
  std::uint64_t wide = 0;
  QMF_RETURN_IF_NONZERO(ReadIntegerBytes(element, wide));
  value = wide != 0;
  return QMF_OK;
}

QMFResult EbmlReader::Read(const EbmlElement& element, double& value) {
  const std::uint64_t size = element.Size();
  if (size != 0 && size != 4 && size != 8) return QMF_FAILURE;
  std::uint64_t bits = 0;
  QMF_RETURN_IF_NONZERO(ReadIntegerBytes(element, bits));
  value = size == 4 ? std::bit_cast<float>(static_cast<std::uint32_t>(bits)) : std::bit_cast<double>(bits);
  return QMF_OK;
}

QMFResult EbmlReader::Read(const EbmlElement& element, std::pmr::u16string& value) {
  if (element.Size() > kMaxTextSize) return QMF_FAILURE;
  const auto size = static_cast<std::size_t>(element.Size());
  QMF_RETURN_IF_NONZERO(CheckPresent(element));
  QMF_RETURN_IF_NONZERO(Keep(std::uint64_t{size} * sizeof(char16_t)));
  Bytes bytes = m_file.View(element.payload, size);
  std::pmr::vector<std::uint8_t> large(m_memory);
  if (size > FileReader::kWindowSize) {
    large.resize(size);
    bytes = Bytes(large).first(m_file.ReadAt(element.payload, large.data(), size));
  }
  if (bytes.size() != size) return QMF_ERR_END_OF_STREAM;
  AssignUtf16(value, UpToZero(bytes));
  return QMF_OK;
}

QMFResult EbmlReader::Read(const EbmlElement& element, std::pmr::vector<std::uint8_t>& value) {
  QMF_RETURN_IF_NONZERO(CheckPresent(element));
  QMF_RETURN_IF_NONZERO(Keep(element.Size()));
  value.resize(static_cast<std::size_t>(element.Size()));
  if (m_file.ReadAt(element.payload, value.data(), value.size()) == value.size()) return QMF_OK;
  value.clear();
  return QMF_ERR_END_OF_STREAM;
}

QMFResult EbmlReader::Read(const EbmlElement& element, std::pmr::vector<std::uint64_t>& values) {
  QMF_RETURN_IF_NONZERO(Keep(sizeof(std::uint64_t)));
  std::uint64_t value = 0;
  QMF_RETURN_IF_NONZERO(ReadIntegerBytes(element, value));
  values.push_back(value);
  return QMF_OK;
}

}  // namespace qmf
