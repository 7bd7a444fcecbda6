#pragma once

#include <algorithm>
#include <cstdint>
#include <memory_resource>
#include <new>
#include <vector>

namespace qmf::test {

/// Memory that knows what it handed out, fills it with a pattern, and refuses what it is told to refuse.
class TestMemory : public std::pmr::memory_resource {
 public:
  std::size_t refuseSize = 0;  ///< Allocations of this many bytes fail.
  int failAt = -1;             ///< So many allocations succeed before one fails; -1: none does.
  bool failed = false;

  std::size_t peak = 0;  ///< Most bytes in use at once.
  std::size_t InUse() const { return m_areas.size(); }
  bool HasUntouched(std::size_t size) const {
    return std::ranges::any_of(m_areas, [&](const Area& area) {
      return area.size == size &&
             std::all_of(area.data, area.data + size, [](std::uint8_t byte) { return byte == kPattern; });
    });
  }

 private:
  struct Area {
    std::uint8_t* data;
    std::size_t size;
  };
  static constexpr std::uint8_t kPattern = 0xA5;

  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    const bool fails = bytes == refuseSize || failAt == 0;
    if (failAt >= 0) --failAt;
    failed = failed || fails;
    if (fails) throw std::bad_alloc();
    auto* const data =
        static_cast<std::uint8_t*>(std::pmr::new_delete_resource()->allocate(bytes, alignment));
    std::fill_n(data, bytes, kPattern);
    m_areas.push_back({data, bytes});
    peak = std::max(peak, m_bytes += bytes);
    return data;
  }
  void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) override {
    std::erase_if(m_areas, [&](const Area& area) { return area.data == p; });
    m_bytes -= bytes;
    std::pmr::new_delete_resource()->deallocate(p, bytes, alignment);
  }
  bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

  std::vector<Area> m_areas;
  std::size_t m_bytes = 0;
};

}  // namespace qmf::test
