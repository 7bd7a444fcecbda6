#include "tools/shellprops/Doctor.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>

#include "framework/Version.h"
#include "propertyhandler/PropertyIds.h"
#include "tools/shellprops/LibraryFile.h"
#include "tools/shellprops/PropertyReport.h"
#include "tools/shellprops/SampleFilm.h"
#include "tools/shellprops/Texts.h"

namespace qmf {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kBits = 8 * sizeof(void*);
constexpr wchar_t kClassId[] = L"{D8D1CE8C-B1EB-4E95-B63B-1531BA60E992}";
constexpr wchar_t kHandlers[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\PropertySystem\\PropertyHandlers\\";
constexpr wchar_t kDisplaced[] = L"Software\\Qivo\\PropertyHandler\\Displaced\\PropertyHandlers\\";

// Below HKEY_CLASSES_ROOT, where COM looks: a user's own registration goes before the machine's.
std::wstring ClassKey() {
  return std::wstring(L"CLSID\\") + kClassId;
}

std::optional<std::wstring> RegistryText(HKEY root, const std::wstring& key, const wchar_t* name,
                                         REGSAM view = 0) {
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(root, key.c_str(), 0, KEY_READ | view, &opened) != ERROR_SUCCESS) return {};
  std::wstring text(32768, L'\0');
  auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
  const LSTATUS status = ::RegGetValueW(opened, nullptr, name, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
  ::RegCloseKey(opened);
  if (status != ERROR_SUCCESS) return {};
  text.resize(wcslen(text.c_str()));
  return text;
}

// In the registration of programs of this or another bitness.
std::optional<std::wstring> ServerText(const wchar_t* name, REGSAM view = 0) {
  return RegistryText(HKEY_CLASSES_ROOT, ClassKey() + L"\\InprocServer32", name, view);
}

Json OrNull(const std::optional<std::wstring>& text) {
  return text && !text->empty() ? Json(Utf8(text->c_str())) : Json();
}

bool IsOurs(const std::optional<std::wstring>& handler) {
  return handler && _wcsicmp(handler->c_str(), kClassId) == 0;
}

Json ExamineClass() {
  const auto file = ServerText(nullptr);
  Json found = {{"registered", file.has_value()}};
  if (!file) return found;
  found["file"] = Utf8(file->c_str());
  found["threading"] = OrNull(ServerText(L"ThreadingModel"));
  found.update(DescribeLibraryFile(*file));
  found["matches"] = found["bits"] == kBits;
  found["load"] = Hex(TryLoad(*file));
  return found;
}

Json ExamineExtension(const wchar_t* extension) {
  const auto ofMachine = [&](const wchar_t* key) {
    return RegistryText(HKEY_LOCAL_MACHINE, std::wstring(key) + extension, nullptr);
  };
  const auto handler = ofMachine(kHandlers);
  return {
      {"handler", OrNull(handler)}, {"ours", IsOurs(handler)}, {"displaced", OrNull(ofMachine(kDisplaced))}};
}

// Isolated hosts, the indexer among them, hand out streams only, unless the class opts out of isolation.
bool LoadsIsolated() {
  DWORD value = 0;
  DWORD bytes = sizeof value;
  return ::RegGetValueW(HKEY_CLASSES_ROOT, ClassKey().c_str(), L"DisableProcessIsolation", RRF_RT_REG_DWORD,
                        nullptr, &value, &bytes) == ERROR_SUCCESS &&
         value == 1;
}

// Programs of the other bitness have a registration and a library of their own. A Windows of 32 bits has no
// such programs, and would show this program's own registration in either view.
Json ExamineOtherBits() {
  BOOL emulated = FALSE;
  if (kBits == 32 && (!::IsWow64Process(::GetCurrentProcess(), &emulated) || !emulated)) return nullptr;
  constexpr REGSAM kOtherView = kBits == 64 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
  return {{"bits", 96 - kBits}, {"file", OrNull(ServerText(nullptr, kOtherView))}};
}

// The true one, which programs get from no other function.
Json WindowsVersion() {
  const auto ask = reinterpret_cast<LONG(WINAPI*)(OSVERSIONINFOW*)>(
      ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion"));
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (ask == nullptr || ask(&version) != 0) return nullptr;
  return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) + "." +
         std::to_string(version.dwBuildNumber);
}

Json ExpectedValues() {
  Json expected = Json::object();
  for (std::size_t i = 0; i < kPropertyCount; ++i) {
    expected[PropertyName(static_cast<PropertyId>(i))] = kSampleValues[i];
  }
  return expected;
}

bool IsRight(const Json& report) {
  if (!report.contains("properties")) return false;
  const Json expected = ExpectedValues();
  const Json& given = report["properties"];
  return given.size() == expected.size() && std::ranges::all_of(expected.items(), [&](const auto& value) {
           return given.contains(value.key()) && given[value.key()] == value.value();
         });
}

bool WriteSample(const std::filesystem::path& path) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(kSampleFilm), sizeof kSampleFilm);
  file.close();
  return !file.fail();
}

