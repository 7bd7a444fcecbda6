#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "framework/FileReader.h"

namespace qmf::test {

/// How a file misbehaves. Reads are counted from 1.
struct FileFaults {
  static constexpr std::uint64_t kNever = UINT64_MAX;

  std::uint64_t statedSize = kNever;  ///< What it says of its size, where that is a lie.
  std::size_t longestRead = SIZE_MAX;
  std::uint64_t failingRead = kNever;
  bool failsForGood = true;              ///< Or recovers after the failing read.
  std::uint64_t shortRead = kNever;      ///< The read that gives half of its bytes.
  std::uint64_t shrinkingRead = kNever;  ///< The read before which the file shrinks ...
  std::uint64_t shrunkSize = 0;          ///< ... to this size, while the stated one stays.
};

/// Bytes in memory as a file that misbehaves; they must outlive it.
class FaultyFile : public FileSource {
 public:
  FaultyFile(std::span<const std::uint8_t> bytes, const FileFaults& faults)
      : m_bytes(bytes), m_faults(faults) {}

  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    ++m_reads;
    const bool fails =
        m_faults.failsForGood ? m_reads >= m_faults.failingRead : m_reads == m_faults.failingRead;
    if (fails) return 0;
    if (m_reads == m_faults.shortRead) count /= 2;
    if (count > m_faults.longestRead) count = m_faults.longestRead;
    const bool shrunk = m_reads >= m_faults.shrinkingRead && m_faults.shrunkSize < m_bytes.size();
    MemoryFileSource bytes(shrunk ? m_bytes.first(static_cast<std::size_t>(m_faults.shrunkSize)) : m_bytes);
    return bytes.ReadAt(offset, destination, count);
  }
  std::uint64_t Size() const noexcept override {
    return m_faults.statedSize == FileFaults::kNever ? m_bytes.size() : m_faults.statedSize;
  }

  std::uint64_t Reads() const { return m_reads; }

 private:
  const std::span<const std::uint8_t> m_bytes;
  const FileFaults m_faults;
  std::uint64_t m_reads = 0;
};

}  // namespace qmf::test
