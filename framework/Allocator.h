#pragma once

#include <memory_resource>

namespace qmf {

/// The allocator interface of the framework. A null pointer means the process heap.
using QMFAllocator = std::pmr::memory_resource;

inline QMFAllocator* AllocatorOrHeap(QMFAllocator* allocator) {
  return allocator != nullptr ? allocator : std::pmr::new_delete_resource();
}

}  // namespace qmf
