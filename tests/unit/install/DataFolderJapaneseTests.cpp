// A program of its own: it runs with the ANSI code page 932.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "install/DataFolder.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "tests/unit/install/CommandLineGiven.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

TEST_CASE("a Japanese folder name is not for the plug-ins") {
  REQUIRE(::GetACP() == 932);
  const CommandLineGiven given(L"", L"C:\\\u65E5\u672C");
  const LogCapture log;
  CHECK(HasDoubleByteCharacters());
  CHECK_LINES(log.Lines(), {"LOG_INFO : --- Find DBCS Character by IsDBCSLeadByte() !! --- idx=3"});
  CHECK(ChooseBaseFolder(DestPath) == L"C:\\ProgramData\\Orvane Labs\\");
}

TEST_CASE("the index counts bytes up to the first of them") {
  REQUIRE(::GetACP() == 932);
  const CommandLineGiven given(L"", L"C:\\mail\\\u8868\\a");  // its second byte is a backslash
  const LogCapture log;
  CHECK(HasDoubleByteCharacters());
  CHECK_LINES(log.Lines(), {"LOG_INFO : --- Find DBCS Character by IsDBCSLeadByte() !! --- idx=8"});
}

TEST_CASE("half-width katakana are single bytes above 127") {
  REQUIRE(::GetACP() == 932);
  const CommandLineGiven given(L"", L"C:\\\uFF71");
  const LogCapture log;
  CHECK(HasDoubleByteCharacters());
  CHECK_LINES(log.Lines(), {"LOG_INFO : --- Find DBCS Character by checking if ANSI character set --- idx=3"});
}

TEST_CASE("an accented letter is replaced by its plain one and does not count") {
  REQUIRE(::GetACP() == 932);
  const CommandLineGiven given(L"", L"C:\\Caf\u00E9");
  const LogCapture log;
  CHECK_FALSE(HasDoubleByteCharacters());
  CHECK(ChooseBaseFolder(DestPath) == L"C:\\Caf\u00E9\\Orvane Labs\\");
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a plain destination is used as it is") {
  REQUIRE(::GetACP() == 932);
  const CommandLineGiven given(L"", L"C:\\Orvane");
  CHECK_FALSE(HasDoubleByteCharacters());
  CHECK(ChooseBaseFolder(DestPath) == L"C:\\Orvane\\Orvane Labs\\");
}

}  // namespace
