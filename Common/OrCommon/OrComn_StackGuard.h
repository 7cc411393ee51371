// The stack guard: a value by which a function detects, before it returns, that its stack was overrun
// (-fstack-protector).
//
// The compiler's own library gets it from a cryptographic provider. For that the system loads half a dozen libraries,
// which costs more than the rest of a short command. SystemFunction036 does not help: since Windows 7 advapi32 forwards
// it to cryptbase.dll, which the loader searches for in the program's own folder before any guard is enabled. So the
// value is computed as in Visual C++'s runtime (__security_init_cookie): from the time, the process and thread ids, the
// performance counter and addresses.
#pragma once

#include <cstdint>

namespace OrCommon {

// Differs from process to process and is never 0. The lowest byte is always 0: no copied string can contain the value.
std::uintptr_t DrawStackGuard() noexcept;

}  // namespace OrCommon
