// Where the files go, with the ANSI code page 1252. What another code page makes of it:
// tests/scenarios/CodePageTests.cpp.
#include "install/DataFolder.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <shlobj.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "tests/unit/install/CommandLineGiven.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

std::string LeadByteAt(int index) {
  return "LOG_INFO : --- Find DBCS Character by IsDBCSLeadByte() !! --- idx=" + std::to_string(index);
}

std::string HighByteAt(int index) {
  return "LOG_INFO : --- Find DBCS Character by checking if ANSI character set --- idx=" + std::to_string(index);
}

TEST_CASE("a byte above 127 in the destination's name counts as part of a double-byte character") {
  REQUIRE(::GetACP() == 1252);
  struct Row {
    const wchar_t* destination;
    int index;  // of the first such byte; -1: none
    const wchar_t* base;
  };
  for (const Row& row : {Row{L"C:\\Program Files\\Orvane", -1, L"C:\\Program Files\\Orvane\\Orvane Labs\\"},
                         Row{L"C:\\Orvane\\", -1, L"C:\\Orvane\\Orvane Labs\\"}, Row{L"", -1, L"Orvane Labs\\"},
                         Row{L"C:\\a~\x7F", -1, L"C:\\a~\x7F\\Orvane Labs\\"},
                         Row{L"C:\\Caf\u00E9\\\u00FC", 6, L"C:\\ProgramData\\Orvane Labs\\"},
                         Row{L"\u20ACuro", 0, L"C:\\ProgramData\\Orvane Labs\\"},
                         // What the code page lacks becomes question marks, which nobody sees.
                         Row{L"C:\\\u65E5\u672C", -1, L"C:\\\u65E5\u672C\\Orvane Labs\\"}}) {
    CAPTURE(ToUtf8(row.destination));
    const CommandLineGiven given(L"C:\\\u00E9", row.destination);
    const LogCapture log;
    CHECK(HasDoubleByteCharacters() == (row.index >= 0));
    CHECK_LINES(log.Lines(), (row.index >= 0 ? Lines{HighByteAt(row.index)} : Lines{}));
    CHECK(ChooseBaseFolder(DestPath) == row.base);
  }
}

TEST_CASE("a lead byte is told at its place, though it is above 127, too, and ends the search") {
  const CommandLineGiven given(L"", L"C:\\ab\u00E9c");
  const LogCapture log;
  std::vector<BYTE> asked;
  {
    const ImportRedirection leadByte("IsDBCSLeadByte", [&](BYTE byte) -> BOOL {
      asked.push_back(byte);
      return byte == 0xE9 ? 5 : FALSE;  // any value but 0 is "yes"
    });
    CHECK(HasDoubleByteCharacters());
  }
  CHECK(asked == std::vector<BYTE>{'C', ':', '\\', 'a', 'b', 0xE9});
  CHECK_LINES(log.Lines(), {LeadByteAt(5)});
}

TEST_CASE("the whole name is converted to the ANSI code page without flags") {
  const CommandLineGiven given(L"", L"C:\\\u00E9");
  struct Call {
    UINT codePage;
    DWORD flags;
    std::wstring text;
    bool substitutes;
  };
  std::vector<Call> calls;
  {
    ImportRedirection convert("WideCharToMultiByte",
                              [&](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR to, int capacity,
                                  LPCCH substitute, LPBOOL used) -> int {
                                calls.push_back({codePage, flags, text, substitute != nullptr || used != nullptr});
                                return convert.Original<decltype(&::WideCharToMultiByte)>()(
                                    codePage, flags, text, length, to, capacity, substitute, used);
                              });
    CHECK(HasDoubleByteCharacters());
  }
  REQUIRE(calls.size() == 2);
  for (const Call& call : calls) {
    CHECK(call.codePage == CP_ACP);
    CHECK(call.flags == 0);
    CHECK(call.text == L"C:\\\u00E9");
    CHECK_FALSE(call.substitutes);
  }
}

TEST_CASE("a name that cannot be converted counts as free of double-byte characters") {
  const CommandLineGiven given(L"", L"C:\\\u00E9");
  const LogCapture log;
  bool found = true;
  SUBCASE("its length") {
    const FailCall convert("WideCharToMultiByte", 1, ERROR_NO_UNICODE_TRANSLATION);
    found = HasDoubleByteCharacters();
  }
  SUBCASE("its text") {
    const FailCall convert("WideCharToMultiByte", 2, ERROR_NO_UNICODE_TRANSLATION);
    found = HasDoubleByteCharacters();
    CHECK(convert.Failed() == 1);
  }
  SUBCASE("another length at the second time") {
    int calls = 0;
    ImportRedirection convert("WideCharToMultiByte",
                              [&](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR to, int capacity,
                                  LPCCH substitute, LPBOOL used) -> int {
                                const int size = convert.Original<decltype(&::WideCharToMultiByte)>()(
                                    codePage, flags, text, length, to, capacity, substitute, used);
                                return ++calls == 2 ? size - 1 : size;
                              });
    found = HasDoubleByteCharacters();
    CHECK(calls == 2);
  }
  CHECK_FALSE(found);
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("the common data folder is asked for and not made") {
  int folder = 0;
  BOOL create = TRUE;
  {
    ImportRedirection ask("SHGetSpecialFolderPathW", [&](HWND window, LPWSTR path, int csidl, BOOL make) -> BOOL {
      folder = csidl;
      create = make;
      return ask.Original<decltype(&::SHGetSpecialFolderPathW)>()(window, path, csidl, make);
    });
    CHECK(GetCommonDataFolder() == L"C:\\ProgramData");
  }
  CHECK(folder == 0x23);
  CHECK(create == FALSE);
}

TEST_CASE("without a common data folder it is the Windows folder") {
  const CommandLineGiven given(L"", L"C:\\\u00E9");
  int folder = 0;
  HANDLE token = &folder;
  DWORD flags = 1;
  std::wstring base;
  {
    const ImportRedirection ask("SHGetSpecialFolderPathW", [](HWND, LPWSTR path, int, BOOL) -> BOOL {
      std::wcscpy(path, L"C:\\half done");
      return FALSE;
    });
    ImportRedirection fallback(
        "SHGetFolderPathW", [&](HWND window, int csidl, HANDLE user, DWORD how, LPWSTR path) -> HRESULT {
          folder = csidl;
          token = user;
          flags = how;
          return fallback.Original<decltype(&::SHGetFolderPathW)>()(window, csidl, user, how, path);
        });
    base = ChooseBaseFolder(DestPath);
  }
  CHECK(base == L"C:\\windows\\Orvane Labs\\");
  CHECK(folder == 0x24);
  CHECK(token == nullptr);
  CHECK(flags == 0);
}

TEST_CASE("without either the base folder is relative") {
  const CommandLineGiven given(L"", L"C:\\\u00E9");
  const FailCall ask("SHGetSpecialFolderPathW", 1, ERROR_FILE_NOT_FOUND);
  const FailCall fallback("SHGetFolderPathW", 1, ERROR_FILE_NOT_FOUND);
  CHECK(ChooseBaseFolder(DestPath) == L"Orvane Labs\\");
}

}  // namespace
