// A substitute for "Explorer.exe". The product uses its token if the session has none.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"

namespace TestSupport {

class ShellProgram {
 public:
  // Returns when the program waits. The process list shows it earlier, when no module gives its name yet.
  ShellProgram() : process_(Installed(), {kEnd, L"60"}) {
    HANDLE waiting = nullptr;
    for (int i = 0; (waiting = ::OpenEventW(SYNCHRONIZE, FALSE, kEnd)) == nullptr && i < 3000; ++i) {
      ::Sleep(10);
    }
    if (waiting == nullptr) {
      throw std::runtime_error("the test's Explorer.exe did not start");
    }
    ::CloseHandle(waiting);
  }

 private:
  static constexpr wchar_t kEnd[] = L"VelaTestEndOfShell";

  // The tests' prefixes start no program of this name (run_in_prefix.sh). "*" before a name excludes those in the
  // system folder.
  struct Allowed {
    Allowed() { MakeKey(Place(), {{L"*explorer.exe", L"native"}}); }
    Allowed(const Allowed&) = delete;
    Allowed& operator=(const Allowed&) = delete;
    ~Allowed() { RemoveValue(Place(), L"*explorer.exe"); }
    static KeyPlace Place() { return {HKEY_CURRENT_USER, L"Software\\Wine\\DllOverrides", KEY_WOW64_64KEY}; }
  };

  static std::wstring Installed() {
    const std::wstring program = L"C:\\VelaTest\\Shell\\Explorer.exe";
    CopyTestFile(FixturePath(L"Sleeper.exe"), program);
    return program;
  }

  Allowed allowed_;
  TestProcess process_;
};

}  // namespace TestSupport
