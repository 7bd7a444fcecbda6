#include "readers/mp4/Mp4SyncSamples.h"

namespace qmf {

bool CMP4SyncSamples::Has(std::uint64_t sample) {
  for (int idle = 0; idle < kMaxIdleRows; ++idle, ++m_row) {
    CMP4Fields row = m_rows.Entry(m_row);
    const std::uint64_t number = row.U32();
    if (row.Failed()) return false;
    if (number > sample) return number == sample + 1;
  }
  return false;
}

// By halving; 0 when all rows are behind `sample`.
std::uint64_t CMP4SyncSamples::RowAtOrBefore(std::uint64_t sample) {
  std::uint64_t low = 0;
  std::uint64_t high = m_rows.Count();
  while (high - low > 1) {
    const std::uint64_t middle = low + (high - low) / 2;
    (m_rows.Entry(middle).U32() <= sample + 1 ? low : high) = middle;
  }
  return low;
}

std::uint64_t CMP4SyncSamples::AtOrBefore(std::uint64_t sample) {
  const std::uint64_t number = m_rows.Entry(RowAtOrBefore(sample)).U32();
  return number > 0 && number <= sample + 1 ? number - 1 : kNone;
}

std::uint64_t CMP4SyncSamples::After(std::uint64_t sample) {
  const std::uint64_t row = RowAtOrBefore(sample);
  const std::uint64_t number = m_rows.Entry(row).U32();
  if (number > sample + 1) return number - 1;
  const std::uint64_t next = m_rows.Entry(row + 1).U32();
  return next > sample + 1 ? next - 1 : kNone;
}

}  // namespace qmf
