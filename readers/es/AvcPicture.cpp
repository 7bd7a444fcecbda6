#include "readers/es/AvcPicture.h"

#include <iterator>

#include "framework/ReturnIf.h"

namespace qmf {
namespace {

constexpr std::uint32_t kMacroblock = 16;
constexpr std::uint32_t kCropUnit = 2;
constexpr std::uint8_t kExtendedSar = 255;
constexpr std::uint8_t kVideoKind = 1;

struct Ratio {
  std::uint32_t width;
  std::uint32_t height;
};

// Sample aspect ratios by index, ITU-T H.264 table E-1.
constexpr Ratio kSampleAspects[] = {
    {0, 0},   {1, 1},   {12, 11}, {10, 11}, {16, 11},  {40, 33}, {24, 11}, {20, 11}, {32, 11},
    {80, 33}, {18, 11}, {15, 11}, {64, 33}, {160, 99}, {4, 3},   {3, 2},   {2, 1},
};

std::uint32_t Stretch(std::uint32_t side, std::uint32_t by, std::uint32_t of) {
  const double stretched = static_cast<double>(by) / of * side + 0.5;
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(stretched));
}

// Index 0, "unspecified", has no quotient and gives a display height of 0.
void ApplyAspect(const Ratio& aspect, AvcPicture& picture) {
  picture.displayWidth = picture.width;
  picture.displayHeight = picture.height;
  if (aspect.width > aspect.height) {
    picture.displayWidth = Stretch(picture.width, aspect.width, aspect.height);
  } else {
    picture.displayHeight = aspect.width == 0 ? 0 : Stretch(picture.height, aspect.height, aspect.width);
  }
}

void DeriveAspect(const SPL_H264::H264HdrSeqParSet& sps, AvcPicture& picture) {
  picture.hasAspect = sps.vui_parameters_present_flag != 0 && sps.aspect_ratio_info_present_flag != 0;
  if (!picture.hasAspect) return;
  if (sps.aspect_ratio_idc == kExtendedSar) {
    picture.aspectResult = QMF_ERR_AR_EXTENDED_UNSUPPORTED;
  } else if (sps.aspect_ratio_idc >= std::size(kSampleAspects)) {
    picture.aspectResult = QMF_ERR_AR_IDC_INVALID;
  } else {
    ApplyAspect(kSampleAspects[sps.aspect_ratio_idc], picture);
  }
}

}  // namespace

AvcPicture DeriveAvcPicture(const SPL_H264::H264HdrSeqParSet& sps) {
  AvcPicture picture;
  picture.width = (sps.pic_width_in_mbs_minus1 + 1) * kMacroblock - kCropUnit * sps.frame_crop_left_offset -
                  kCropUnit * sps.frame_crop_right_offset;
  const std::uint32_t cropped = (sps.pic_height_in_map_units_minus1 + 1) * kMacroblock -
                                kCropUnit * sps.frame_crop_top_offset -
                                kCropUnit * sps.frame_crop_bottom_offset;
  picture.height = cropped * (2U - sps.frame_mbs_only_flag);
  picture.interlaced = sps.frame_mbs_only_flag == 0;
  const bool fieldCoded = picture.interlaced && sps.mb_adaptive_frame_field_flag == 0;
  picture.scale = sps.num_units_in_tick;
  picture.rate = fieldCoded ? sps.time_scale : sps.time_scale / 2;
  picture.fieldRate = fieldCoded ? picture.rate : picture.rate * 2;
  DeriveAspect(sps, picture);
  return picture;
}

QMFResult FillAvcFormat(const AvcPicture& picture, QMFVideoFormat& format) {
  QMF_RETURN_IF_NONZERO(picture.aspectResult);
  format.kind = kVideoKind;
  format.rate = picture.rate;
  format.scale = picture.scale;
  format.width = picture.width;
  format.height = picture.height;
  format.bitCount = 0;
  format.handler = MakeFourCC("H264");
  format.compression = MakeFourCC("H264");
  format.imageSize = 0;
  format.interlaced = picture.interlaced ? 1 : 0;
  if (!picture.hasAspect) return QMF_OK;
  format.displayWidth = picture.displayWidth;
  format.displayHeight = picture.displayHeight;
  return QMF_OK;
}

}  // namespace qmf
