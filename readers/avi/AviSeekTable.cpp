#include "readers/avi/AviSeekTable.h"

#include <algorithm>
#include <new>
#include <span>

namespace qmf {
namespace {

constexpr std::uint32_t kFramesPerCapacity = 10;
constexpr std::uint32_t kMinCapacity = 1'000;
constexpr std::uint32_t kMaxCapacity = 21'600;

}  // namespace

std::uint32_t AviSeekTable::CapacityFor(std::uint32_t length) {
  if (length < 1) return kMaxCapacity;
  return std::clamp(length / kFramesPerCapacity, kMinCapacity, kMaxCapacity);
}

void AviSeekTable::Reserve(std::uint32_t videoLength) {
  const std::uint32_t capacity = CapacityFor(videoLength);
  if (m_frames > 0 || m_capacity == capacity) return;
  Release();
  m_entries = static_cast<Entry*>(m_memory->allocate(capacity * sizeof(Entry), alignof(Entry)));
  m_capacity = capacity;
  try {
    m_lastKeys = static_cast<std::uint32_t*>(
        m_memory->allocate(capacity * sizeof(std::uint32_t), alignof(std::uint32_t)));
  } catch (const std::bad_alloc&) {
    m_lastKeys = nullptr;
  }
}

void AviSeekTable::Release() {
  if (m_entries != nullptr) m_memory->deallocate(m_entries, m_capacity * sizeof(Entry), alignof(Entry));
  if (m_lastKeys != nullptr) {
    m_memory->deallocate(m_lastKeys, m_capacity * sizeof(std::uint32_t), alignof(std::uint32_t));
  }
  m_entries = nullptr;
  m_lastKeys = nullptr;
  m_capacity = 0;
  Clear();
}

void AviSeekTable::Clear() {
  m_framesPerEntry = kFirstFramesPerEntry;
  m_frames = 0;
  m_full = false;
}

void AviSeekTable::Note(const AviPosition& position, bool isKey) {
  if (m_frames == std::uint64_t{m_capacity} * m_framesPerEntry) HalveEntries();
  if (m_full) return;
  if (m_frames % m_framesPerEntry == 0) StartEntry(position);
  m_entries[m_frames / m_framesPerEntry].keys.set(PlaceInEntry(m_frames), isKey);
  ++m_frames;
}

void AviSeekTable::StartEntry(const AviPosition& position) {
  const std::uint64_t entry = m_frames / m_framesPerEntry;
  if (m_lastKeys != nullptr) {
    const std::optional<std::uint64_t> key = m_frames == 0 ? std::nullopt : KeyAtOrBefore(m_frames - 1);
    m_lastKeys[entry] = key ? static_cast<std::uint32_t>(*key + 1) : 0;
  }
  new (&m_entries[entry]) Entry{position, {}};
}

void AviSeekTable::HalveEntries() {
  m_full = m_capacity < 2 || 2 * m_framesPerEntry > Keys().size();
  if (m_full) return;
  const std::uint32_t count = EntryCount();
  for (std::uint32_t i = 0; i < count; i += 2) {
    Entry merged = m_entries[i];
    if (i + 1 < count) merged.keys |= m_entries[i + 1].keys << m_framesPerEntry;
    m_entries[i / 2] = merged;
    if (m_lastKeys != nullptr) m_lastKeys[i / 2] = m_lastKeys[i];
  }
  m_framesPerEntry *= 2;
}

bool AviSeekTable::IsKey(std::uint64_t frame) const {
  return frame < m_frames && m_entries[frame / m_framesPerEntry].keys[PlaceInEntry(frame)];
}

std::optional<std::uint64_t> AviSeekTable::LastKeyBeforeEntry(std::uint32_t entry) const {
  if (m_lastKeys != nullptr) {
    return m_lastKeys[entry] == 0 ? std::nullopt : std::optional<std::uint64_t>(m_lastKeys[entry] - 1);
  }
  while (entry-- > 0) {
    for (std::uint32_t i = m_framesPerEntry; i > 0; --i) {
      if (m_entries[entry].keys[i - 1]) return std::uint64_t{entry} * m_framesPerEntry + i - 1;
    }
  }
  return std::nullopt;
}

std::optional<std::uint64_t> AviSeekTable::KeyAtOrBefore(std::uint64_t frame) const {
  if (m_frames == 0) return std::nullopt;
  frame = std::min(frame, m_frames - 1);
  const auto entry = static_cast<std::uint32_t>(frame / m_framesPerEntry);
  const std::uint64_t first = std::uint64_t{entry} * m_framesPerEntry;
  for (std::uint32_t i = PlaceInEntry(frame) + 1; i > 0; --i) {
    if (m_entries[entry].keys[i - 1]) return first + i - 1;
  }
  return LastKeyBeforeEntry(entry);
}

std::optional<std::uint64_t> AviSeekTable::KeyFrom(std::uint64_t frame) const {
  while (frame < m_frames) {
    if (IsKey(frame)) return frame;
    // Over an entry without keys at once.
    const bool none = m_entries[frame / m_framesPerEntry].keys.none();
    frame += none ? m_framesPerEntry - frame % m_framesPerEntry : 1;
  }
  return std::nullopt;
}

const AviPosition* AviSeekTable::Before(std::uint64_t frame) const {
  if (m_frames == 0) return nullptr;
  return &m_entries[std::min(frame, m_frames - 1) / m_framesPerEntry].first;
}

const AviPosition* AviSeekTable::BeforeCount(std::size_t place, std::uint64_t count) const {
  const std::span<const Entry> entries(m_entries, m_entries == nullptr ? 0 : EntryCount());
  const auto countBefore = [&](const Entry& entry) { return entry.first.counts[place]; };
  const auto behind = std::ranges::upper_bound(entries, count, {}, countBefore);
  return behind == entries.begin() ? nullptr : &std::prev(behind)->first;
}

}  // namespace qmf
