#pragma once

#include <cstddef>

namespace qmf::test {

/// What this process holds of its machine, as counted when constructed.
struct Held {
  Held();

  std::size_t heap;       ///< Bytes of the blocks in use of all heaps.
  std::size_t committed;  ///< Bytes of private memory, heaps and stacks included.
  std::size_t handles;
};

}  // namespace qmf::test
