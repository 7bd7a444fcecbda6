#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"
#include "tools/qmfinfo/Output.h"

namespace qmfinfo {

/// Sets "result", "result_name" and "message" in `object`; name and message are null for codes without a row.
void SetResult(Json& object, qmf::QMFResult result);

/// The name of `result`, or null.
Json ResultName(qmf::QMFResult result);

/// The four characters when all are printable ASCII, else "0x" and the bytes in file order.
std::string FourCCText(qmf::FourCC code);

/// The bytes as lower-case hexadecimal digits.
std::string Hex(std::span<const std::uint8_t> bytes);

/// Adds the fields of a format record. Behind an audio record may follow more codec-specific bytes than the
/// record has room for; `bytes` is the record with all of them.
void AddVideoFormat(Json& object, const qmf::QMFVideoFormat& format);
void AddAudioFormat(Json& object, std::span<const std::uint8_t> bytes);
void AddSubtitleFormat(Json& object, const qmf::QMFSubtitleFormat& format);

}  // namespace qmfinfo
