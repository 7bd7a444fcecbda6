#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qmf {

/// The outcome of every framework and module call. 0 is success and nothing else is. 0x4000xxxx are warnings:
/// the object stays usable. 0xC000xxxx are errors. Being negative as a signed number is what makes a result a
/// failure.
enum [[nodiscard]] QMFResult : std::uint32_t{
    QMF_OK = 0,
#define QMF_RESULT(code, name, message) name = code,
#include "framework/ResultCodes.inc"
#undef QMF_RESULT
    /// Codes without a row in the table, hence without name or message.
    QMF_FAILURE = 0xFFFFFFFF,          ///< -1: unspecified failure, wrong handle mark, missing table entry.
    QMF_NULL_ARGUMENT = 0xFFFFFFFE,    ///< -2: null handle or argument.
    QMF_FILE_NOT_OPENED = 0xFFFFFFFD,  ///< -3: the file cannot be opened.
    QMF_OUT_OF_MEMORY = 0xFFFFFFF6,    ///< -10.
    QMF_AVI_NO_STRF = 0xC0000044,      ///< A stream list without its format chunk.
};

/// True for errors (negative as a signed number); warnings and success are not failures.
constexpr bool IsFailure(QMFResult result) {
  return static_cast<std::int32_t>(result) < 0;
}

/// One row of the result table.
struct ResultCodeRow {
  std::uint32_t code;
  const char16_t* name;
  const char16_t* message;
};

/// The 92 rows in their defined order.
std::span<const ResultCodeRow> ResultCodeTable();

/// The row of `result`, or null for success and for codes without a row.
const ResultCodeRow* FindResultCode(QMFResult result);

}  // namespace qmf
