#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "framework/FileReader.h"
#include "framework/ModuleAdapter.h"
#include "tests/propertyhandler/Handler.h"
#include "tests/support/FakeModule.h"

// Attributes that the emulator's file system cannot keep are put into the answer of the function that reads
// them.
static DWORD moreAttributes = 0;
static BOOL WINAPI GetInformation(HANDLE file, BY_HANDLE_FILE_INFORMATION* about) {
  static const auto real = reinterpret_cast<decltype(&GetInformation)>(
      ::GetProcAddress(::GetModuleHandleW(L"kernel32"), "GetFileInformationByHandle"));
  const BOOL result = real(file, about);
  about->dwFileAttributes |= moreAttributes;
  return result;
}
// Where calls of that function look for it.
#ifdef _WIN64
#define IMPORTED_GET_INFORMATION "__imp_GetFileInformationByHandle"
#else
#define IMPORTED_GET_INFORMATION "__imp__GetFileInformationByHandle@8"
#endif
extern decltype(&GetInformation) importedGetInformation asm(IMPORTED_GET_INFORMATION);
decltype(&GetInformation) importedGetInformation = GetInformation;

// What others can do with a file while the handler has it open, and which names it can be opened by.

namespace qmf::test {
namespace {

namespace fs = std::filesystem;

// A module that reads nothing but keeps its file open, as the real ones do.
class FileHolder {
 public:
  explicit FileHolder(QMFAllocator* memory) : m_memory(memory) {}
  static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory) {
    std::shared_ptr<FileReader> file;
    score = FileReader::Open(path, memory, file) == QMF_OK ? 100 : 0;
    return QMF_OK;
  }
  QMFResult Open(const char16_t* path) {
    const QMFResult result = FileReader::Open(path, m_memory, m_file);
    std::uint8_t first = 0;
    return result == QMF_OK && m_file->ReadAt(0, &first, 1) == 0 ? QMF_ERR_FILE_CORRUPT : result;
  }
  QMFResult SetTitle(std::uint32_t) { return QMF_OK; }
  QMFResult GetInfo(std::uint32_t, QMFQueryData&, std::uint32_t) { return QMF_ERR_UNSUPPORTED_QID; }

 private:
  QMFAllocator* const m_memory;
  std::shared_ptr<FileReader> m_file;
};

class OpenFiles : public testing::Test {
 protected:
  OpenFiles() {
    ResetFakes();
    Fake(1).slots = ModuleAdapter<FileHolder>::EntryPoints(Fake(1).slots.GetModuleHeader);
    fs::create_directories(Extended(m_folder));
  }
  // One by one: remove_all does not reach beyond the classic limit.
  ~OpenFiles() override {
    std::error_code ignored;
    for (const fs::path& path : m_made) fs::remove(Extended(path), ignored);
    EXPECT_TRUE(fs::remove(m_folder, ignored)) << "files were left behind";
  }

  // The form without limits and without interpretation.
  static fs::path Extended(const fs::path& path) { return L"\\\\?\\" + path.wstring(); }

  fs::path MakeFile(const fs::path& name, const char* text = "film") {
    const fs::path path = m_folder / name;
    fs::create_directories(Extended(path.parent_path()));
    std::ofstream(Extended(path)) << text;
    for (fs::path made = path; made != m_folder; made = made.parent_path()) m_made.push_back(made);
    return path;
  }

  static HRESULT TryOpen(const fs::path& path) { return Initialize(*NewHandler().Get(), path.wstring()); }

