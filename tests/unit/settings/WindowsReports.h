// What Windows tells the product about itself. The product asks once per process: every test of a program that answers
// in this way gives the same answer, from its first question on.
#pragma once

#include <windows.h>

#include "tests/support/ImportRedirection.h"

namespace TestSupport {

class WindowsReports {
 public:
  WindowsReports(DWORD major, DWORD minor, BYTE productType)
      : redirection_("GetVersionExW", [=](LPOSVERSIONINFOW version) -> BOOL {
          if (version->dwOSVersionInfoSize != sizeof(OSVERSIONINFOEXW)) {
            ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
          }
          auto* const full = reinterpret_cast<OSVERSIONINFOEXW*>(version);
          full->dwMajorVersion = major;
          full->dwMinorVersion = minor;
          full->dwPlatformId = VER_PLATFORM_WIN32_NT;
          full->wServicePackMajor = 0;
          full->wProductType = productType;
          return TRUE;
        }) {}

 private:
  ImportRedirection redirection_;
};

}  // namespace TestSupport
