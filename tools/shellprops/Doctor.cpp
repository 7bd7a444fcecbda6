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

std::wstring ClassKey() {
  return std::wstring(L"Software\\Classes\\CLSID\\") + kClassId;
}

std::optional<std::wstring> MachineText(const std::wstring& key, const wchar_t* name, REGSAM view = 0) {
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ | view, &opened) != ERROR_SUCCESS)
    return {};
  std::wstring text(32768, L'\0');
  auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
  const LSTATUS status = ::RegGetValueW(opened, nullptr, name, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
  ::RegCloseKey(opened);
  if (status != ERROR_SUCCESS) return {};
  text.resize(wcslen(text.c_str()));
  return text;
}

Json OrNull(const std::optional<std::wstring>& text) {
  return text && !text->empty() ? Json(Utf8(text->c_str())) : Json();
}

bool IsOurs(const std::optional<std::wstring>& handler) {
  return handler && _wcsicmp(handler->c_str(), kClassId) == 0;
}

Json ExamineClass() {
  const std::wstring server = ClassKey() + L"\\InprocServer32";
  const auto file = MachineText(server, nullptr);
  Json found = {{"registered", file.has_value()}};
  if (!file) return found;
  found["file"] = Utf8(file->c_str());
  found["threading"] = OrNull(MachineText(server, L"ThreadingModel"));
  found.update(DescribeLibraryFile(*file));
  found["matches"] = found["bits"] == kBits;
  found["load"] = Hex(TryLoad(*file));
  return found;
}

Json ExamineExtension(const wchar_t* extension) {
  const auto handler = MachineText(std::wstring(kHandlers) + extension, nullptr);
  return {{"handler", OrNull(handler)},
          {"ours", IsOurs(handler)},
          {"displaced", OrNull(MachineText(std::wstring(kDisplaced) + extension, nullptr))}};
}

// Isolated hosts, the indexer among them, hand out streams only, unless the class opts out of isolation.
bool LoadsIsolated() {
  DWORD value = 0;
  DWORD bytes = sizeof value;
  return ::RegGetValueW(HKEY_LOCAL_MACHINE, ClassKey().c_str(), L"DisableProcessIsolation", RRF_RT_REG_DWORD,
                        nullptr, &value, &bytes) == ERROR_SUCCESS &&
         value == 1;
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

Json ExamineSample() {
  const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                     (L"shellprops-" + std::to_wstring(::GetCurrentProcessId()) + L".mkv");
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(kSampleFilm), sizeof kSampleFilm);
  Json report = ReportProperties(HandlerClass({}), path.u16string()).json;
  report["right"] = IsRight(report);
  std::error_code error;
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

}  // namespace

Json Examine() {
  Json examined = {{"program", VersionText()}, {"bits", kBits}, {"class", ExamineClass()}};
  for (const wchar_t* const extension : {L".mkv", L".qivo"}) {
    examined["extensions"][Utf8(extension)] = ExamineExtension(extension);
  }
  // Programs of the other bitness have a registration and a library of their own.
  constexpr REGSAM kOtherView = kBits == 64 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
  examined["otherBits"] = {
      {"bits", 96 - kBits},
      {"file", OrNull(MachineText(ClassKey() + L"\\InprocServer32", nullptr, kOtherView))}};
  examined["isolatedHostsLoadIt"] = LoadsIsolated();
  examined["sample"] = ExamineSample();
  examined["healthy"] = examined["sample"]["right"].get<bool>() &&
                        examined["extensions"][".mkv"]["ours"].get<bool>() &&
                        examined["extensions"][".qivo"]["ours"].get<bool>();
  return examined;
}

std::string ToText(const Json& examined) {
  std::string text = "shellprops " + Text(examined["program"]) + ", " + Text(examined["bits"]) + " bits\n";
  text += ClassText(examined["class"]);
  for (const auto& [extension, found] : examined["extensions"].items()) {
    text += Line(found["ours"].get<bool>(), extension + " is handled by " + Text(found["handler"]));
    if (!found["displaced"].is_null()) text += "        and was by " + Text(found["displaced"]) + "\n";
  }
  const Json& other = examined["otherBits"];
  text += "  note  for programs of " + Text(other["bits"]) +
          " bits: " + (other["file"].is_null() ? "not registered" : Text(other["file"])) + "\n";
  text += std::string("  note  isolated hosts, such as the search indexer, ") +
          (examined["isolatedHostsLoadIt"].get<bool>() ? "load it too" : "do not load it") + "\n";
  const Json& sample = examined["sample"];
  text += Line(
      sample["right"].get<bool>(),
      "the built-in sample gives " + Text(sample.contains("properties") ? sample["properties"] : sample));
  return text + (examined["healthy"].get<bool>() ? "All is well.\n" : "Something is wrong.\n");
}

}  // namespace qmf
