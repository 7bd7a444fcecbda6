#pragma once

#include <cstdint>

#include "framework/FileReader.h"
#include "framework/ResultCodes.h"

namespace qmf {

enum class SrtEncoding { kUtf8, kUtf16Le, kUtf16Be };

/// How a subtitle file is written, and where its text begins: by its byte-order mark, without one by a zero
/// in one of its first two bytes. A file that then is not sound UTF-8 or UTF-16 throughout its first
/// kMaxCheckedBytes gives QMF_ERR_BAD_SUB_ENCODING.
QMFResult DetectSrtEncoding(FileReader& file, SrtEncoding& encoding, std::uint64_t& textOffset);

/// No real subtitle file is longer.
inline constexpr std::uint64_t kMaxCheckedBytes = 4U << 20;

}  // namespace qmf
