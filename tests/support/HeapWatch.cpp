#include "tests/support/HeapWatch.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

struct Watched {
  bool on = false;
  std::uint64_t failing = 0;
  std::uint64_t allocations = 0;
  std::int64_t bytes = 0;
  std::int64_t peak = 0;
};
thread_local Watched watched;

void* Allocate(std::size_t size, std::size_t alignment) {
  if (watched.on && ++watched.allocations == watched.failing) throw std::bad_alloc();
  size = std::max<std::size_t>(size, 1);
  void* const p = alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__
                      ? std::malloc(size)
                      : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
  if (p == nullptr) throw std::bad_alloc();
  if (watched.on) {
    watched.bytes += static_cast<std::int64_t>(::malloc_usable_size(p));
    watched.peak = std::max(watched.peak, watched.bytes);
  }
  return p;
}

void Free(void* p) {
  if (watched.on) watched.bytes -= static_cast<std::int64_t>(::malloc_usable_size(p));
  std::free(p);
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size, 0);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* p) noexcept {
  Free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  Free(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  Free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
  Free(p);
}

namespace qmf::test {

HeapWatch::HeapWatch(std::uint64_t failing) {
  watched = {true, failing, 0, 0, 0};
}

HeapWatch::~HeapWatch() {
  watched.on = false;
}

std::uint64_t HeapWatch::Allocations() const {
  return watched.allocations;
}
std::int64_t HeapWatch::BytesInUse() const {
  return watched.bytes;
}
std::int64_t HeapWatch::PeakBytes() const {
  return watched.peak;
}

}  // namespace qmf::test
