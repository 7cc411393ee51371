// Calls that are answered here instead of by Windows, also if no failure is ordered.
#pragma once

#include <windows.h>

namespace Faults {

// No child is started: a sweep has thousands of runs, and starting children would take too long. The product gets
// handles of an ended process. If the order contains " register", the work of regsvr32.exe is done here: the class of
// the module is registered or removed.
BOOL WINAPI AnswerCreateProcess(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                                LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                                LPCWSTR folder, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information);
BOOL WINAPI AnswerCreateProcessAsUser(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                                      LPSECURITY_ATTRIBUTES process, LPSECURITY_ATTRIBUTES thread, BOOL inherit,
                                      DWORD flags, LPVOID environment, LPCWSTR folder, LPSTARTUPINFOW startup,
                                      LPPROCESS_INFORMATION information);

// Skips the tenth of a second that the product gives to monitors.
void WINAPI AnswerSleep(DWORD milliseconds);

}  // namespace Faults
