#include "tests/soak/Held.h"

#include <windows.h>

#include <algorithm>
#include <vector>

// As the headers of driver kits declare it: the others leave most classes of information out.
extern "C" LONG NTAPI NtQuerySystemInformation(ULONG kind, void* information, ULONG size, ULONG* needed);

namespace qmf::test {
namespace {

std::size_t BytesInUse(HANDLE heap) {
  std::size_t bytes = 0;
  PROCESS_HEAP_ENTRY entry{};
  ::HeapLock(heap);
  while (::HeapWalk(heap, &entry)) bytes += entry.wFlags & PROCESS_HEAP_ENTRY_BUSY ? entry.cbData : 0;
  ::HeapUnlock(heap);
  return bytes;
}

std::size_t HeapBytes() {
  HANDLE heaps[64];
  const DWORD count = std::min<DWORD>(::GetProcessHeaps(std::size(heaps), heaps), std::size(heaps));
  std::size_t bytes = 0;
  for (DWORD i = 0; i < count; ++i) bytes += BytesInUse(heaps[i]);
  return bytes;
}

std::size_t CommittedBytes() {
  std::size_t bytes = 0;
  MEMORY_BASIC_INFORMATION region{};
  for (const char* at = nullptr; ::VirtualQuery(at, &region, sizeof(region)) != 0;
       at = static_cast<const char*>(region.BaseAddress) + region.RegionSize) {
    if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) bytes += region.RegionSize;
  }
  return bytes;
}

struct HandleEntry {
  void* object;
  ULONG_PTR process;
  ULONG_PTR value;
  ULONG access;
  USHORT unused[2];
  ULONG flags;
  ULONG reserved;
};
struct HandleList {
  ULONG_PTR count;
  ULONG_PTR reserved;
  HandleEntry entries[1];
};

// GetProcessHandleCount would do, but that Wine always answers 0.
std::size_t Handles() {
  constexpr ULONG kAllHandles = 64;  // SystemExtendedHandleInformation
  constexpr auto kTooSmall = static_cast<LONG>(0xC0000004);
  std::vector<ULONG_PTR> buffer(1U << 14);
  LONG status = kTooSmall;
  while (status == kTooSmall) {
    buffer.resize(buffer.size() * 2);
    status = ::NtQuerySystemInformation(kAllHandles, buffer.data(),
                                        static_cast<ULONG>(buffer.size() * sizeof(ULONG_PTR)), nullptr);
  }
  if (status != 0) return 0;
  const auto& list = *reinterpret_cast<const HandleList*>(buffer.data());
  return static_cast<std::size_t>(
      std::count_if(list.entries, list.entries + list.count,
                    [](const HandleEntry& entry) { return entry.process == ::GetCurrentProcessId(); }));
}

}  // namespace

Held::Held() : heap(HeapBytes()), committed(CommittedBytes()), handles(Handles()) {}

}  // namespace qmf::test
