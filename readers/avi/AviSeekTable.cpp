#include "readers/avi/AviSeekTable.h"

#include <algorithm>
#include <new>

namespace qmf {
namespace {

constexpr std::uint32_t kFramesPerEntry = 10;
constexpr std::uint32_t kMinCapacity = 1'000;
constexpr std::uint32_t kMaxCapacity = 21'600;

}  // namespace

std::uint32_t AviSeekTable::CapacityFor(std::uint32_t length) {
  if (length < 1) return kMaxCapacity;
  return std::clamp(length / kFramesPerEntry, kMinCapacity, kMaxCapacity);
}

void AviSeekTable::Reserve(std::uint32_t videoLength) {
  if (m_entryCount > 0) return;
  Release();
  const std::uint32_t capacity = CapacityFor(videoLength);
  m_entries = m_memory->allocate(capacity * kEntrySize);
  m_capacity = capacity;
  try {
    m_lastKeys = static_cast<std::uint32_t*>(
        m_memory->allocate(capacity * sizeof(std::uint32_t), alignof(std::uint32_t)));
  } catch (const std::bad_alloc&) {
    m_lastKeys = nullptr;
  }
}

void AviSeekTable::Release() {
  if (m_entries != nullptr) m_memory->deallocate(m_entries, m_capacity * kEntrySize);
  if (m_lastKeys != nullptr) {
    m_memory->deallocate(m_lastKeys, m_capacity * sizeof(std::uint32_t), alignof(std::uint32_t));
  }
  m_entries = nullptr;
  m_lastKeys = nullptr;
  m_capacity = 0;
  m_entryCount = 0;
}

}  // namespace qmf
