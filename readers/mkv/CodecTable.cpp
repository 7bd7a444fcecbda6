#include "readers/mkv/CodecTable.h"

#include <algorithm>

namespace qmf {
namespace {

constexpr MkvCodecRow kRows[] = {
#define MKV_CODEC(index, formatTag, flag, codecId) {index, formatTag, flag, codecId},
#include "readers/mkv/CodecTable.inc"
#undef MKV_CODEC
};
static_assert(std::size(kRows) == 57);

constexpr bool IsNumberedInOrder() {
  for (std::uint32_t i = 0; i < std::size(kRows); ++i) {
    if (kRows[i].index != i) return false;
  }
  return true;
}
static_assert(IsNumberedInOrder());

constexpr bool Names(std::uint32_t index, std::u16string_view codecId) {
  return kRows[index].codecId == codecId;
}
static_assert(Names(kCodecVfwFourCC, u"V_MS/VFW/FOURCC") && Names(kCodecMpeg4Asp, u"V_MPEG4/ISO/ASP") &&
              Names(kCodecAvc, u"V_MPEG4/ISO/AVC") && Names(kCodecMpeg2, u"V_MPEG2") &&
              Names(kCodecPcmBig, u"A_PCM/INT/BIG") && Names(kCodecPcmFloat, u"A_PCM/FLOAT/IEEE") &&
              Names(kCodecAcm, u"A_MS/ACM"));

}  // namespace

std::span<const MkvCodecRow> MkvCodecTable() {
  return kRows;
}

std::uint32_t FindCodecIndex(std::u16string_view codecId) {
  const auto row = std::ranges::find(kRows, codecId, &MkvCodecRow::codecId);
  return row == std::end(kRows) ? kCodecUnknown : row->index;
}

const char16_t* CodecIdOf(std::uint32_t index) {
  return index < std::size(kRows) ? kRows[index].codecId.data() : nullptr;
}

}  // namespace qmf
