#include "framework/ResultCodes.h"

#include <algorithm>

namespace qmf {
namespace {

constexpr ResultCodeRow kRows[] = {
#define QMF_RESULT(code, name, message) {code, u## #name, u##message},
#include "framework/ResultCodes.inc"
#undef QMF_RESULT
};
static_assert(std::size(kRows) == 92);

}  // namespace

std::span<const ResultCodeRow> ResultCodeTable() {
  return kRows;
}

const ResultCodeRow* FindResultCode(QMFResult result) {
  const auto row = std::ranges::find(kRows, static_cast<std::uint32_t>(result), &ResultCodeRow::code);
  return row == std::end(kRows) ? nullptr : row;
}

}  // namespace qmf
