#pragma once

#include <array>

#include "framework/FourCC.h"

namespace qmf {

enum AviFourCC : FourCC {
#define AVI_FOURCC(constant, text) constant = MakeFourCC(text),
#include "readers/avi/AviFourCCs.inc"
#undef AVI_FOURCC
  /// The container chunk that every list shares is kept apart from the table.
  kFccList = MakeFourCC("LIST"),
};

/// The ids that the AVI reader recognises, as text, in table order.
inline constexpr std::array kAviFourCCTable = {
#define AVI_FOURCC(constant, text) text,
#include "readers/avi/AviFourCCs.inc"
#undef AVI_FOURCC
};
static_assert(kAviFourCCTable.size() == 47);

}  // namespace qmf
