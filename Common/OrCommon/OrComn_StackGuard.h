// The value that tells a function on its way out whether its stack was overrun (-fstack-protector).
//
// The compiler's own library draws it from a cryptographic provider, for which the system loads half a dozen libraries,
// user32 among them: more than all the rest of a short command. Here it comes from the generator behind the providers.
#pragma once

#include <cstdint>

namespace OrCommon {

// A value that nobody can guess; a fixed one, which still stops a text, where the system has no random numbers to give.
// One byte is always 0, so that no copied text can carry the value.
std::uintptr_t DrawStackGuard() noexcept;

}  // namespace OrCommon
