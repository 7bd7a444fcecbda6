#include "propertyhandler/PropertyValues.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "framework/LogWriter.h"
#include "tests/propertyhandler/FakeMedia.h"

namespace qmf::test {
namespace {

struct Closer {
  void operator()(QMFContainer* container) const { EXPECT_EQ(CloseContainer(container), QMF_OK); }
};

PropertyValues ValuesOf(const FakeMedia& media) {
  SetLogOff();
  Serve(media);
  QMFContainer* container = nullptr;
  EXPECT_EQ(OpenContainer(&container, u"film.mkv", nullptr), QMF_OK);
  const std::unique_ptr<QMFContainer, Closer> opened(container);
  return ReadPropertyValues(container);
}

TEST(PropertyValues, AreSevenWithTheirOwnNames) {
  const PropertyValues expected = {54'000'000'000, 1920, 1080, 25000, 2, 48000, 16};
  EXPECT_EQ(ValuesOf({}), expected);
  std::set<std::string> names;
  for (std::size_t i = 0; i < kPropertyCount; ++i) names.insert(PropertyName(static_cast<PropertyId>(i)));
  EXPECT_EQ(names.size(), kPropertyCount);
  EXPECT_STREQ(PropertyName(kVideoFrameRate), "System.Video.FrameRate");
}

TEST(PropertyValues, RoundFrameRatesToWholeFramesIn16Bits) {
  struct Row {
    std::uint32_t rate, scale;
    std::optional<std::uint64_t> shown;
  };
  for (const Row& row :
       {Row{30000, 1001, 30000}, Row{24000, 1001, 24000}, Row{25, 1, 25000}, Row{60, 1, 60000},
        Row{120, 1, 54464}, Row{1'000'000'000, 41'708'333, 24000}, Row{49, 100, 0}, Row{1, 2, 1000},
        Row{0, 1, 0}, Row{0, 0, std::nullopt}, Row{25, 0, std::nullopt},
        // 4,294,967,295,000 and 1,000,000,000,000, reckoned in 16 bits.
        Row{0xFFFFFFFF, 1, 64536}, Row{1'000'000'000, 1, 4096}}) {
    const PropertyValues values = ValuesOf({.rate = row.rate, .scale = row.scale, .width = 1});
    EXPECT_EQ(values[kVideoFrameRate], row.shown) << row.rate << "/" << row.scale;
    EXPECT_EQ(values[kVideoFrameWidth], 1U) << "shown without a rate too";
  }
}

TEST(PropertyValues, KeepTheLow16BitsOfAllButTheDuration) {
  const PropertyValues values = ValuesOf({.duration = 0xFFFFFFFFFFFFFFFF,
                                          .width = 0x12345678,
                                          .height = 0x10000,
                                          .channels = 0xFFFF,
                                          .samplesPerSec = 96000,
                                          .bitsPerSample = 0xFFFE});
  EXPECT_EQ(values[kMediaDuration], 0xFFFFFFFFFFFFFFFFU);
  EXPECT_EQ(values[kVideoFrameWidth], 0x5678U);
  EXPECT_EQ(values[kVideoFrameHeight], 0U);
  EXPECT_EQ(values[kAudioChannelCount], 0xFFFFU);
  EXPECT_EQ(values[kAudioSampleRate], 30464U);
  EXPECT_EQ(values[kAudioSampleSize], 0xFFFEU);
  EXPECT_EQ(ValuesOf({.samplesPerSec = 88200})[kAudioSampleRate], 22664U);
}

TEST(PropertyValues, LeaveOutWhatCannotBeHad) {
  const PropertyValues all = ValuesOf({});
  const auto without = [&](std::size_t first, std::size_t last) {
    PropertyValues values = all;
    for (std::size_t i = first; i <= last; ++i) values[i].reset();
    return values;
  };
  EXPECT_EQ(ValuesOf({.durationResult = QMF_FAILURE}), without(kMediaDuration, kMediaDuration));
  EXPECT_EQ(ValuesOf({.durationResult = QMF_ERR_NO_INDEX_FOUND}), without(kMediaDuration, kMediaDuration));
  EXPECT_EQ(ValuesOf({.activationResult = QMF_ERR_INVALID_STREAM}),
            without(kVideoFrameWidth, kAudioSampleSize));
  EXPECT_EQ(ValuesOf({.videoResult = QMF_FAILURE}), without(kVideoFrameWidth, kVideoFrameRate));
  EXPECT_EQ(ValuesOf({.audioResult = QMF_FAILURE}), without(kAudioChannelCount, kAudioSampleSize));
}

}  // namespace
}  // namespace qmf::test
