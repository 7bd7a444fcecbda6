#include "framework/QueryIds.h"

#include <algorithm>
#include <array>

namespace qmf {
namespace {

constexpr QueryIdRow kRows[] = {
#define QMF_QUERY_ID(name, value) {u## #name, value},
#include "framework/QueryIds.inc"
#undef QMF_QUERY_ID
};
static_assert(std::size(kRows) == 224);

// Names are looked up with every logged query.
constexpr auto kRowsByValue = [] {
  auto rows = std::to_array(kRows);
  std::ranges::sort(rows, {}, &QueryIdRow::value);
  return rows;
}();

}  // namespace

std::span<const QueryIdRow> QueryIdTable() {
  return kRows;
}

const char16_t* QueryIdName(std::uint32_t qid) {
  const auto row = std::ranges::lower_bound(kRowsByValue, qid, {}, &QueryIdRow::value);
  return row != kRowsByValue.end() && row->value == qid ? row->name : nullptr;
}

std::optional<std::uint32_t> FindQueryId(std::u16string_view name) {
  const auto row = std::ranges::find_if(kRows, [&](const QueryIdRow& r) { return name == r.name; });
  if (row == std::end(kRows)) return std::nullopt;
  return row->value;
}

}  // namespace qmf
