#include "tests/support/Contract.h"

#include <algorithm>
#include <new>

namespace qmf::test {

void Require(bool holds, const char* what) {
  if (!holds) throw BrokenPromise(what);
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

void ReadingCosts::RequireWithinBudget() const {
  const FileReader::Counters now = FileReader::TotalCounters();
  Require(now.bytes - m_before.bytes <= PropertyBudget::kBytesRead,
          "the properties cost at most 16 MiB of reading");
  Require(now.opens - m_before.opens <= PropertyBudget::kOpens, "the properties cost at most 100 segments");
  Require(m_file.Looks() <= PropertyBudget::kLooks, "the properties cost at most 250,000 elements");
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

}  // namespace qmf::test
