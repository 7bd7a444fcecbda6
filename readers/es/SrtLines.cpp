#include "readers/es/SrtLines.h"

#include <algorithm>
#include <cstring>

#include "framework/ByteOrder.h"

namespace qmf {
namespace {

constexpr bool IsLeadSurrogate(std::uint32_t unit) {
  return unit >> 10 == 0xD800 >> 10;
}
constexpr bool IsTrailSurrogate(std::uint32_t unit) {
  return unit >> 10 == 0xDC00 >> 10;
}

// Appends one character as UTF-8 and gives its length.
std::size_t Encode(std::uint32_t character, char* out) {
  const auto put = [&](std::size_t at, std::uint32_t byte) { out[at] = static_cast<char>(byte); };
  if (character < 0x80) {
    put(0, character);
    return 1;
  }
  const std::size_t length = character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
  constexpr std::uint32_t kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
  for (std::size_t i = length - 1; i > 0; --i, character >>= 6) put(i, 0x80 | (character & 0x3F));
  put(0, kLead[length] | character);
  return length;
}

// The character at the front of `text` and its length by its lead byte; length 0 for no lead byte or a
// cut-off character.
std::uint32_t Decode(std::string_view text, std::size_t& length) {
  const auto lead = static_cast<unsigned char>(text[0]);
  length = lead < 0x80 ? 1 : lead >> 5 == 0x6 ? 2 : lead >> 4 == 0xE ? 3 : lead >> 3 == 0x1E ? 4 : 0;
  if (length > text.size()) length = 0;
  if (length <= 1) return lead;
  std::uint32_t character = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    character = character << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  return character;
}

// Unicode's White_Space and its control characters, and the byte-order mark, which shows nothing either.
bool IsSpaceOrControl(std::uint32_t c) {
  if (c <= 0x20 || (c >= 0x7F && c <= 0xA0)) return true;
  if (c >= 0x2000 && c <= 0x200A) return true;
  static constexpr std::uint32_t kSpaces[] = {0x1680, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000, 0xFEFF};
  return std::ranges::find(kSpaces, c) != std::end(kSpaces);
}

}  // namespace

std::size_t SrtLines::FillFromBytes() {
  const auto bytes = m_file->View(m_offset, kMaxLine);
  const auto newline = std::ranges::find(bytes, std::uint8_t{'\n'});
  const auto size = static_cast<std::size_t>(newline - bytes.begin()) + (newline == bytes.end() ? 0 : 1);
  if (size > 0) std::memcpy(m_text, bytes.data(), size);
  m_offset += size;
  return size;
}

std::size_t SrtLines::FillFromUnits() {
  const auto bytes = m_file->View(m_offset, 2 * kMaxLine);
  const bool littleEndian = m_encoding == SrtEncoding::kUtf16Le;
  const auto unit = [&](std::size_t i) -> std::uint32_t {
    return littleEndian ? LoadLE16(&bytes[2 * i]) : LoadBE16(&bytes[2 * i]);
  };
  const std::size_t count = bytes.size() / 2;
  std::size_t size = 0;
  std::size_t i = 0;
  for (bool ended = false; i < count && !ended; ++i) {
    std::uint32_t character = unit(i);
    if (IsLeadSurrogate(character) && i + 1 < count && IsTrailSurrogate(unit(i + 1))) {
      character = 0x10000 + ((character - 0xD800) << 10) + (unit(++i) - 0xDC00);
    } else if (IsLeadSurrogate(character) || IsTrailSurrogate(character)) {
      character = 0xFFFD;
    }
    size += Encode(character, m_text + size);
    ended = character == '\n';
  }
  m_offset += 2 * i;
  return size;
}

bool SrtLines::Next(std::string_view& line) {
  if (m_offset >= m_end || m_left == 0) return false;
  --m_left;
  std::size_t size = m_encoding == SrtEncoding::kUtf8 ? FillFromBytes() : FillFromUnits();
  if (size == 0) return false;
  if (size >= 2 && m_text[size - 2] == '\r' && m_text[size - 1] == '\n') m_text[--size - 1] = '\n';
  line = {m_text, size};
  return true;
}

bool IsBlankSrtLine(std::string_view line) {
  std::size_t length = 0;
  for (; !line.empty(); line.remove_prefix(length)) {
    const std::uint32_t character = Decode(line, length);
    if (length == 0) return true;
    if (!IsSpaceOrControl(character)) return false;
  }
  return true;
}

}  // namespace qmf
