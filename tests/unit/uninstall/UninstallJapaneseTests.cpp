// Runs with the Japanese code page: the product lies in the common data folder where the destination holds a
// double-byte character.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/unit/uninstall/UninstallLog.h"
#include "tests/unit/uninstall/UninstallWorld.h"
#include "uninstall/UninstallCommand.h"

using namespace TestSupport;

namespace {

// "idx=" and what follows: the byte at which the first such character stands.
std::string Finding(const Lines& log) {
  const std::string& line = log.front();
  const std::size_t index = line.find("--- Find DBCS");
  return index == std::string::npos ? std::string() : line.substr(index);
}

TEST_CASE("a Japanese destination stands for the common data folder") {
  REQUIRE(::GetACP() == 932);
  const std::wstring destination = L"C:\\VelaTest\\Removal\\\u65E5\u672C";
  const UninstallWorld world(destination);
  world.MakeProduct(destination);
  world.MakeProduct(UninstallWorld::kCommonBase);
  world.RegisterAll();
  const LogCapture log;
  CHECK(plugVELA_Uninstall() == 0);
  CHECK(Finding(log.Lines()) == "--- Find DBCS Character by IsDBCSLeadByte() !! --- idx=20");
  CHECK_LINES(world.regsvr32.CommandLines().empty() ? Lines{} : Lines{world.regsvr32.CommandLines().front()},
              {"regsvr32.exe /u /s \"C:\\ProgramData\\Orvane Labs\\VELA\\VELA_OL\\VELA_OLA.dll\""});
  CHECK_LINES(LinesWith(log.Lines(), "Success to delete folder"),
              {"LOG_INFO : VELAUtility::DeleteFolderFiles(), Success to delete folder: "
               "C:\\ProgramData\\Orvane Labs\\VELA"});
  CHECK_FALSE(Exists(UninstallWorld::kCommonBase + std::wstring(L"\\VELA")));
  CHECK(Exists(destination + L"\\VELA\\VELA_OL\\plugin.dll"));  // nobody's
}

TEST_CASE("an accented destination is as good as any") {
  const std::wstring destination = L"C:\\VelaTest\\Removal\\Caf\u00E9";
  const UninstallWorld world(destination);
  world.MakeProduct(destination);
  world.MakeProduct(UninstallWorld::kCommonBase);
  const LogCapture log;
  CHECK(plugVELA_Uninstall() == 0);
  CHECK(Finding(log.Lines()).empty());
  CHECK_FALSE(Exists(destination + L"\\VELA"));
  CHECK(Exists(UninstallWorld::kCommonBase + std::wstring(L"\\VELA\\VELA_OL\\plugin.dll")));
}

}  // namespace
