// A machine on which one program runs, as far as the product can see.
#pragma once

#include <windows.h>

#include <tlhelp32.h>

#include <cwchar>

#include "tests/support/ImportRedirection.h"

class OnlyProcess {
 public:
  explicit OnlyProcess(const wchar_t* name)
      : first_("Process32FirstW",
               [name](HANDLE, PROCESSENTRY32W* entry) -> BOOL {
                 std::wcscpy(entry->szExeFile, name);
                 entry->th32ProcessID = 1234;
                 return TRUE;
               }),
        next_("Process32NextW", [](HANDLE, PROCESSENTRY32W*) -> BOOL {
          ::SetLastError(ERROR_NO_MORE_FILES);
          return FALSE;
        }) {}

 private:
  TestSupport::ImportRedirection first_;
  TestSupport::ImportRedirection next_;
};
