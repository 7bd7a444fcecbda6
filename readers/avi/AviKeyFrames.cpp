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
    MakeFourCC("IYUV"),
    MakeFourCC("YV12"),
    MakeFourCC("NV12"),
    MakeFourCC("V210"),
    MakeFourCC("MJPG"),
    MakeFourCC("MPNG"),
    MakeFourCC("HFYU"),
    MakeFourCC("FFVH"),
    MakeFourCC("LAGS"),
    MakeFourCC("ULRG"),
    MakeFourCC("ULRA"),
    MakeFourCC("ULY0"),
    MakeFourCC("ULY2"),
    MakeFourCC("ULY4"),
    MakeFourCC("ULH0"),
    MakeFourCC("ULH2"),
    MakeFourCC("ULH4"),
    MakeFourCC("M8RG"),
    MakeFourCC("M8RA"),
    MakeFourCC("M8Y0"),
    MakeFourCC("M8Y2"),
    MakeFourCC("M8Y4"),
    MakeFourCC("APCO"),
    MakeFourCC("APCS"),
    MakeFourCC("APCN"),
    MakeFourCC("APCH"),
    MakeFourCC("AP4H"),
    MakeFourCC("DVSD"),
    MakeFourCC("DV25"),
    MakeFourCC("DV50"),
    MakeFourCC("DVCP"),
};
constexpr FourCC kMpeg4[] = {
    MakeFourCC("FMP4"), MakeFourCC("MP4V"), MakeFourCC("XVID"), MakeFourCC("DIVX"), MakeFourCC("DX50"),
};
// A shorter chunk holds the place of a picture that stands in the chunk before it, whatever type it shows.
constexpr std::size_t kShortestPicture = 20;
// Of Microsoft, versions 2 and 3: no start codes.
constexpr FourCC kMsMpeg4[] = {
    MakeFourCC("MP42"), MakeFourCC("DIV2"), MakeFourCC("MP43"), MakeFourCC("DIV3"), MakeFourCC("DIV4"),
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

// Frames begin with two bits of their type.
QMFBlock::KeyState JudgeMsMpeg4(std::span<const std::uint8_t> frame) {
  const unsigned type = frame.empty() ? 2 : frame[0] >> 6;
  if (type > 1) return QMFBlock::kUnknown;
  return type == 0 ? QMFBlock::kKey : QMFBlock::kNotKey;
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
  if (isOneOf(kMpeg4) && frame.size() < kShortestPicture) return QMFBlock::kNotKey;
  if (isOneOf(kMpeg4)) return JudgeStartCodes(frame, JudgeMpeg4);
  if (isOneOf(kMsMpeg4)) return JudgeMsMpeg4(frame);
  if (isOneOf(kH264)) return JudgeStartCodes(frame, JudgeH264);
  return QMFBlock::kUnknown;
}

}  // namespace qmf
