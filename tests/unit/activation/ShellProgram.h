// "Explorer.exe", whose token stands in for that of a session that has none.
#pragma once

#include <windows.h>

#include <string>

#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"

namespace TestSupport {

class ShellProgram {
 public:
  ShellProgram() : process_(Installed(), {L"VelaTestEndOfShell", L"60"}) {
    for (int i = 0; CountProcesses(L"Explorer.exe") == 0 && i < 500; ++i) {
      ::Sleep(10);
    }
  }

 private:
  // The tests' prefixes start no program of this name (run_in_prefix.sh); "*" before it speaks of those that do not lie
  // in the system folder.
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
