#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <string>

#include "framework/FileReader.h"

namespace qmf::test {

/// Pieces of bytes in a sea of zeros: a file of any size that takes no room.
class SparseSource : public FileSource {
 public:
  SparseSource() = default;
  /// `front`, and zeros behind it.
  template <class Bytes>
  SparseSource(const Bytes& front, std::uint64_t fileSize)
      : pieces{{0, {front.begin(), front.end()}}}, size(fileSize) {}

  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size - std::min(offset, size)));
    std::memset(destination, 0, count);
    for (const auto& [start, bytes] : pieces) {
      const std::uint64_t from = std::max(start, offset);
      const std::uint64_t to = std::min(start + bytes.size(), offset + count);
      if (from >= to) continue;
      std::memcpy(static_cast<char*>(destination) + (from - offset), bytes.data() + (from - start),
                  static_cast<std::size_t>(to - from));
    }
    return count;
  }
  std::uint64_t Size() const noexcept override { return size; }

  std::map<std::uint64_t, std::string> pieces;
  std::uint64_t size = 0;
};

}  // namespace qmf::test
