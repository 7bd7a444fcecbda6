#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>

#include "framework/QueryAnswer.h"

namespace qmf {

/// One question as a module gets it. Modules derive from it what their answers are taken from.
struct QueryCall {
  std::uint32_t qid;
  QMFQueryData& data;
  std::uint32_t index;  ///< Stream or item asked for.

  QMFResult Number(std::uint64_t value) const { return AnswerNumber(data, qid, value); }
  QMFResult Bytes(std::span<const std::uint8_t> bytes) const { return AnswerBytes(data, qid, bytes); }
  /// A text that the file lacks is the null answer.
  QMFResult Text(std::u16string_view text) const {
    return text.empty() ? Bytes({}) : AnswerText(data, qid, text);
  }
  /// A record whose size the caller is told.
  template <class Record>
  QMFResult SizedRecord(const Record& record) const {
    static_assert(std::is_trivially_copyable_v<Record>);
    return Bytes({reinterpret_cast<const std::uint8_t*>(&record), sizeof(record)});
  }
};

/// One identifier and what answers it: a module's queries are constant tables of these.
template <class Query>
struct QueryRow {
  std::uint32_t qid;
  QMFResult (*answer)(const Query& query);
};

/// The row for `qid`, or null.
template <class Query, std::size_t count>
const QueryRow<Query>* FindQueryRow(const QueryRow<Query> (&rows)[count], std::uint32_t qid) {
  const auto* const row = std::ranges::find(rows, qid, &QueryRow<Query>::qid);
  return row == std::end(rows) ? nullptr : row;
}

}  // namespace qmf
