#include "readers/es/SrtReader.h"

#include <algorithm>
#include <cstring>

#include "framework/MediaTime.h"

namespace qmf {
namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr std::int64_t kMillisecondsPerSecond = 1000;
constexpr std::int64_t kTimeUnitsPerMillisecond = kTimeUnitsPerSecond / kMillisecondsPerSecond;

void SkipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// A number as %d reads it, within 32 bits.
bool ReadInteger(std::string_view& text, std::int64_t& value) {
  SkipBlanks(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  if (text.empty() || !IsDigit(text[0])) return false;
  value = 0;
  for (; !text.empty() && IsDigit(text[0]); text.remove_prefix(1)) {
    value = std::min<std::int64_t>(value * 10 + (text[0] - '0'), INT32_MAX);
  }
  if (negative) value = -value;
  return true;
}

// `mark` as the format has it: a blank stands for any number of blanks, none included.
bool ReadMark(std::string_view& text, std::string_view mark) {
  for (const char c : mark) {
    if (c == ' ') {
      SkipBlanks(text);
    } else if (text.starts_with(c)) {
      text.remove_prefix(1);
    } else {
      return false;
    }
  }
  return true;
}

bool ReadTime(std::string_view& text, std::uint64_t& time) {
  std::int64_t hours = 0;
  std::int64_t minutes = 0;
  std::int64_t seconds = 0;
  std::int64_t milliseconds = 0;
  if (!ReadInteger(text, hours) || !ReadMark(text, ":")) return false;
  if (!ReadInteger(text, minutes) || !ReadMark(text, ":")) return false;
  if (!ReadInteger(text, seconds) || !ReadMark(text, ",")) return false;
  if (!ReadInteger(text, milliseconds)) return false;
  const std::int64_t total = ((hours * 60 + minutes) * 60 + seconds) * kMillisecondsPerSecond + milliseconds;
  const std::int64_t most = INT64_MAX / kTimeUnitsPerMillisecond;
  time = static_cast<std::uint64_t>(std::clamp<std::int64_t>(total, 0, most) * kTimeUnitsPerMillisecond);
  return true;
}

// Without a character that its end cuts through.
std::string_view WholeCharacters(std::string_view text) {
  const auto isTail = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  std::size_t lead = text.size();
  while (lead > 0 && text.size() - lead < 3 && isTail(text[lead - 1])) --lead;
  if (lead == 0) return text;
  const auto byte = static_cast<unsigned char>(text[lead - 1]);
  const std::size_t length = byte >> 5 == 0x6 ? 2 : byte >> 4 == 0xE ? 3 : byte >> 3 == 0x1E ? 4 : 1;
  return text.size() - (lead - 1) < length ? text.substr(0, lead - 1) : text;
}

}  // namespace

bool ParseSrtTimes(std::string_view line, std::uint64_t& start, std::uint64_t& end) {
  return ReadTime(line, start) && ReadMark(line, " --> ") && ReadTime(line, end);
}

// The first line that is not blank is the cue's number, whatever it says.
bool CSRTReader::ReadNumber() {
  std::string_view line;
  do {
    if (!m_lines.Next(line)) return false;
  } while (IsBlankSrtLine(line));
  return true;
}

// False when the file ends without any text.
bool CSRTReader::ReadText(SrtCue& cue) {
  std::size_t size = 0;
  int count = 0;
  bool blank = false;
  for (std::string_view line; !blank && m_lines.Next(line);) {
    blank = IsBlankSrtLine(line);
    if (blank || ++count > kMaxLines) continue;
    line = line.substr(0, line.find('\0'));
    const std::size_t taken = std::min(line.size(), SrtCue::kMaxText - size);
    std::memcpy(cue.text + size, line.data(), taken);
    size += taken;
  }
  std::string_view text = WholeCharacters({cue.text, size});
  if (text.ends_with('\n')) text.remove_suffix(1);
  cue.text[text.size()] = '\0';
  return blank || size > 0;
}

bool CSRTReader::ReadCue(SrtCue& cue) {
  m_lines.Limit(Position() + std::min(kMaxSearched, UINT64_MAX - Position()), kMaxLinesSearched);
  std::string_view line;
  while (ReadNumber()) {
    if (!m_lines.Next(line)) return false;
    if (!ParseSrtTimes(line, cue.start, cue.end)) continue;
    cue.end = std::max(cue.end, cue.start);
    if (ReadText(cue)) return true;
  }
  return false;
}

}  // namespace qmf
