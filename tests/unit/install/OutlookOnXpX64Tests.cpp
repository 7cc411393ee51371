// A program of its own: on Windows XP Professional x64 one release more is refused.
#include <doctest/doctest.h>

#include "install/OutlookDetection.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TextLines.h"
#include "tests/unit/install/OutlookRegistered.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

TEST_CASE("Outlook 2002 is refused without a word of its own") {
  const WindowsReports xp64(5, 2, VER_NT_WORKSTATION);
  const OutlookRegistered outlook;
  outlook.NameAndRelease(L"10");
  const LogCapture log;
  CHECK_FALSE(IsOutlookSupported());
  CHECK_LINES(LinesWith(log.Lines(), "return"), {"LOG_INFO : GetOutlookVersion return=3"});
}

TEST_CASE("the others are as anywhere") {
  const WindowsReports xp64(5, 2, VER_NT_WORKSTATION);
  const OutlookRegistered outlook;
  outlook.NameAndRelease(L"9");
  CHECK_FALSE(IsOutlookSupported());
  outlook.NameAndRelease(L"11");
  CHECK(IsOutlookSupported());
  outlook.NameAndRelease(L"14");
  CHECK(IsOutlookSupported());
}

}  // namespace
