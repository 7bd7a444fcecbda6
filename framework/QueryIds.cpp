#include "framework/QueryIds.h"

#include <algorithm>

namespace qmf {
namespace {

constexpr QueryIdRow kRows[] = {
#define QMF_QUERY_ID(name, value) {u## #name, value},
#include "framework/QueryIds.inc"
#undef QMF_QUERY_ID
};
static_assert(std::size(kRows) == 224);

}  // namespace

std::span<const QueryIdRow> QueryIdTable() {
  return kRows;
}

const char16_t* QueryIdName(std::uint32_t qid) {
  const auto row = std::ranges::find(kRows, qid, &QueryIdRow::value);
  return row == std::end(kRows) ? nullptr : row->name;
}

std::optional<std::uint32_t> FindQueryId(std::u16string_view name) {
  const auto row = std::ranges::find_if(kRows, [&](const QueryIdRow& r) { return name == r.name; });
  if (row == std::end(kRows)) return std::nullopt;
  return row->value;
}

}  // namespace qmf
