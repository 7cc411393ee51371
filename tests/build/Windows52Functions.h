// Functions that every supported Windows exports.
#pragma once

#include <string_view>

// True if `function` of `library` (lower case, "kernel32.dll") is in the reviewed list of functions of Windows XP x64
// Edition and Windows Server 2003 x64 (version 5.2). A program that imports any other function does not start there.
//
// To add one, look up its page: the minimum must be Windows XP, Windows Server 2003 or an older system. For the C
// runtime: the msvcrt.dll of 5.2 has no functions with an _s ending, no strnlen and no aligned allocation.
bool IsInWindows52(std::string_view library, std::string_view function);
