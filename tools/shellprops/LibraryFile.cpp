#include "tools/shellprops/LibraryFile.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

namespace qmf {
namespace {

using Json = nlohmann::ordered_json;

template <class Record>
std::optional<Record> ReadRecord(std::ifstream& file, std::streamoff offset) {
  Record record{};
  char bytes[sizeof record];
  if (!file.seekg(offset) || !file.read(bytes, sizeof bytes)) return std::nullopt;
  std::memcpy(&record, bytes, sizeof record);
  return record;
}

Json BitsOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const auto dos = ReadRecord<IMAGE_DOS_HEADER>(file, 0);
  if (!dos || dos->e_magic != IMAGE_DOS_SIGNATURE) return nullptr;
  const auto signature = ReadRecord<DWORD>(file, dos->e_lfanew);
  const auto header = ReadRecord<IMAGE_FILE_HEADER>(file, dos->e_lfanew + std::streamoff{sizeof(DWORD)});
  if (signature != IMAGE_NT_SIGNATURE || !header) return nullptr;
  if (header->Machine == IMAGE_FILE_MACHINE_AMD64) return 64;
  if (header->Machine == IMAGE_FILE_MACHINE_I386) return 32;
  return nullptr;
}

Json VersionOf(const wchar_t* path) {
  std::vector<char> block(::GetFileVersionInfoSizeW(path, nullptr));
  void* fixed = nullptr;
  UINT length = 0;
  if (block.empty() || !::GetFileVersionInfoW(path, 0, static_cast<DWORD>(block.size()), block.data()) ||
      !::VerQueryValueW(block.data(), L"\\", &fixed, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
    return nullptr;
  }
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(fixed);
  return std::to_string(HIWORD(info.dwFileVersionMS)) + "." + std::to_string(LOWORD(info.dwFileVersionMS)) +
         "." + std::to_string(HIWORD(info.dwFileVersionLS)) + "." +
         std::to_string(LOWORD(info.dwFileVersionLS));
}

}  // namespace

Json DescribeLibraryFile(const std::wstring& path) {
  std::error_code error;
  return {{"exists", std::filesystem::is_regular_file(path, error)},
          {"version", VersionOf(path.c_str())},
          {"bits", BitsOf(path)}};
}

HRESULT TryLoad(const std::wstring& path) {
  // Its own folder is searched for what it needs, as when COM loads it.
  const HMODULE library = ::LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == nullptr) return HRESULT_FROM_WIN32(::GetLastError());
  ::FreeLibrary(library);
  return S_OK;
}

}  // namespace qmf
