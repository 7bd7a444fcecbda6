#include "readers/es/AdtsFrames.h"

#include <algorithm>
#include <cstring>

namespace qmf {
namespace {

using SPL_AAC::AACHdrADTS;

constexpr std::size_t kId3v2Header = 10;
constexpr std::size_t kId3v1Tag = 128;
constexpr int kMaxTags = 16;
constexpr std::size_t kSearchStep = 1024;
constexpr std::uint8_t kFooterPresent = 0x10;

bool IsSameStream(const AACHdrADTS& a, const AACHdrADTS& b) {
  return a.id == b.id && a.profile_ObjectType == b.profile_ObjectType &&
         a.sampling_frequency_index == b.sampling_frequency_index &&
         a.channel_configuration == b.channel_configuration;
}

}  // namespace

bool AdtsFrames::At(std::uint64_t offset, Frame& frame) {
  const auto bytes = m_file->View(offset, AACHdrADTS::kFixedSize);
  frame.offset = offset;
  return frame.header.Parse(bytes.data(), static_cast<std::int32_t>(bytes.size())) &&
         frame.End() <= m_file->Size();
}

bool AdtsFrames::HasSuccessor(const Frame& frame) {
  if (frame.End() == m_file->Size()) return true;
  Frame next;
  return At(frame.End(), next) && IsSameStream(frame.header, next.header);
}

// Where the first bytes stand that a header could be made of; the end of the search when there are none.
std::size_t AdtsFrames::FindHeader(std::span<const std::uint8_t> bytes, AACHdrADTS& header) {
  const std::size_t end = bytes.size() - (AACHdrADTS::kFixedSize - 1);
  for (std::size_t place = 0; place < end; ++place) {
    const auto rest = bytes.subspan(place);
    if (rest[0] == 0xFF && header.Parse(rest.data(), static_cast<std::int32_t>(rest.size()))) return place;
  }
  return end;
}

bool AdtsFrames::Resync(Frame& frame) {
  const FileReader::Limit budget(*m_file, kMaxResyncRead, 2 * kMaxResync);
  const std::uint64_t limit = m_position + kMaxResync;
  std::uint64_t offset = m_position + 1;
  for (std::uint32_t left = kMaxFalseStarts; left > 0 && offset < limit;) {
    const auto bytes = m_file->View(offset, kSearchStep);
    if (bytes.size() < AACHdrADTS::kFixedSize) return false;
    const std::size_t skipped = FindHeader(bytes, frame.header);
    offset += skipped;
    if (skipped + AACHdrADTS::kFixedSize > bytes.size()) continue;
    if (offset < limit && At(offset, frame) && HasSuccessor(frame)) return true;
    ++offset;
    --left;
  }
  return false;
}

bool AdtsFrames::Next(Frame& frame) {
  if (!At(m_position, frame) && !Resync(frame)) return false;
  frame.ticks = m_ticks;
  if (m_rate == 0) m_rate = frame.header.SampleRate();
  // Streams keep one sampling frequency; in one that does not, time still goes on at the right pace.
  m_ticks += std::uint64_t{frame.header.SampleCount()} * m_rate / frame.header.SampleRate();
  m_position = frame.End();
  return true;
}

void AdtsFrames::Restart(std::uint64_t offset, std::uint64_t ticks) {
  m_position = offset;
  m_ticks = ticks;
}

std::uint32_t AdtsFrames::CountChain(std::uint64_t offset, std::uint32_t most, std::uint64_t& end,
                                     std::uint64_t limit) {
  Frame first;
  Frame frame;
  std::uint32_t count = 0;
  for (end = offset; count < most && end < limit && At(end, frame); ++count) {
    if (count == 0) first = frame;
    if (!IsSameStream(first.header, frame.header)) break;
    end = frame.End();
  }
  return count;
}

// ID3v2: "ID3", version, flags, and a size of four times seven bits; a footer repeats the header.
std::uint64_t SkipId3v2(FileReader& file) {
  std::uint64_t offset = 0;
  for (int i = 0; i < kMaxTags; ++i) {
    const auto tag = file.View(offset, kId3v2Header);
    if (tag.size() < kId3v2Header || std::memcmp(tag.data(), "ID3", 3) != 0) break;
    std::uint32_t size = 0;
    for (std::size_t j = 6; j < kId3v2Header; ++j) size = size << 7 | (tag[j] & 0x7FU);
    const bool footer = (tag[5] & kFooterPresent) != 0;
    offset += kId3v2Header + size + (footer ? kId3v2Header : 0);
  }
  return offset;
}

std::uint64_t EndBeforeId3v1(FileReader& file) {
  const std::uint64_t size = file.Size();
  if (size < kId3v1Tag) return size;
  const auto tag = file.View(size - kId3v1Tag, 3);
  return tag.size() == 3 && std::memcmp(tag.data(), "TAG", 3) == 0 ? size - kId3v1Tag : size;
}

}  // namespace qmf
