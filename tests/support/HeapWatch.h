#pragma once

#include <cstddef>
#include <cstdint>

namespace qmf::test {

/// What this thread takes from the process heap while one of these lives, the allocators of the framework
/// included. Linked into a program, its source replaces operator new and delete. One at a time.
class HeapWatch {
 public:
  static constexpr std::uint64_t kNever = UINT64_MAX;

  /// The allocation number `failing`, counted from 1, throws std::bad_alloc; all the others succeed.
  explicit HeapWatch(std::uint64_t failing = kNever);
  HeapWatch(const HeapWatch&) = delete;
  HeapWatch& operator=(const HeapWatch&) = delete;
  ~HeapWatch();

  std::uint64_t Allocations() const;
  std::int64_t BytesInUse() const;
  std::int64_t PeakBytes() const;
};

}  // namespace qmf::test
