#include "Common/OrCommon/OrComn_StackGuard.h"

#include <windows.h>

#include <ntsecapi.h>

#include <cstring>

namespace OrCommon {

std::uintptr_t DrawStackGuard() noexcept {
  constexpr std::uintptr_t kTerminators = 0xFF0A0D00;  // NUL, CR, LF and the end of a file: a text stops there
  std::uintptr_t guard = 0;
  if (!::RtlGenRandom(&guard, sizeof guard) || guard == 0) {
    guard = kTerminators;
  }
  return guard & ~std::uintptr_t{0xFF};
}

}  // namespace OrCommon

#if defined(__MINGW32__)
// The names that the compiler's code asks for. All that its own library defines in the same place stands here too:
// asked for one of them it would define the others once more, which the linker refuses.
extern "C" {

extern std::uintptr_t __stack_chk_guard;
[[noreturn]] void __stack_chk_fail();  // NOLINT(readability-identifier-naming): the compiler's name

std::uintptr_t __stack_chk_guard = 0;

// The process ends as it does at an instruction that does not exist: nothing of what is on the stack is trusted.
void __stack_chk_fail() {
  __builtin_trap();
}

#if __MINGW_FORTIFY_LEVEL > 0  // declared by the runtime's headers then
void __chk_fail() {
  __builtin_trap();
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
