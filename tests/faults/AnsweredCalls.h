// Calls that do not reach Windows, or not as they are, also where nothing fails.
#pragma once

#include <windows.h>

namespace Faults {

// No child is started: a sweep of thousands of runs would spend its time on them. The product gets handles of a process
// that has ended. Where the order says " register", regsvr32.exe's work is done here: the module is loaded and its
// entry point called.
BOOL WINAPI AnswerCreateProcess(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                                LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                                LPCWSTR folder, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information);
BOOL WINAPI AnswerCreateProcessAsUser(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                                      LPSECURITY_ATTRIBUTES process, LPSECURITY_ATTRIBUTES thread, BOOL inherit,
                                      DWORD flags, LPVOID environment, LPCWSTR folder, LPSTARTUPINFOW startup,
                                      LPPROCESS_INFORMATION information);

// Nobody waits for the tenth of a second that monitors are given.
void WINAPI AnswerSleep(DWORD milliseconds);

}  // namespace Faults
