// A host that creates, asks and releases the built library's object over and over, loads and unloads the
// library, and looks whether memory or handles have grown since the first tenth. QMF_SOAK_CYCLES says how
// often.

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/propertyhandler/Library.h"
#include "tests/propertyhandler/ShellObject.h"
#include "tests/soak/Held.h"

namespace qmf::test {
namespace {

namespace fs = std::filesystem;

constexpr long kCyclesALoad = 20;
constexpr const wchar_t* kExtensions[] = {L"mkv", L"avi", L"mp4", L"h264", L"aac", L"srt"};
// Of the system's own: caches of what it has once looked up, and a thread that serves them.
constexpr std::size_t kHeapSlack = 16U << 10;
constexpr std::size_t kCommittedSlack = 256U << 10;
constexpr std::size_t kHandleSlack = 4;
// What the compiler's runtime keeps for good, of its bookkeeping of threads, when the library goes.
constexpr std::size_t kBytesALoad = 600;

TEST(Held, SeesWhatIsHeld) {
  const Held before;
  void* const block = ::HeapAlloc(::GetProcessHeap(), 0, 3000);
  void* const pages = ::VirtualAlloc(nullptr, 1U << 20, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  const HANDLE event = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const Held during;
  ::CloseHandle(event);
  ::VirtualFree(pages, 0, MEM_RELEASE);
  ::HeapFree(::GetProcessHeap(), 0, block);
  const Held after;
  EXPECT_GE(during.heap, before.heap + 3000);
  EXPECT_GE(during.committed, before.committed + (1U << 20));
  EXPECT_EQ(during.handles, before.handles + 1);
  EXPECT_EQ(after.heap, before.heap);
  EXPECT_EQ(after.handles, before.handles);
}

class HandlerSoak : public testing::Test {
 protected:
  // The library's log goes where temporary files go.
  HandlerSoak() {
    fs::create_directories(m_scratch);
    for (const wchar_t* name : {L"TMP", L"TEMP"}) ::SetEnvironmentVariableW(name, m_scratch.c_str());
  }
  ~HandlerSoak() override { EXPECT_EQ(fs::remove_all(m_scratch), 2U) << "the folder and one log"; }

  static ComPtr<IPropertyStore> Create(IClassFactory& factory, long cycle) {
    const std::wstring extension = kExtensions[static_cast<std::size_t>(cycle) % std::size(kExtensions)];
    ComPtr<IPropertyStore> object;
    EXPECT_EQ(factory.CreateInstance(nullptr, IID_PPV_ARGS(object.GetAddressOf())), S_OK);
    EXPECT_EQ(Initialize(*object.Get(), kCorpus + extension + L"/small." + extension), S_OK);
    EXPECT_FALSE(PropertiesOf(*object.Get()).empty());
    return object;
  }

  static void ReleaseElsewhere(ComPtr<IPropertyStore>& object) {
    std::jthread([&object] {
      const Apartment other;
      object.Reset();
    });
  }

  static void UseLibrary(long cycles) {
    {
      const Library library;
      auto factory = library.Factory();
      for (long i = 1; i < cycles; ++i) (void)Create(*factory.Get(), i);
      auto last = Create(*factory.Get(), cycles);
      factory.Reset();
      EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE);
      ReleaseElsewhere(last);
      EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);
    }
    EXPECT_EQ(::GetModuleHandleW(Library::Built().c_str()), nullptr) << "still loaded";
  }

  static void Cycle(long cycles) {
    for (; cycles > 0 && !HasFailure(); cycles -= kCyclesALoad) UseLibrary(std::min(cycles, kCyclesALoad));
  }

  static inline const std::wstring kCorpus = L"Z:" FUZZ_CORPUS "/";
  const Apartment m_apartment;
  const fs::path m_scratch = fs::temp_directory_path() / ("soak-" + std::to_string(::GetCurrentProcessId()));
};

TEST_F(HandlerSoak, LeavesNothingBehind) {
  const char* const asked = std::getenv("QMF_SOAK_CYCLES");
  const long cycles = asked != nullptr ? std::atol(asked) : 200;
  Cycle(cycles / 10);
  const Held before;
  Cycle(cycles - cycles / 10);
  const Held after;
  std::printf("%ld cycles: %zu then %zu bytes of heap, %zu then %zu committed, %zu then %zu handles\n",
              cycles, before.heap, after.heap, before.committed, after.committed, before.handles,
              after.handles);
  const std::size_t ofLoads = static_cast<std::size_t>(cycles / kCyclesALoad) * kBytesALoad;
  EXPECT_LE(after.heap, before.heap + kHeapSlack + ofLoads);
  EXPECT_LE(after.committed, before.committed + kCommittedSlack + ofLoads);
  EXPECT_LE(after.handles, before.handles + kHandleSlack);
}

}  // namespace
}  // namespace qmf::test
