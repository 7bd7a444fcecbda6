#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <span>

#include "framework/FileReader.h"

namespace qmf::fuzz {

/// Ends the process with `what` unless `holds`: a broken promise is a finding like a crash.
void Require(bool holds, const char* what);

/// Requires that `result` is one that the framework documents.
void RequireKnown(QMFResult result);

/// A file made of a fuzzer's input. The last bytes of the input choose how it misbehaves: a size that lies,
/// reads that come back short, reads that fail from some call on.
class FuzzFile : public FileSource {
 public:
  explicit FuzzFile(std::span<const std::uint8_t> input);
  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override;
  std::uint64_t Size() const noexcept override { return m_size; }

 private:
  std::span<const std::uint8_t> m_bytes;
  std::uint64_t m_size;
  std::size_t m_longestRead;
  std::uint32_t m_readsLeft;
};

/// The heap with a memory of its peak and a limit, beyond which it is exhausted.
class BudgetHeap : public std::pmr::memory_resource {
 public:
  explicit BudgetHeap(std::size_t limit) : m_limit(limit) {}
  std::size_t InUse() const { return m_inUse; }
  std::size_t Peak() const { return m_peak; }

 private:
  void* do_allocate(std::size_t bytes, std::size_t alignment) override;
  void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) override;
  bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

  const std::size_t m_limit;
  std::size_t m_inUse = 0;
  std::size_t m_peak = 0;
};

}  // namespace qmf::fuzz
