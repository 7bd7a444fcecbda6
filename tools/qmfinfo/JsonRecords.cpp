#include "tools/qmfinfo/JsonRecords.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "framework/Text.h"

namespace qmfinfo {

void SetResult(Json& object, qmf::QMFResult result) {
  const qmf::ResultCodeRow* const row = qmf::FindResultCode(result);
  object["result"] = static_cast<std::uint32_t>(result);
  object["result_name"] = ResultName(result);
  object["message"] = row != nullptr ? Json(qmf::ToUtf8(row->message)) : Json();
}

Json ResultName(qmf::QMFResult result) {
  const qmf::ResultCodeRow* const row = qmf::FindResultCode(result);
  return row != nullptr ? Json(qmf::ToUtf8(row->name)) : Json();
}

std::string FourCCText(qmf::FourCC code) {
  std::array<std::uint8_t, 4> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(code >> (8 * i));
  const auto printable = [](std::uint8_t byte) { return byte >= 0x20 && byte <= 0x7E; };
  if (std::ranges::all_of(bytes, printable)) return {bytes.begin(), bytes.end()};
  return "0x" + Hex(bytes);
}

std::string Hex(std::span<const std::uint8_t> bytes) {
  return fmt::format("{:02x}", fmt::join(bytes, ""));
}

namespace {

// What the records of video and of subtitle pictures have in common.
template <class Format>
void AddPictureFormat(Json& object, const Format& format) {
  object["kind"] = format.kind;
  object["rate"] = format.rate;
  object["scale"] = format.scale;
  object["width"] = format.width;
  object["height"] = format.height;
  object["bitCount"] = format.bitCount;
  object["handler"] = FourCCText(format.handler);
  object["compression"] = FourCCText(format.compression);
  object["imageSize"] = format.imageSize;
}

}  // namespace

void AddVideoFormat(Json& object, const qmf::QMFVideoFormat& format) {
  AddPictureFormat(object, format);
  object["interlaced"] = format.interlaced;
  object["displayWidth"] = format.displayWidth;
  object["displayHeight"] = format.displayHeight;
}

void AddAudioFormat(Json& object, std::span<const std::uint8_t> bytes) {
  qmf::QMFAudioFormat format{};
  std::memcpy(&format, bytes.data(), std::min(bytes.size(), sizeof(format)));
  constexpr std::size_t kExtraOffset = offsetof(qmf::QMFAudioFormat, extra);
  const auto extra = bytes.subspan(std::min(kExtraOffset, bytes.size()));
  object["kind"] = format.kind;
  object["formatTag"] = format.formatTag;
  object["channels"] = format.channels;
  object["samplesPerSec"] = format.samplesPerSec;
  object["avgBytesPerSec"] = format.avgBytesPerSec;
  object["blockAlign"] = format.blockAlign;
  object["bitsPerSample"] = format.bitsPerSample;
  object["reserved"] = format.reserved;
  object["extraSize"] = format.extraSize;
  object["extra"] = Hex(extra.first(std::min<std::size_t>(format.extraSize, extra.size())));
}

void AddSubtitleFormat(Json& object, const qmf::QMFSubtitleFormat& format) {
  AddPictureFormat(object, format);
}

}  // namespace qmfinfo
