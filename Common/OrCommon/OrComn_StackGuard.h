// The value that tells a function on its way out whether its stack was overrun (-fstack-protector).
//
// The compiler's own library draws it from a cryptographic provider, for which the system loads half a dozen libraries,
// user32 among them: more than all the rest of a short command. The generator behind the providers (SystemFunction036)
// is no way out: since Windows 7 advapi32 forwards it to cryptbase.dll, which the loader looks for in the program's own
// folder, before any guard of the process is taken. So the value is made as Visual C++'s runtime makes its own
// (__security_init_cookie): from the time, the ids of process and thread, the performance counter and addresses.
#pragma once

#include <cstdint>

namespace OrCommon {

// Another value for each process; never 0. The lowest byte is always 0, so that no copied text can carry the value.
std::uintptr_t DrawStackGuard() noexcept;

}  // namespace OrCommon
