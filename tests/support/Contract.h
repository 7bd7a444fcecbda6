#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <stdexcept>

#include "framework/FileReader.h"

namespace qmf::test {

/// A promise that the framework did not keep, whatever the file said.
struct BrokenPromise : std::logic_error {
  using std::logic_error::logic_error;
};

/// Throws BrokenPromise with `what` unless `holds`. In a fuzzer nobody catches it, which is a finding.
void Require(bool holds, const char* what);

/// Requires that `result` is one that the framework documents.
void RequireKnown(QMFResult result);

/// What the seven properties of one file may cost, whatever the file says.
struct PropertyBudget {
  static constexpr std::uint64_t kBytesRead = 16U << 20;
  static constexpr std::size_t kHeap = 16U << 20;
  /// Every element costs a look at its header and at most one at its value.
  static constexpr std::uint64_t kLooks = 2 * 250'000;
  /// The file itself and those of its segments.
  static constexpr std::uint64_t kOpens = 101;
};

/// What reading `file` and the files that it links to has cost since construction.
class ReadingCosts {
 public:
  explicit ReadingCosts(const FileReader& file) : m_file(file) {}
  /// Requires that the costs stay within PropertyBudget.
  void RequireWithinBudget() const;

 private:
  const FileReader& m_file;
  const FileReader::Counters m_before = FileReader::TotalCounters();
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

}  // namespace qmf::test
