#include "framework/Text.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>

namespace qmf {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

constexpr bool IsLeadSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsTrailSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Appends UTF-8; `lone` decides what a surrogate without partner becomes.
template <class Lone>
std::string Encode(std::u16string_view text, Lone&& lone) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (IsLeadSurrogate(unit) && i + 1 < text.size() && IsTrailSurrogate(text[i + 1])) {
      const char32_t high = static_cast<char32_t>(unit) - 0xD800;
      const char32_t low = static_cast<char32_t>(text[++i]) - 0xDC00;
      utf8::append(0x10000 + (high << 10) + low, std::back_inserter(out));
    } else if (IsLeadSurrogate(unit) || IsTrailSurrogate(unit)) {
      lone(unit, out);
    } else {
      utf8::append(static_cast<char32_t>(unit), std::back_inserter(out));
    }
  }
  return out;
}

void AppendReplacement(char16_t, std::string& out) {
  utf8::append(kReplacement, std::back_inserter(out));
}

constexpr bool IsAscii(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}

// UTF-16 into an empty string; `lone` decides what a byte outside UTF-8 becomes.
template <class String, class Lone>
void Decode(std::string_view bytes, String& out, Lone&& lone) {
  // Most texts are ASCII, and end here.
  auto from = std::find_if_not(bytes.begin(), bytes.end(), IsAscii);
  out.resize(static_cast<std::size_t>(from - bytes.begin()));
  std::copy(bytes.begin(), from, out.begin());
  while (from != bytes.end()) {
    const auto invalid = utf8::find_invalid(from, bytes.end());
    utf8::utf8to16(from, invalid, std::back_inserter(out));
    if (invalid == bytes.end()) break;
    out.push_back(lone(static_cast<unsigned char>(*invalid)));
    from = std::next(invalid);
  }
}

char16_t Replacement(unsigned char) {
  return static_cast<char16_t>(kReplacement);
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  return Encode(text, AppendReplacement);
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string out;
  Decode(text, out, Replacement);
  return out;
}

void AssignUtf16(std::pmr::u16string& out, std::string_view text) {
  out.clear();
  out.reserve(text.size());
  Decode(text, out, Replacement);
}

std::u16string PathFromBytes(std::string_view bytes) {
  std::u16string out;
  Decode(bytes, out, [](unsigned char byte) { return static_cast<char16_t>(0xDC00 + byte); });
  return out;
}

std::string BytesFromPath(std::u16string_view path) {
  return Encode(path, [](char16_t unit, std::string& out) {
    if (unit >= 0xDC80 && unit <= 0xDCFF) {
      out.push_back(static_cast<char>(unit - 0xDC00));
    } else {
      AppendReplacement(unit, out);
    }
  });
}

}  // namespace qmf
