#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

extern "C" std::uintptr_t __stack_chk_guard;  // NOLINT(bugprone-reserved-identifier): the compiler's name.

namespace {

// This file is compiled with the protection that the library has.
[[gnu::noinline]] void WriteBehindABuffer(std::size_t bytes) {
  char buffer[16];
  volatile char* const at = buffer;
  for (std::size_t i = 0; i < bytes; ++i) at[i] = 'x';
}

TEST(StackGuardDeathTest, IsAnothersGuessAndEndsAProgramThatOverwritesIt) {
  EXPECT_GT(__stack_chk_guard, 0xFFFFU);
  WriteBehindABuffer(16);
  const auto endsAtOnce = [](int code) {
    constexpr DWORD kStackBufferOverrun = 0xC0000409;
    return code == static_cast<int>(kStackBufferOverrun) || code == 0;  // Wine tells no code of this end.
  };
  EXPECT_EXIT((WriteBehindABuffer(64), std::_Exit(1)), endsAtOnce, "");
}

}  // namespace
