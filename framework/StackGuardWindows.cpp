// What the compiler's stack protection and checked copies ask for. The compiler's own library would start a
// cryptographic provider, which loads libraries, while this one is being loaded, where that is not allowed.

#include <windows.h>

#include <cstdint>
#include <initializer_list>

// NOLINTBEGIN(bugprone-reserved-identifier): the compiler's names.
extern "C" {
std::uintptr_t __stack_chk_guard = 0;
[[noreturn]] void __stack_chk_fail();
[[noreturn]] void __chk_fail();
}

namespace {

constexpr std::uint32_t kStackCookieCheckFailure = 2;  // FAST_FAIL_STACK_COOKIE_CHECK_FAILURE
constexpr std::uint32_t kRangeCheckFailure = 8;        // FAST_FAIL_RANGE_CHECK_FAILURE

// Ends the process at once, with no handler of anybody's in between.
[[noreturn]] void FailFast(std::uint32_t reason) {
  asm volatile("int $0x29" : : "c"(reason));
  __builtin_unreachable();
}

// What differs between processes and moments, as the platform's own cookies are made of it.
__attribute__((optimize("no-stack-protector"))) std::uint64_t Noise() {
  FILETIME time{};
  LARGE_INTEGER counter{};
  ::GetSystemTimeAsFileTime(&time);
  ::QueryPerformanceCounter(&counter);
  std::uint64_t noise = std::uint64_t{time.dwHighDateTime} << 32 ^ time.dwLowDateTime;
  for (const std::uint64_t more :
       {std::uint64_t{::GetCurrentProcessId()}, std::uint64_t{::GetCurrentThreadId()},
        static_cast<std::uint64_t>(counter.QuadPart),
        std::uint64_t{reinterpret_cast<std::uintptr_t>(&counter)},
        std::uint64_t{reinterpret_cast<std::uintptr_t>(&__stack_chk_guard)}}) {
    noise = (noise ^ more) * 0x9E3779B97F4A7C15;
    noise ^= noise >> 29;
  }
  return noise;
}

// Before other constructors. Its first byte in memory is zero, where a text that runs on would end.
__attribute__((constructor(101), optimize("no-stack-protector"))) void ChooseGuard() {
  __stack_chk_guard = static_cast<std::uintptr_t>(Noise()) << 8;
}

}  // namespace

void __stack_chk_fail() {
  FailFast(kStackCookieCheckFailure);
}

void __chk_fail() {
  FailFast(kRangeCheckFailure);
}
// NOLINTEND(bugprone-reserved-identifier)
