#include "readers/es/AnnexBUnits.h"

#include <cstring>
#include <optional>

#include "streamlib/H264NalUnit.h"

namespace qmf {
namespace {

// Asked for at a time: a small part of the reader's window, so that little is fetched twice at its end.
constexpr std::size_t kSearchStep = 2048;
// A slice header's size is bounded by its fields; of other units a first try that most fit in.
constexpr std::size_t kSliceFront = 96;
constexpr std::size_t kUnitFront = 1024;
constexpr std::size_t kStartCode = 3;

// Where the three bytes of the first start code stand.
std::optional<std::size_t> FindStartCode(std::span<const std::uint8_t> bytes) {
  for (std::size_t from = kStartCode - 1; from < bytes.size();) {
    const void* const one = std::memchr(bytes.data() + from, 1, bytes.size() - from);
    if (one == nullptr) return std::nullopt;
    const auto place = static_cast<std::size_t>(static_cast<const std::uint8_t*>(one) - bytes.data());
    if (bytes[place - 1] == 0 && bytes[place - 2] == 0) return place - 2;
    from = place + kStartCode;  // This byte is no zero in front of the next one.
  }
  return std::nullopt;
}

}  // namespace

bool AnnexBUnits::Find(std::uint64_t from, Unit& unit) {
  unit.start = from;
  if (m_left == 0) return false;
  --m_left;
  for (std::uint64_t offset = from; offset - from < kMaxUnitSize && offset < m_end;) {
    const std::span<const std::uint8_t> bytes = m_file->View(offset, kSearchStep);
    if (const auto code = FindStartCode(bytes)) {
      const bool zeroByte = *code > 0 && bytes[*code - 1] == 0;
      unit.start = offset + *code - (zeroByte ? 1 : 0);
      unit.header = offset + *code + kStartCode;
      if (unit.start < m_end && !m_file->View(unit.header, 1).empty()) return true;
      unit.start = unit.header;
      return false;
    }
    unit.start = offset + bytes.size();
    if (bytes.size() < kSearchStep) return false;
    offset += kSearchStep - kStartCode;  // A code across the border, and the zero byte in front of it.
  }
  return false;
}

std::span<const std::uint8_t> AnnexBUnits::Front(const Unit& unit) {
  const std::span<const std::uint8_t> first = m_file->View(unit.header, 1);
  if (first.empty()) return first;
  if (SPL_H264::IsSlice(SPL_H264::NalHeader(first[0]).type)) return m_file->View(unit.header, kSliceFront);
  for (const std::size_t size : {kUnitFront, kMaxParsedSize}) {
    const std::span<const std::uint8_t> bytes = m_file->View(unit.header, size);
    if (const auto end = FindStartCode(bytes)) return bytes.first(*end);
    if (bytes.size() < size || size == kMaxParsedSize) return bytes;
  }
  return {};
}

std::uint64_t AnnexBUnits::SizeOf(const Unit& unit) {
  std::span<const std::uint8_t> bytes = Front(unit);
  while (bytes.size() > 1 && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
  return bytes.size();
}

}  // namespace qmf
