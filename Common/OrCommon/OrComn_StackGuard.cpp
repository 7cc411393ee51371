#include "Common/OrCommon/OrComn_StackGuard.h"

#include <windows.h>

namespace OrCommon {

std::uintptr_t DrawStackGuard() noexcept {
  constexpr std::uintptr_t kTerminators = 0xFF0A0D00;  // NUL, CR, LF and the end of a file: a text stops there
  FILETIME now = {};
  ::GetSystemTimeAsFileTime(&now);
  LARGE_INTEGER counter = {};
  ::QueryPerformanceCounter(&counter);
  // The parts that change least go to the places where those that change most are still.
  std::uintptr_t guard = reinterpret_cast<std::uintptr_t>(&now);     // moves with the stack
  guard ^= reinterpret_cast<std::uintptr_t>(&DrawStackGuard) << 16;  // moves with the program
  guard ^= std::uintptr_t{now.dwHighDateTime} << 32 ^ now.dwLowDateTime;
  guard ^= std::uintptr_t{::GetCurrentProcessId()} << 48 ^ std::uintptr_t{::GetCurrentThreadId()} << 40;
  guard ^= static_cast<std::uintptr_t>(counter.QuadPart) << 24 ^ static_cast<std::uintptr_t>(counter.QuadPart);
  guard &= ~std::uintptr_t{0xFF};
  return guard != 0 ? guard : kTerminators;
}

}  // namespace OrCommon

#if defined(__MINGW32__)
// The names that the compiler's code asks for. All that its own library defines in the same place stands here too:
// asked for one of them it would define the others once more, which the linker refuses.
extern "C" {

extern std::uintptr_t __stack_chk_guard;
[[noreturn]] void __stack_chk_fail();  // NOLINT(readability-identifier-naming): the compiler's name

std::uintptr_t __stack_chk_guard = 0;

// Fast fail ends the process without any handler of exceptions: nothing of what is on the stack is trusted. Windows
// older than 8 takes the interrupt for an access violation, and the trap stands for what it might return to.
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

// Before all other static initialisation. No function that is on its way may be guarded while the value changes, this
// one included.
__attribute__((constructor(101), no_stack_protector)) void SetStackGuard() {
  __stack_chk_guard = OrCommon::DrawStackGuard();
}

}  // namespace
#endif
