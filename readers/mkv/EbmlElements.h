#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qmf {

/// Value types of elements. 2 to 4 are not used; 0 ends the table.
enum class EbmlType : std::uint32_t {
  None = 0,
  Master = 1,
  Unsigned = 5,
  Signed = 6,
  Float = 7,
  Utf8 = 8,
  Ascii = 9,
  Flag = 10,
  Binary = 11,
};

/// Element kinds: the index of an element's row in EbmlElementTable(), and behind its end the elements that
/// only reading itself needs.
enum class Element : std::uint8_t {
#define EBML_ELEMENT(kind, name, id, type) kind,
#include "readers/mkv/EbmlElements.inc"
  Terminator,
#include "readers/mkv/EbmlExtraElements.inc"
#undef EBML_ELEMENT
};

inline constexpr std::size_t kElementCount = static_cast<std::size_t>(Element::Terminator);
static_assert(kElementCount == 127);

/// One row of the element table.
struct EbmlElementRow {
  std::uint32_t id;  ///< As it stands in the file, length-marker bits included; 0 for Unknown.
  EbmlType type;
  const char16_t* name;  ///< Null in the terminating row.
};

namespace ebml_tables {
#define EBML_ELEMENT(kind, name, id, type) {id, EbmlType::type, name},
inline constexpr EbmlElementRow kRows[] = {
#include "readers/mkv/EbmlElements.inc"
    {0, EbmlType::None, nullptr},
#include "readers/mkv/EbmlExtraElements.inc"
};
#undef EBML_ELEMENT
}  // namespace ebml_tables

/// The rows of the 127 kinds and the all-zero row that ends them.
constexpr std::span<const EbmlElementRow> EbmlElementTable() {
  return std::span(ebml_tables::kRows).first<kElementCount + 1>();
}

/// The id of `kind` as it stands in files.
constexpr std::uint32_t ElementId(Element kind) {
  return ebml_tables::kRows[static_cast<std::size_t>(kind)].id;
}

}  // namespace qmf
