// Replacements for parts of the C++ library that cost too much.
#if defined(__MINGW32__)
#include <cxxabi.h>

#include <cstdlib>
#include <exception>

extern "C" {

// The compiler's code calls these before and after the first initialisation of a local static object. The library's
// versions wait for other threads. From GCC 13 on they use condition variables, which Windows 5.2 lacks: a program that
// imports them does not start there. Here only one thread reaches objects of this kind: the program has one thread, and
// the trace, which other threads may use, has no local static objects. As in the library, the first byte of the guard
// is set after the initialisation.
// NOLINTNEXTLINE(readability-non-const-parameter): declared so by <cxxabi.h>
int __cxxabiv1::__cxa_guard_acquire(__guard* guard) {
  return *reinterpret_cast<const char*>(guard) == 0;
}

void __cxxabiv1::__cxa_guard_release(__guard* guard) noexcept {
  *reinterpret_cast<char*>(guard) = 1;
}

// The initialisation has thrown: the next call tries again.
void __cxxabiv1::__cxa_guard_abort(__guard*) noexcept {}
}

// Called for an uncaught exception. The library's version first prints the exception's name, which needs 55 KB of code
// to decode such names.
__attribute__((noreturn)) void __gnu_cxx::__verbose_terminate_handler() {
  std::abort();
}
#endif
