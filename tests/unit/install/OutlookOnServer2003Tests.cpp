// A program of its own: Windows Server 2003 has the version number of Windows XP Professional x64.
#include <doctest/doctest.h>

#include "install/OutlookDetection.h"
#include "tests/unit/install/OutlookRegistered.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

TEST_CASE("Outlook 2002 is supported on the server of the same version") {
  const WindowsReports server(5, 2, VER_NT_SERVER);
  const OutlookRegistered outlook;
  outlook.NameAndRelease(L"10");
  CHECK(IsOutlookSupported());
}

}  // namespace
