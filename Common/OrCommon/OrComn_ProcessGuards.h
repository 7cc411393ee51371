// What a process with machine rights does before anything else.
#pragma once

namespace OrCommon {

// Narrows what this process can be talked into: libraries are loaded from the system folder only, a corrupted heap ends
// the process, paths made of links that an ordinary user planted are not followed, and a program that is started by
// its name alone is not looked for in the current folder. Each guard is taken where the running Windows has it; a
// Windows that lacks one, or refuses it, is left as it is. Reports nothing: it runs before the run log is open.
void GuardProcess() noexcept;

}  // namespace OrCommon
