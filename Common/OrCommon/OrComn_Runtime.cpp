// Parts of the C++ library that the program brings itself, where the library's own cost too much.
#if defined(__MINGW32__)
#include <cxxabi.h>

#include <cstdlib>
#include <exception>

extern "C" {

// What the compiler's code asks before and after the first initialisation of a local static object. The library's
// versions wait for other threads, from GCC 13 on with condition variables, which Windows 5.2 lacks: a program that
// imports them does not start there. Here no object of this kind is reached by two threads: the program has one, and
// the trace, which others may use, has no local static objects. As in the library, the first byte of the guard says
// that the object is made.
int __cxxabiv1::__cxa_guard_acquire(__guard* guard) {
  return *reinterpret_cast<const char*>(guard) == 0;
}

void __cxxabiv1::__cxa_guard_release(__guard* guard) noexcept {
  *reinterpret_cast<char*>(guard) = 1;
}

// The initialisation has thrown: the next one to come here tries again.
void __cxxabiv1::__cxa_guard_abort(__guard*) noexcept {}
}

// What an exception that nobody catches ends in. The library's version prints the exception's name first, for which it
// brings 55 KB of code that reads such names.
__attribute__((noreturn)) void __gnu_cxx::__verbose_terminate_handler() {
  std::abort();
}
#endif
