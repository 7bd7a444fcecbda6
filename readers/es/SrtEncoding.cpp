#include "readers/es/SrtEncoding.h"

#include <utf8.h>

#include <algorithm>
#include <string_view>

#include "framework/ByteOrder.h"

namespace qmf {
namespace {

constexpr std::size_t kLongestCharacter = 4;

SrtEncoding GuessEncoding(std::span<const std::uint8_t> front, std::uint64_t& textOffset) {
  const std::string_view text(reinterpret_cast<const char*>(front.data()), front.size());
  textOffset = 0;
  if (text.starts_with("\xEF\xBB\xBF")) {
    textOffset = 3;
  } else if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) {
    textOffset = 2;
    return front[0] == 0xFF ? SrtEncoding::kUtf16Le : SrtEncoding::kUtf16Be;
  } else if (front.size() >= 2 && (front[0] == 0) != (front[1] == 0)) {
    return front[1] == 0 ? SrtEncoding::kUtf16Le : SrtEncoding::kUtf16Be;
  }
  return SrtEncoding::kUtf8;
}

// How many bytes at the front are sound; up to kLongestCharacter - 1 at the end may wait for their rest.
std::size_t SoundUtf8(std::span<const std::uint8_t> bytes) {
  return static_cast<std::size_t>(utf8::find_invalid(bytes.begin(), bytes.end()) - bytes.begin());
}

std::size_t SoundUtf16(std::span<const std::uint8_t> bytes, bool littleEndian) {
  std::size_t sound = 0;
  while (sound + 2 <= bytes.size()) {
    const auto unit = [&](std::size_t at) {
      return littleEndian ? LoadLE16(&bytes[at]) : LoadBE16(&bytes[at]);
    };
    const unsigned kind = unit(sound) >> 10;
    if (kind == 0xDC00 >> 10) break;
    if (kind == 0xD800 >> 10) {
      if (sound + 4 > bytes.size() || unit(sound + 2) >> 10 != 0xDC00 >> 10) break;
      sound += 2;
    }
    sound += 2;
  }
  return sound;
}

}  // namespace

QMFResult DetectSrtEncoding(FileReader& file, SrtEncoding& encoding, std::uint64_t& textOffset) {
  encoding = GuessEncoding(file.View(0, kLongestCharacter), textOffset);
  for (std::uint64_t offset = textOffset; offset < kMaxCheckedBytes;) {
    const auto bytes = file.View(offset, FileReader::kWindowSize);
    const std::size_t sound = encoding == SrtEncoding::kUtf8
                                  ? SoundUtf8(bytes)
                                  : SoundUtf16(bytes, encoding == SrtEncoding::kUtf16Le);
    const bool atEnd = bytes.size() < FileReader::kWindowSize;
    // Only a window may end within a character.
    if (bytes.size() - sound >= (atEnd ? 1 : kLongestCharacter)) return QMF_ERR_BAD_SUB_ENCODING;
    if (atEnd) break;
    offset += sound;
  }
  return QMF_OK;
}

}  // namespace qmf
