#include "tests/fuzz/FuzzFile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "framework/ByteOrder.h"

namespace qmf::fuzz {

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

void RequireKnown(QMFResult result) {
  switch (static_cast<std::uint32_t>(result)) {
    case QMF_OK:
    case QMF_FAILURE:
    case QMF_NULL_ARGUMENT:
    case QMF_FILE_NOT_OPENED:
    case QMF_OUT_OF_MEMORY:
    case QMF_AVI_NO_STRF:
      return;
    default:
      Require(FindResultCode(result) != nullptr, "a result that no table knows");
  }
}

FuzzFile::FuzzFile(std::span<const std::uint8_t> input)
    : m_bytes(input), m_size(input.size()), m_longestRead(SIZE_MAX), m_readsLeft(UINT32_MAX) {
  constexpr std::size_t kOptions = 4;
  if (input.size() < kOptions) return;
  const std::uint8_t* const options = input.data() + input.size() - kOptions;
  if (options[0] != 0xF5) return;
  m_bytes = input.first(input.size() - kOptions);
  m_size = m_bytes.size();
  if (options[1] != 0) m_size = std::uint64_t{options[1]} << (options[1] % 56);
  if (options[2] != 0) m_longestRead = options[2];
  if (options[3] != 0) m_readsLeft = options[3];
}

std::size_t FuzzFile::ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept {
  if (m_readsLeft == 0) return 0;
  --m_readsLeft;
  MemoryFileSource bytes(m_bytes);
  return bytes.ReadAt(offset, destination, std::min(count, m_longestRead));
}

void* BudgetHeap::do_allocate(std::size_t bytes, std::size_t alignment) {
  if (bytes > m_limit - std::min(m_limit, m_inUse)) throw std::bad_alloc();
  void* const p = std::pmr::new_delete_resource()->allocate(bytes, alignment);
  m_inUse += bytes;
  m_peak = std::max(m_peak, m_inUse);
  return p;
}

void BudgetHeap::do_deallocate(void* p, std::size_t bytes, std::size_t alignment) {
  m_inUse -= bytes;
  std::pmr::new_delete_resource()->deallocate(p, bytes, alignment);
}

}  // namespace qmf::fuzz
