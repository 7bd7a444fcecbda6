#include "readers/es/AvcPicture.h"

#include <gtest/gtest.h>

#include "tests/support/H264Writer.h"

namespace qmf::test {
namespace {

using SPL_H264::H264HdrSeqParSet;

H264HdrSeqParSet Sps(std::uint32_t width, std::uint32_t height) {
  H264HdrSeqParSet sps = PlainSps();
  sps.pic_width_in_mbs_minus1 = (width + 15) / 16 - 1;
  sps.pic_height_in_map_units_minus1 = (height + 15) / 16 - 1;
  sps.frame_crop_bottom_offset = (16 - height % 16) % 16 / 2;
  return sps;
}

TEST(AvcPicture, CropsInUnitsOfTwoBeforeTheHeightIsDoubled) {
  H264HdrSeqParSet sps = Sps(1920, 544);
  sps.frame_crop_left_offset = 1;
  sps.frame_crop_right_offset = 3;
  sps.frame_crop_bottom_offset = 4;
  sps.chroma_format_idc = 3;  // plays no part
  const auto sizeOf = [&] {
    const AvcPicture picture = DeriveAvcPicture(sps);
    return std::tuple(picture.width, picture.height, picture.interlaced);
  };
  EXPECT_EQ(sizeOf(), std::tuple(1912U, 536U, false));
  sps.frame_mbs_only_flag = 0;
  EXPECT_EQ(sizeOf(), std::tuple(1912U, 1072U, true));
  sps.pic_width_in_mbs_minus1 = sps.pic_height_in_map_units_minus1 = 0x7FFFFFFF;  // wraps to none
  EXPECT_EQ(sizeOf(), std::tuple(0U - 8U, 0U - 16U, true));
}

TEST(AvcPicture, HalvesTheTimeScaleUnlessPicturesMayBeFields) {
  // Time scale, whether all are frames, whether fields are adaptive; rates of frames and of fields.
  constexpr std::uint32_t kRows[][5] = {
      {50, 1, 0, 25, 50}, {50, 0, 1, 25, 50}, {50, 0, 0, 50, 50}, {59, 1, 0, 29, 58}, {1, 1, 0, 0, 0}};
  for (const auto& [timeScale, framesOnly, adaptive, rate, fieldRate] : kRows) {
    H264HdrSeqParSet sps = PlainSps();
    sps.time_scale = timeScale;
    sps.frame_mbs_only_flag = static_cast<std::uint8_t>(framesOnly);
    sps.mb_adaptive_frame_field_flag = static_cast<std::uint8_t>(adaptive);
    const AvcPicture picture = DeriveAvcPicture(sps);
    EXPECT_EQ(picture.rate, rate) << timeScale;
    EXPECT_EQ(picture.fieldRate, fieldRate) << timeScale;
    EXPECT_EQ(picture.scale, 1U);
  }
}

TEST(AvcPicture, AppliesTheSampleAspectRatio) {
  // Width, height and display size by the ratio's index.
  constexpr std::uint32_t kRows[][4] = {
      {720, 576, 720, 0},     {720, 576, 720, 576}, {720, 576, 785, 576},     {720, 480, 720, 528},
      {720, 576, 1047, 576},  {720, 480, 873, 480}, {352, 576, 768, 576},     {352, 480, 640, 480},
      {352, 576, 1024, 576},  {352, 480, 853, 480}, {480, 576, 785, 576},     {480, 480, 655, 480},
      {528, 576, 1024, 576},  {528, 480, 853, 480}, {1440, 1080, 1920, 1080}, {1280, 1080, 1920, 1080},
      {960, 1080, 1920, 1080}};
  std::uint8_t index = 0;
  for (const auto& [width, height, displayWidth, displayHeight] : kRows) {
    H264HdrSeqParSet sps = Sps(width, height);
    sps.aspect_ratio_info_present_flag = 1;
    sps.aspect_ratio_idc = index++;
    QMFVideoFormat format{};
    EXPECT_EQ(FillAvcFormat(DeriveAvcPicture(sps), format), QMF_OK);
    EXPECT_EQ(format.height, height);
    EXPECT_EQ(format.displayWidth, displayWidth) << width << " x " << height;
    EXPECT_EQ(format.displayHeight, displayHeight) << width << " x " << height;
  }
}

TEST(AvcPicture, LeavesInTheRecordWhatItCannotTell) {
  H264HdrSeqParSet sps = Sps(720, 576);
  QMFVideoFormat format{};
  format.displayWidth = 11;
  EXPECT_EQ(FillAvcFormat(DeriveAvcPicture(sps), format), QMF_OK);
  EXPECT_EQ(format.width, 720U);
  EXPECT_EQ(format.displayWidth, 11U);
  format.width = 1;
  sps.aspect_ratio_info_present_flag = 1;
  for (const auto& [index, result] : {std::pair{17, QMF_ERR_AR_IDC_INVALID},
                                      {254, QMF_ERR_AR_IDC_INVALID},
                                      {255, QMF_ERR_AR_EXTENDED_UNSUPPORTED}}) {
    sps.aspect_ratio_idc = static_cast<std::uint8_t>(index);
    EXPECT_EQ(FillAvcFormat(DeriveAvcPicture(sps), format), result) << index;
    EXPECT_EQ(format.width, 1U);
  }
}

}  // namespace
}  // namespace qmf::test
