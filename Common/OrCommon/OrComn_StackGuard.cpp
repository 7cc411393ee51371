#include "Common/OrCommon/OrComn_StackGuard.h"

#include <windows.h>

namespace OrCommon {

std::uintptr_t DrawStackGuard() noexcept {
  constexpr std::uintptr_t kTerminators = 0xFF0A0D00;  // NUL, CR, LF and the end of a file: a text stops there
  FILETIME now = {};
  ::GetSystemTimeAsFileTime(&now);
  LARGE_INTEGER counter = {};
  ::QueryPerformanceCounter(&counter);
  // Shifted so that bits that change often are combined with bits that seldom change.
  auto guard = reinterpret_cast<std::uintptr_t>(&now);               // moves with the stack
  guard ^= reinterpret_cast<std::uintptr_t>(&DrawStackGuard) << 16;  // moves with the program
  guard ^= std::uintptr_t{now.dwHighDateTime} << 32 ^ now.dwLowDateTime;
  guard ^= std::uintptr_t{::GetCurrentProcessId()} << 48 ^ std::uintptr_t{::GetCurrentThreadId()} << 40;
  guard ^= static_cast<std::uintptr_t>(counter.QuadPart) << 24 ^ static_cast<std::uintptr_t>(counter.QuadPart);
  guard &= ~std::uintptr_t{0xFF};
  return guard != 0 ? guard : kTerminators;
}

}  // namespace OrCommon

#if defined(__MINGW32__)
// The names that the compiler's code refers to. All names that its own library defines in the same object file are
// defined here, too. Otherwise the linker would take that file and find duplicate definitions.
extern "C" {

extern std::uintptr_t __stack_chk_guard;
[[noreturn]] void __stack_chk_fail();  // NOLINT(readability-identifier-naming): the compiler's name

std::uintptr_t __stack_chk_guard = 0;

// Fast fail ends the process without calling exception handlers, because the stack cannot be trusted. Windows older
// than 8 treats the interrupt as an access violation; the trap follows in case it returns.
void __stack_chk_fail() {
  constexpr unsigned kStackCookieCheckFailure = 2;  // FAST_FAIL_STACK_COOKIE_CHECK_FAILURE
  __asm__ volatile("int $0x29" : : "c"(kStackCookieCheckFailure));
  __builtin_trap();
}

#if __MINGW_FORTIFY_LEVEL > 0  // declared by the runtime's headers then
void __chk_fail() {
  __stack_chk_fail();
}
#endif
}

namespace {

// Runs before all other static initialisation. While the value changes, no active function may be guarded, not even
// this one.
__attribute__((constructor(101), no_stack_protector)) void SetStackGuard() {
  __stack_chk_guard = OrCommon::DrawStackGuard();
}

}  // namespace
#endif
