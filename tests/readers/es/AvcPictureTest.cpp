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
  H264HdrSeqParSet sps = Sps(1920, 1080);
  AvcPicture picture = DeriveAvcPicture(sps);
  EXPECT_EQ(picture.width, 1920U);
  EXPECT_EQ(picture.height, 1080U);
  EXPECT_FALSE(picture.interlaced);

  sps.frame_mbs_only_flag = 0;
  sps.pic_height_in_map_units_minus1 = 33;
  sps.frame_crop_left_offset = 1;
  sps.frame_crop_right_offset = 3;
  sps.chroma_format_idc = 3;  // plays no part
  picture = DeriveAvcPicture(sps);
  EXPECT_EQ(picture.width, 1912U);
  EXPECT_EQ(picture.height, 1072U);
  EXPECT_TRUE(picture.interlaced);

  sps.pic_width_in_mbs_minus1 = sps.pic_height_in_map_units_minus1 = 0x7FFFFFFF;  // wraps to none
  picture = DeriveAvcPicture(sps);
  EXPECT_EQ(picture.width, 0U - 8U);
  EXPECT_EQ(picture.height, 0U - 16U);
}

TEST(AvcPicture, HalvesTheTimeScaleUnlessPicturesMayBeFields) {
  struct Row {
    std::uint32_t timeScale;
    bool framesOnly, adaptive;
    std::uint32_t rate, fieldRate;
  };
  for (const Row& row :
       {Row{50, true, false, 25, 50}, Row{50, false, true, 25, 50}, Row{50, false, false, 50, 50},
        Row{59, true, false, 29, 58}, Row{1, true, false, 0, 0}}) {
    H264HdrSeqParSet sps = PlainSps();
    sps.time_scale = row.timeScale;
    sps.frame_mbs_only_flag = row.framesOnly ? 1 : 0;
    sps.mb_adaptive_frame_field_flag = row.adaptive ? 1 : 0;
    const AvcPicture picture = DeriveAvcPicture(sps);
    EXPECT_EQ(picture.rate, row.rate) << row.timeScale;
    EXPECT_EQ(picture.fieldRate, row.fieldRate) << row.timeScale;
    EXPECT_EQ(picture.scale, 1U);
  }
}

TEST(AvcPicture, AppliesTheSampleAspectRatio) {
  struct Row {
    std::uint32_t width, height;
    std::uint8_t index;
    std::uint32_t displayWidth, displayHeight;
  };
  constexpr Row kRows[] = {
      {720, 576, 0, 720, 0},        {720, 576, 1, 720, 576},     {720, 576, 2, 785, 576},
      {720, 480, 3, 720, 528},      {720, 576, 4, 1047, 576},    {720, 480, 5, 873, 480},
      {352, 576, 6, 768, 576},      {352, 480, 7, 640, 480},     {352, 576, 8, 1024, 576},
      {352, 480, 9, 853, 480},      {480, 576, 10, 785, 576},    {480, 480, 11, 655, 480},
      {528, 576, 12, 1024, 576},    {528, 480, 13, 853, 480},    {1440, 1080, 14, 1920, 1080},
      {1280, 1080, 15, 1920, 1080}, {960, 1080, 16, 1920, 1080},
  };
  for (const Row& row : kRows) {
    H264HdrSeqParSet sps = Sps(row.width, row.height);
    sps.aspect_ratio_info_present_flag = 1;
    sps.aspect_ratio_idc = row.index;
    const AvcPicture picture = DeriveAvcPicture(sps);
    EXPECT_EQ(picture.displayWidth, row.displayWidth) << int{row.index};
    EXPECT_EQ(picture.displayHeight, row.displayHeight) << int{row.index};
  }
}

TEST(AvcPicture, FillsTheRecordWhollyOrNotAtAll) {
  H264HdrSeqParSet sps = Sps(720, 576);
  QMFVideoFormat format{};
  format.displayWidth = 11;
  format.displayHeight = 22;
  EXPECT_EQ(FillAvcFormat(DeriveAvcPicture(sps), format), QMF_OK);
  EXPECT_EQ(format.width, 720U);
  EXPECT_EQ(format.displayWidth, 11U);
  EXPECT_EQ(format.displayHeight, 22U);

  sps.aspect_ratio_info_present_flag = 1;
  for (const auto& [index, result] : {std::pair{17, QMF_ERR_AR_IDC_INVALID},
                                      {254, QMF_ERR_AR_IDC_INVALID},
                                      {255, QMF_ERR_AR_EXTENDED_UNSUPPORTED}}) {
    sps.aspect_ratio_idc = static_cast<std::uint8_t>(index);
    format.width = 1;
    EXPECT_EQ(FillAvcFormat(DeriveAvcPicture(sps), format), result) << index;
    EXPECT_EQ(format.width, 1U);
  }
}

}  // namespace
}  // namespace qmf::test