  Apartment m_apartment;
  std::vector<fs::path> m_made;
  fs::path m_folder = fs::temp_directory_path() / ("handler-" + std::to_string(::GetCurrentProcessId()));
};

std::string TextOf(const fs::path& path) {
  std::string text;
  std::ifstream(path) >> text;
  return text;
}

TEST_F(OpenFiles, StayFreeToReadWriteRenameReplaceAndDelete) {
  const struct {
    const char* what;
    std::function<bool(const fs::path&)> act;
  } rows[] = {
      {"read", [](const fs::path& film) { return TextOf(film) == "film"; }},
      {"write", [](const fs::path& film) { return (std::ofstream(film) << "changed" << std::flush).good(); }},
      {"rename",
       [](const fs::path& film) {
         return ::MoveFileW(film.c_str(), (film.wstring() + L".old").c_str()) && !fs::exists(film) &&
                fs::remove(film.wstring() + L".old");
       }},
      {"replace",
       [this](const fs::path& film) {
         const fs::path other = MakeFile("other.mkv", "other");
         return ::ReplaceFileW(film.c_str(), other.c_str(), nullptr, 0, nullptr, nullptr) &&
                TextOf(film) == "other";
       }},
      {"delete", [](const fs::path& film) { return ::DeleteFileW(film.c_str()) != FALSE; }},
  };
  for (const auto& [what, act] : rows) {
    const fs::path film = MakeFile("film.mkv");
    auto handler = NewHandler();
    ASSERT_EQ(Initialize(*handler.Get(), film.wstring()), S_OK);
    EXPECT_TRUE(act(film)) << what << ": error " << ::GetLastError();
    handler.Reset();
    fs::remove(film);
  }
}

TEST_F(OpenFiles, MayLieBeyondTheClassicLimitOfPaths) {
  for (const std::size_t length : {247U, 248U, 259U, 260U, 261U, 400U, 1000U}) {
    fs::path name;
    std::size_t left = length - m_folder.wstring().size() - 1;
    for (; left > 110; left -= 101) name /= std::wstring(100, L'd');
    const fs::path film = MakeFile(name / (std::wstring(left - 4, L'f') + L".mkv"));
    ASSERT_EQ(film.wstring().size(), length);
    EXPECT_EQ(TryOpen(film), S_OK) << length;
    EXPECT_EQ(TryOpen(Extended(film)), S_OK) << length;
    std::wstring slashes = film.wstring();
    std::replace(slashes.begin(), slashes.end(), L'\\', L'/');
    EXPECT_EQ(TryOpen(slashes), S_OK) << length;
  }
}

TEST_F(OpenFiles, MayBeNamedByShareAndFromTheCurrentFolder) {
  const fs::path film = MakeFile("film.mkv");
  const std::wstring share = L"localhost\\c$" + film.wstring().substr(2);
  if (fs::exists(L"\\\\" + share)) {
    EXPECT_EQ(TryOpen(L"\\\\" + share), S_OK);
    EXPECT_EQ(TryOpen(L"\\\\?\\UNC\\" + share), S_OK);
  } else {
    ADD_FAILURE() << "the C: drive is not shared here";
  }
  const fs::path before = fs::current_path();
  fs::current_path(m_folder);
  EXPECT_EQ(TryOpen(L"film.mkv"), S_OK);
  EXPECT_EQ(TryOpen(L".\\film.mkv"), S_OK);
  fs::current_path(before);
}

TEST_F(OpenFiles, MayBeLockedByOthers) {
  const fs::path film = MakeFile("film.mkv");
  const HANDLE other =
      ::CreateFileW(film.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_EQ(TryOpen(film), E_FAIL);
  ::CloseHandle(other);
  EXPECT_EQ(TryOpen(film), S_OK);

  const HANDLE locking =
      ::CreateFileW(film.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
  ASSERT_TRUE(::LockFile(locking, 0, 0, 100, 0));
  // Whether a lock keeps readers out is up to the system: the emulator's does not.
  EXPECT_EQ(TryOpen(film), TextOf(film).empty() ? E_FAIL : S_OK);
  ::CloseHandle(locking);
  EXPECT_EQ(TryOpen(film), S_OK);
}

TEST_F(OpenFiles, AreNotFetchedFromElsewhere) {
  constexpr DWORD kRecallOnOpen = 0x40000;
  constexpr DWORD kRecallOnDataAccess = 0x400000;
  const fs::path film = MakeFile("film.mkv");
  for (const DWORD attribute : {DWORD{FILE_ATTRIBUTE_OFFLINE}, kRecallOnOpen, kRecallOnDataAccess}) {
    moreAttributes = attribute;
    EXPECT_EQ(TryOpen(film), E_FAIL) << attribute;
  }
  moreAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_READONLY;
  EXPECT_EQ(TryOpen(film), S_OK);
  moreAttributes = 0;
}

TEST_F(OpenFiles, AreFilesAndNothingElse) {
  const std::wstring pipe = L"\\\\.\\pipe\\film-" + std::to_wstring(::GetCurrentProcessId()) + L".mkv";
  const HANDLE server =
      ::CreateNamedPipeW(pipe.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 64, 64, 0, nullptr);
  ASSERT_NE(server, INVALID_HANDLE_VALUE);
  MakeFile("folder.mkv/inside");
  for (const std::wstring& path :
       {pipe, (m_folder / "folder.mkv").wstring(), (m_folder / "folder.mkv" / "").wstring(),
        (m_folder / "missing.mkv").wstring(), (m_folder / "folder.mkv" / "inside" / "film.mkv").wstring(),
        std::wstring(L"NUL"), std::wstring(L"CON"), std::wstring(L"CONIN$"), std::wstring(L"COM1"),
        std::wstring(L"C:\\"), std::wstring(L"\\\\.\\NUL"), std::wstring(L"\\\\.\\C:"),
        std::wstring(L"\\\\.\\PhysicalDrive0"), std::wstring(L"\\\\.\\pipe\\"),
        std::wstring(L"\\\\.\\pipe\\none.mkv"), std::wstring(L"\\\\?\\"), std::wstring(L"\\\\localhost")}) {
    EXPECT_EQ(TryOpen(path), E_FAIL) << fs::path(path);
  }
  ::CloseHandle(server);
}

}  // namespace
}  // namespace qmf::test
