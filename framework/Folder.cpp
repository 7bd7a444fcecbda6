#include "framework/Folder.h"

#include <algorithm>

#include "framework/FileReader.h"

namespace qmf {
namespace {

constexpr std::size_t kMaxNameLength = 255;

#ifdef _WIN32
constexpr std::u16string_view kSeparators = u"/\\";
#else
constexpr std::u16string_view kSeparators = u"/";
#endif

// Windows opens a device for these, with any extension and in any folder.
constexpr std::u16string_view kDevices[] = {u"CON", u"PRN", u"AUX", u"NUL", u"CONIN$", u"CONOUT$", u"CLOCK$"};
constexpr std::u16string_view kNumberedDevices[] = {u"COM", u"LPT"};
constexpr std::u16string_view kDeviceNumbers = u"0123456789\u00b9\u00b2\u00b3";

char16_t Upper(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

bool EqualsUpper(std::u16string_view text, std::u16string_view upper) {
  return std::ranges::equal(text, upper, {}, Upper);
}

bool IsDeviceName(std::u16string_view name) {
  std::u16string_view stem = name.substr(0, name.find(u'.'));
  stem = stem.substr(0, stem.find_last_not_of(u' ') + 1);
  if (std::ranges::any_of(kDevices, [&](auto device) { return EqualsUpper(stem, device); })) return true;
  return stem.size() == 4 && kDeviceNumbers.find(stem[3]) != std::u16string_view::npos &&
         std::ranges::any_of(kNumberedDevices,
                             [&](auto device) { return EqualsUpper(stem.substr(0, 3), device); });
}

}  // namespace

bool IsPlainFileName(std::u16string_view name) {
  constexpr std::u16string_view kForbidden = u"/\\:*?\"<>|";
  if (name.empty() || name.size() > kMaxNameLength) return false;
  if (name.back() == u'.' || name.back() == u' ') return false;
  const bool harmless = std::ranges::all_of(name, [&](char16_t unit) {
    return unit >= 0x20 && unit != 0x7F && kForbidden.find(unit) == std::u16string_view::npos;
  });
  return harmless && !IsDeviceName(name);
}

std::u16string_view FolderOfPath(std::u16string_view path) {
  return path.substr(0, path.find_last_of(kSeparators) + 1);
}

void VisitFilesBeside(std::u16string_view path, std::size_t most, const FileNameVisitor& visit) {
  const auto plainOnly = [&](std::u16string_view name) { return !IsPlainFileName(name) || visit(name); };
  const std::u16string_view folder = FolderOfPath(path);
  if (SharedFileScope::NamesBytes(path)) {
    SharedFileScope::VisitFolder(folder, plainOnly);
  } else {
    VisitPlatformFolder(folder, most, plainOnly);
  }
}

}  // namespace qmf