Json ExamineSample() {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::temp_directory_path(error) /
                                     (L"shellprops-" + std::to_wstring(::GetCurrentProcessId()) + L".mkv");
  const bool written = WriteSample(path);
  Json report = ReportProperties(HandlerClass({}), path.u16string()).json;
  report["written"] = written;
  report["right"] = IsRight(report);
  std::filesystem::remove(path, error);
  return report;
}

std::string Line(bool good, const std::string& text) {
  return (good ? "  ok    " : "  WRONG ") + text + "\n";
}

std::string Text(const Json& value) {
  return value.is_string() ? value.get<std::string>() : value.is_null() ? "unknown" : value.dump();
}

std::string ClassText(const Json& found) {
  if (!found["registered"].get<bool>()) return Line(false, "the class is not registered");
  std::string text = Line(found["exists"].get<bool>(), "the class is registered: " + Text(found["file"]) +
                                                           ", version " + Text(found["version"]));
  text += Line(found["matches"].get<bool>(), "the library has " + Text(found["bits"]) + " bits");
  return text + Line(found["load"] == Hex(S_OK), "loading the library gives " + Text(found["load"]));
}

std::string OtherBitsText(const Json& other) {
  if (other.is_null()) return "  note  this Windows has programs of 32 bits only\n";
  return "  note  for programs of " + Text(other["bits"]) +
         " bits: " + (other["file"].is_null() ? "not registered" : Text(other["file"])) + "\n";
}

std::string SampleText(const Json& sample) {
  if (!sample["written"].get<bool>())
    return Line(false, "no sample can be written at " + Text(sample["path"]));
  const Json& given = sample.contains("properties") ? sample["properties"] : sample;
  return Line(sample["right"].get<bool>(), "the built-in sample gives " + Text(given));
}

}  // namespace

Json Examine() {
  Json examined = {
      {"program", VersionText()}, {"bits", kBits}, {"windows", WindowsVersion()}, {"class", ExamineClass()}};
  for (const wchar_t* const extension : {L".mkv", L".qivo"}) {
    examined["extensions"][Utf8(extension)] = ExamineExtension(extension);
  }
  examined["otherBits"] = ExamineOtherBits();
  examined["isolatedHostsLoadIt"] = LoadsIsolated();
  examined["sample"] = ExamineSample();
  examined["healthy"] = examined["sample"]["right"].get<bool>() &&
                        examined["extensions"][".mkv"]["ours"].get<bool>() &&
                        examined["extensions"][".qivo"]["ours"].get<bool>();
  return examined;
}

std::string ToText(const Json& examined) {
  std::string text = "shellprops " + Text(examined["program"]) + ", " + Text(examined["bits"]) +
                     " bits, on Windows " + Text(examined["windows"]) + "\n";
  text += ClassText(examined["class"]);
  for (const auto& [extension, found] : examined["extensions"].items()) {
    const bool handled = !found["handler"].is_null();
    text += Line(found["ours"].get<bool>(),
                 extension + " is handled by " + (handled ? Text(found["handler"]) : "nobody"));
    if (!found["displaced"].is_null()) text += "        before, by " + Text(found["displaced"]) + "\n";
  }
  text += OtherBitsText(examined["otherBits"]);
  text += std::string("  note  isolated hosts, such as the search indexer, ") +
          (examined["isolatedHostsLoadIt"].get<bool>() ? "load it too" : "do not load it") + "\n";
  return text + SampleText(examined["sample"]) +
         (examined["healthy"].get<bool>() ? "All is well.\n" : "Something is wrong.\n");
}

}  // namespace qmf
