#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace qmf {

/// Query identifiers: group in bits 23..16, number in 15..8, stream kind in 7..4, value kind in 3..0. Callers
/// may pass any 32-bit number; those without a row here have no name.
enum QMFQueryId : std::uint32_t {
#define QMF_QUERY_ID(name, value) name = value,
#include "framework/QueryIds.inc"
#undef QMF_QUERY_ID
};

/// Bits 3..0 of a query identifier: how the value travels in QMFQueryData.
enum QMFValueKind : std::uint8_t {
  kValueSmall = 0x1,
  kValueBoolean = 0x2,
  kValueCount = 0x3,
  kValue32 = 0x5,
  kValueUnsigned32 = 0x6,
  kValueTime = 0x7,
  kValuePosition = 0x8,
  kValueString = 0xA,  ///< UTF-16 text in the caller's buffer.
  kValueRecord = 0xB,  ///< Record or bytes in the caller's buffer.
};

/// Bits 7..4 of a query identifier.
enum QMFStreamKind : std::uint8_t {
  kStreamNone = 0,
  kStreamVideo = 1,
  kStreamAudio = 2,
  kStreamSubtitle = 3
};

constexpr QMFValueKind ValueKindOf(std::uint32_t qid) {
  return static_cast<QMFValueKind>(qid & 0xF);
}
constexpr QMFStreamKind StreamKindOf(std::uint32_t qid) {
  return static_cast<QMFStreamKind>((qid >> 4) & 0xF);
}

struct QueryIdRow {
  const char16_t* name;
  std::uint32_t value;
};

/// The 224 identifiers, by group.
std::span<const QueryIdRow> QueryIdTable();

/// The name of `qid`, or null when it has none.
const char16_t* QueryIdName(std::uint32_t qid);

/// The identifier named `name` exactly.
std::optional<std::uint32_t> FindQueryId(std::u16string_view name);

}  // namespace qmf
