#include "readers/es/AnnexBUnits.h"

#include <algorithm>
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

// Where the three bytes of the first start code stand. Behind a one that ends none the next may come at the
// third byte, which is looked at without a search: some files are full of ones.
std::optional<std::size_t> FindStartCode(std::span<const std::uint8_t> bytes) {
  for (std::size_t at = kStartCode - 1; at < bytes.size(); at += kStartCode) {
    if (bytes[at] != 1) {
      const void* const one = std::memchr(bytes.data() + at, 1, bytes.size() - at);
      if (one == nullptr) return std::nullopt;
      at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(one) - bytes.data());
    }
    if (bytes[at - 1] == 0 && bytes[at - 2] == 0) return at - 2;
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
  const std::uint8_t type = SPL_H264::NalHeader(first[0]).type;
  if (SPL_H264::IsSlice(type)) return m_file->View(unit.header, kSliceFront);
  if (type != SPL_H264::kNalSps && type != SPL_H264::kNalPps) return WholeFront(unit);
  if (m_setsLeft == 0) return first;
  const std::span<const std::uint8_t> set = WholeFront(unit);
  m_setsLeft -= std::min<std::uint64_t>(m_setsLeft, set.size());
  return set;
}

std::span<const std::uint8_t> AnnexBUnits::WholeFront(const Unit& unit) {
  for (const std::size_t size : {kUnitFront, kMaxParsedSize}) {
    const std::span<const std::uint8_t> bytes = m_file->View(unit.header, size);
    if (const auto end = FindStartCode(bytes)) return bytes.first(*end);
    if (bytes.size() < size || size == kMaxParsedSize) return bytes;
  }
  return {};
}

std::uint64_t AnnexBUnits::SizeOf(const Unit& unit) {
  std::span<const std::uint8_t> bytes = WholeFront(unit);
  while (bytes.size() > 1 && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
  return bytes.size();
}

}  // namespace qmf
