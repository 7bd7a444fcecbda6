#include "framework/LogWriter.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <mutex>
#include <new>

#include "framework/QueryIds.h"
#include "framework/Text.h"

namespace qmf {
namespace {

static_assert(sizeof(char16_t) == 2);
constexpr char16_t kByteOrderMark = 0xFEFF;
constexpr std::size_t kMostPending = 2048;  // In UTF-16 units: what the system writes at once anyway.

struct LogPlace {
  std::mutex mutex;
  bool off = false;
  std::u16string folder;
};

LogPlace& Place() {
  static LogPlace place;
  return place;
}

// The folder part of the logs' names, or nothing when the log is off.
bool GetFolder(std::u16string& folder) {
  LogPlace& place = Place();
  const std::lock_guard lock(place.mutex);
  folder = place.folder;
  return !place.off;
}

std::u16string LogName(int number) {
  if (number == 1) return u"L1log.txt";
  return ToUtf16(fmt::format("L1log-{}.txt", number));
}

void AppendAscii(std::pmr::u16string& text, std::string_view ascii) {
  for (const char character : ascii) text.push_back(static_cast<char16_t>(character));
}

std::int32_t Checksum(const QMFBlock& block) {
  return static_cast<std::int32_t>(crc32_z(0, block.data, std::min(block.size, block.capacity)));
}

void AppendQueryName(std::pmr::u16string& text, std::uint32_t qid) {
  if (const char16_t* const name = QueryIdName(qid)) {
    text += name;
  } else {
    AppendAscii(text, fmt::format("0x{:06X}", qid));
  }
}

void AppendValue(std::pmr::u16string& text, char16_t mark, std::span<const LogValue> values) {
  if (mark == u'Q') return AppendQueryName(text, static_cast<std::uint32_t>(values[0].number));
  const LogValue& value = values[static_cast<std::size_t>(mark - u'0')];
  const fmt::format_int digits(value.block != nullptr ? Checksum(*value.block) : value.number);
  AppendAscii(text, {digits.data(), digits.size()});
}

}  // namespace

QMFResult SetLogFolder(std::u16string_view folder) {
  try {
    std::u16string prefix(folder);
    if (!prefix.empty() && prefix.back() != LogFile::kSeparator && prefix.back() != u'/') {
      prefix += LogFile::kSeparator;
    }
    LogPlace& place = Place();
    const std::lock_guard lock(place.mutex);
    place.folder.swap(prefix);
    place.off = false;
    return QMF_OK;
  } catch (const std::bad_alloc&) {
    return QMF_OUT_OF_MEMORY;
  }
}

void SetLogOff() {
  LogPlace& place = Place();
  const std::lock_guard lock(place.mutex);
  place.off = true;
}

bool LogWriter::Open() {
  std::u16string folder;
  if (!GetFolder(folder)) return false;
  LogFile::Outcome outcome = LogFile::Outcome::kBusy;
  for (int number = 1; number <= kMostLogs && outcome == LogFile::Outcome::kBusy; ++number) {
    outcome = m_file.Open(folder + LogName(number));
  }
  if (outcome != LogFile::Outcome::kOpened) return false;
  m_pending.reserve(kMostPending);
  m_pending = kByteOrderMark;
  // Only now: a log without its mark is none.
  return m_open = true;
}

void LogWriter::Append(std::u16string_view format, std::span<const LogValue> values) {
  for (std::size_t mark = format.find(u'%'); mark != std::u16string_view::npos; mark = format.find(u'%')) {
    m_pending += format.substr(0, mark);
    AppendValue(m_pending, format[mark + 1], values);
    format.remove_prefix(mark + 2);
  }
  m_pending.append(format).push_back(u'\n');
}

void LogWriter::Add(std::u16string_view format, std::span<const LogValue> values) noexcept {
  if (!m_open) return;
  const std::size_t whole = m_pending.size();
  try {
    Append(format, values);
  } catch (...) {
    m_pending.resize(whole);
    Flush();
    m_open = false;
  }
  if (m_pending.size() >= kMostPending) Flush();
}

void LogWriter::AddOpened(std::u16string_view path) noexcept {
  if (!m_open) return;
  try {
    m_pending.append(u"OpenContainer:\nFile: ").append(path).append(u"\n\n");
  } catch (...) {
    m_open = false;
  }
  Flush();
}

void LogWriter::Flush() noexcept {
  if (!m_open) return;
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(m_pending.data());
  m_open = m_file.Append({bytes, m_pending.size() * sizeof(char16_t)});
  m_pending.clear();
}

}  // namespace qmf
