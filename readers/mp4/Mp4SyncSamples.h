#pragma once

#include <cstdint>
#include <memory_resource>

#include "readers/mp4/Mp4Table.h"

namespace qmf {

/// Reads a table of sync samples: their numbers from 1 on, rising. Samples are told from 0 on here.
class CMP4SyncSamples {
 public:
  static constexpr std::uint64_t kNone = UINT64_MAX;

  CMP4SyncSamples(const CMP4Table& table, std::pmr::memory_resource* memory) : m_rows(table, memory) {}

  /// Whether the table has `sample`. Samples are asked for in rising order, from that of MoveTo on.
  bool Has(std::uint64_t sample);
  void MoveTo(std::uint64_t sample) { m_row = RowAtOrBefore(sample); }

  /// The last one that is not behind `sample`, the first one that is; kNone when there is none.
  std::uint64_t AtOrBefore(std::uint64_t sample);
  std::uint64_t After(std::uint64_t sample);

 private:
  std::uint64_t RowAtOrBefore(std::uint64_t sample);

  CMP4TableWindow m_rows;
  std::uint64_t m_row = 0;
};

}  // namespace qmf
