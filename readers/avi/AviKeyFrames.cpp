#include "readers/avi/AviKeyFrames.h"

#include <algorithm>
#include <array>
#include <bit>

#include "streamlib/H264NalUnit.h"

namespace qmf {
namespace {

constexpr FourCC kIntraOnly[] = {
    0,
    MakeFourCC("RGB "),
    MakeFourCC("YUY2"),
    MakeFourCC("UYVY"),
    MakeFourCC("I420"),
    MakeFourCC("YV12"),
    MakeFourCC("MJPG"),
    MakeFourCC("HFYU"),
    MakeFourCC("FFVH"),
    MakeFourCC("DVSD"),
};
constexpr FourCC kMpeg4[] = {
    MakeFourCC("FMP4"), MakeFourCC("MP4V"), MakeFourCC("XVID"), MakeFourCC("DIVX"), MakeFourCC("DX50"),
};
constexpr FourCC kH264[] = {
    MakeFourCC("H264"),
    MakeFourCC("X264"),
    MakeFourCC("AVC1"),
    MakeFourCC("DAVC"),
};

FourCC UpperCase(FourCC code) {
  auto letters = std::bit_cast<std::array<char, 4>>(code);
  for (char& letter : letters) {
    if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
  }
  return std::bit_cast<FourCC>(letters);
}

// The first start code that `judge` makes something of.
template <class Judge>
QMFBlock::KeyState JudgeStartCodes(std::span<const std::uint8_t> bytes, Judge&& judge) {
  for (std::size_t i = 0; i + 4 < bytes.size(); ++i) {
    if (bytes[i] != 0 || bytes[i + 1] != 0 || bytes[i + 2] != 1) continue;
    const QMFBlock::KeyState key = judge(bytes[i + 3], bytes[i + 4]);
    if (key != QMFBlock::kUnknown) return key;
  }
  return QMFBlock::kUnknown;
}

// vop_coding_type, ISO/IEC 14496-2 table 6-20.
QMFBlock::KeyState JudgeMpeg4(std::uint8_t code, std::uint8_t next) {
  constexpr std::uint8_t kVop = 0xB6;
  if (code != kVop) return QMFBlock::kUnknown;
  return next >> 6 == 0 ? QMFBlock::kKey : QMFBlock::kNotKey;
}

QMFBlock::KeyState JudgeH264(std::uint8_t code, std::uint8_t) {
  const std::uint8_t type = SPL_H264::NalHeader(code).type;
  if (type == SPL_H264::kNalIdrSlice) return QMFBlock::kKey;
  return type == SPL_H264::kNalNonIdrSlice ? QMFBlock::kNotKey : QMFBlock::kUnknown;
}

}  // namespace

QMFBlock::KeyState DetectAviKeyFrame(FourCC compression, std::span<const std::uint8_t> frame) {
  const auto isOneOf = [code = UpperCase(compression)](std::span<const FourCC> codes) {
    return std::ranges::find(codes, code) != codes.end();
  };
  if (isOneOf(kIntraOnly)) return QMFBlock::kKey;
  if (isOneOf(kMpeg4)) return JudgeStartCodes(frame, JudgeMpeg4);
  if (isOneOf(kH264)) return JudgeStartCodes(frame, JudgeH264);
  return QMFBlock::kUnknown;
}

}  // namespace qmf
