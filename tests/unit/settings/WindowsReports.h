// What Windows tells the product about itself. The product asks once per process. So every test of a program that uses
// this gives the same answer, from the first question on.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <stdexcept>

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

// The version that the environment sets for this run: "6.0" in VELA_TEST_WINDOWS.
struct WindowsOfThisRun {
  DWORD major = 0;
  DWORD minor = 0;

  WindowsOfThisRun() {
    const char* const text = std::getenv("VELA_TEST_WINDOWS");
    char* end = nullptr;
    if (text != nullptr) {
      major = std::strtoul(text, &end, 10);
      minor = *end == '.' ? std::strtoul(end + 1, nullptr, 10) : 0;
    }
    if (major == 0) {
      throw std::runtime_error("VELA_TEST_WINDOWS does not name a Windows version");
    }
  }
  bool Is60() const { return major == 6 && minor == 0; }
  // Reported as 6.x, without Outlook Express and Windows Mail.
  bool IsAfterVista() const { return major == 6 && minor > 0; }
};

}  // namespace TestSupport
