#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace qmf {

/// One codec that Matroska files name. `index` is the row's position.
struct MkvCodecRow {
  std::uint32_t index;
  std::uint32_t formatTag;      ///< wFormatTag of WAVEFORMATEX; 0xFFFF for none.
  bool flag;                    ///< Whether video tracks of this codec are reported.
  std::u16string_view codecId;  ///< Matroska's CodecID, zero-terminated.
};

/// Rows that the reader treats specially.
enum MkvCodecIndex : std::uint32_t {
  kCodecUnknown = 0,
  kCodecVfwFourCC = 1,
  kCodecMpeg4Asp = 4,
  kCodecAvc = 6,
  kCodecMpeg2 = 9,
  kCodecPcmBig = 19,
  kCodecPcmLittle = 20,
  kCodecPcmFloat = 21,
  kCodecAcm = 35,
};

/// The 57 rows.
std::span<const MkvCodecRow> MkvCodecTable();

/// The index of the row whose codecId equals `codecId` exactly; kCodecUnknown when there is none.
std::uint32_t FindCodecIndex(std::u16string_view codecId);

/// The codecId of the row `index`, or null when there is none.
const char16_t* CodecIdOf(std::uint32_t index);

}  // namespace qmf
