#include "tools/qmfinfo/Units.h"

#include <fmt/format.h>

#include <algorithm>

#include "framework/Text.h"

namespace qmfinfo {
namespace {

// At most three decimals, and none that say nothing.
std::string Decimal(double value) {
  std::string text = fmt::format("{:.3f}", value);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

}  // namespace

std::string DurationText(std::uint64_t duration) {
  const std::uint64_t milliseconds = duration / 10000;
  const std::uint64_t seconds = milliseconds / 1000;
  return fmt::format("{}:{:02}:{:02}.{:03}", seconds / 3600, seconds / 60 % 60, seconds % 60,
                     milliseconds % 1000);
}

std::string FrameRateText(std::uint32_t rate, std::uint32_t scale) {
  return Decimal(static_cast<double>(rate) / static_cast<double>(scale)) + " fps";
}

std::string SampleRateText(std::uint32_t hertz) {
  return Decimal(static_cast<double>(hertz) / 1000) + " kHz";
}

std::string PathText(std::u16string path) {
  const auto isControl = [](char16_t unit) { return unit < 0x20 || (unit >= 0x7F && unit < 0xA0); };
  std::ranges::replace_if(path, isControl, u'\uFFFD');
  return qmf::ToUtf8(path);
}

std::string CountText(std::uint64_t count, const char* thing) {
  return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

}  // namespace qmfinfo
