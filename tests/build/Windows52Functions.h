// Functions that every supported Windows exports.
#pragma once

#include <string_view>

// Whether `function` of `library` (lower case, "kernel32.dll") is in the reviewed list of functions that Windows XP x64
// Edition and Windows Server 2003 x64 (version 5.2) have. A program that imports anything else does not start there.
//
// To add one: look it up; its page has to name Windows XP or Windows Server 2003, or an older system, as the minimum.
// For the C runtime: the msvcrt.dll of 5.2 has none of the functions with an _s ending, no strnlen, no aligned
// allocation.
bool IsInWindows52(std::string_view library, std::string_view function);
