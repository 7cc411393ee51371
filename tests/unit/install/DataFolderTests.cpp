// The target folder of the files, with the ANSI code page 1252. Other code pages: tests/scenarios/CodePageTests.cpp.
#include "install/DataFolder.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <shlobj.h>

#include <cstring>
#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
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
                         // Characters that the code page lacks become question marks, which the check ignores.
                         Row{L"C:\\\u65E5\u672C", -1, L"C:\\\u65E5\u672C\\Orvane Labs\\"}}) {
    CAPTURE(ToUtf8(row.destination));
    const CommandLineGiven given(L"C:\\\u00E9", row.destination);
    const LogCapture log;
    CHECK(HasDoubleByteCharacters() == (row.index >= 0));
    CHECK_LINES(log.Lines(), (row.index >= 0 ? Lines{HighByteAt(row.index)} : Lines{}));
    CHECK(ChooseBaseFolder(DestPath) == row.base);
  }
}

TEST_CASE("a lead byte is logged with its index, as a lead byte although it is above 127, and ends the search") {
  const CommandLineGiven given(L"", L"C:\\ab\u00E9c");
  const LogCapture log;
  std::string asked;
  {
    const ImportRedirection leadByte("IsDBCSLeadByte", [&](BYTE byte) -> BOOL {
      asked += static_cast<char>(byte);
      return byte == 0xE9 ? 5 : FALSE;  // any value but 0 is "yes"
    });
    CHECK(HasDoubleByteCharacters());
  }
  CHECK(asked == "C:\\ab\xE9");
  CHECK_LINES(log.Lines(), {LeadByteAt(5)});
}

TEST_CASE("the whole name is converted to the ANSI code page without flags; if that fails, it counts as plain") {
  const CommandLineGiven given(L"", L"C:\\\u00E9");
  const LogCapture log;
  for (const unsigned failing : {1U, 2U}) {  // its length, its text
    const FailCall convert("WideCharToMultiByte", failing, ERROR_NO_UNICODE_TRANSLATION);
    CHECK_FALSE(HasDoubleByteCharacters());
    CHECK(convert.Failed() == 1);
  }
  CHECK_LINES(log.Lines(), {});
  for (const int missing : {0, 1}) {  // of the length at the second call
    int calls = 0;
    ImportRedirection convert("WideCharToMultiByte",
                              [&](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR to, int capacity,
                                  LPCCH substitute, LPBOOL used) -> int {
                                CHECK((codePage == CP_ACP && flags == 0 && substitute == nullptr && used == nullptr));
                                CHECK(std::wstring(text) == L"C:\\\u00E9");
                                CHECK(length == -1);  // Wine takes any negative number, Windows only this one
                                const int size = convert.Original<decltype(&::WideCharToMultiByte)>()(
                                    codePage, flags, text, length, to, capacity, substitute, used);
                                return ++calls == 2 ? size - missing : size;
                              });
    CHECK(HasDoubleByteCharacters() == (missing == 0));
    CHECK(calls == 2);
  }
}

TEST_CASE("the common data folder is queried, not created; without one, the Windows folder is used") {
  const CommandLineGiven given(L"", L"C:\\\u00E9");
  for (const BOOL found : {TRUE, FALSE}) {
    unsigned asked = 0;
    const ImportRedirection ask("SHGetSpecialFolderPathW", [&](HWND, LPWSTR path, int csidl, BOOL make) -> BOOL {
      CHECK((csidl == 0x23 && make == FALSE));
      std::wcscpy(path, found ? L"C:\\Common" : L"C:\\half done");
      return found;
    });
    const OnCall fallback("SHGetFolderPathW", &::SHGetFolderPathW,
                          [&](HWND, int csidl, HANDLE user, DWORD flags, LPWSTR) {
                            CHECK((csidl == 0x24 && user == nullptr && flags == 0));
                            ++asked;
                          });
    CHECK(ChooseBaseFolder(DestPath) == (found ? L"C:\\Common\\Orvane Labs\\" : L"C:\\windows\\Orvane Labs\\"));
    CHECK(asked == (found ? 0 : 1));
  }
}

TEST_CASE("without a common data folder and a Windows folder, the base folder is relative") {
  const CommandLineGiven given(L"", L"C:\\\u00E9");
  const FailCall ask("SHGetSpecialFolderPathW", 1, ERROR_FILE_NOT_FOUND);
  const FailCall fallback("SHGetFolderPathW", 1, ERROR_FILE_NOT_FOUND);
  CHECK(ChooseBaseFolder(DestPath) == L"Orvane Labs\\");
}

}  // namespace
