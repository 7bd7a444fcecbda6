#include <windows.h>

#include <array>

#include "tools/qmfinfo/ChildProcess.h"

namespace qmfinfo {
namespace {

// As programs take their command line apart: backslashes count only in front of a quotation mark.
std::wstring Quoted(const std::u16string& word) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const char16_t unit : word) {
    if (unit == u'"') quoted.append(backslashes + 1, L'\\');
    backslashes = unit == u'\\' ? backslashes + 1 : 0;
    quoted += static_cast<wchar_t>(unit);
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

// Only along PATH: by itself the system would also take a program that lies beside the media.
std::wstring FindProgram(const std::u16string& name) {
  constexpr DWORD kMostUnits = 32767;
  std::wstring folders(kMostUnits, L'\0');
  folders.resize(GetEnvironmentVariableW(L"PATH", folders.data(), kMostUnits));
  const std::wstring wanted(name.begin(), name.end());
  std::wstring found(kMostUnits, L'\0');
  found.resize(SearchPathW(folders.c_str(), wanted.c_str(), L".exe", kMostUnits, found.data(), nullptr));
  return found;
}

bool Start(const std::wstring& program, std::wstring commandLine, HANDLE output,
           PROCESS_INFORMATION& process) {
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = output;
  return CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                        nullptr, nullptr, &start, &process) != 0;
}

std::string ReadAll(HANDLE pipe) {
  std::string text;
  std::array<char, 4096> bytes;
  DWORD got = 0;
  while (ReadFile(pipe, bytes.data(), bytes.size(), &got, nullptr) != 0 && got > 0)
    text.append(bytes.data(), got);
  return text;
}

}  // namespace

std::optional<std::string> OutputOf(const std::vector<std::u16string>& words) {
  const std::wstring program = FindProgram(words[0]);
  if (program.empty()) return std::nullopt;
  std::wstring commandLine;
  for (const std::u16string& word : words) commandLine += Quoted(word) + L' ';
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  if (CreatePipe(&readEnd, &writeEnd, &inherited, 0) == 0) return std::nullopt;
  SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
  PROCESS_INFORMATION process{};
  const bool started = Start(program, commandLine, writeEnd, process);
  CloseHandle(writeEnd);
  std::optional<std::string> output;
  if (started) {
    output = ReadAll(readEnd);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  CloseHandle(readEnd);
  return output;
}

}  // namespace qmfinfo
