#include "tests/scenarios/RunningPlugin.h"

#include <windows.h>

#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/WorldReports.h"

using TestSupport::Lines;

namespace Scenarios {
namespace {

// Each has its own folder below the one that contains all clients of the tests.
std::wstring NewFolder() {
  static int count = 0;
  return L"C:\\VelaTest\\running\\plugin" + std::to_wstring(++count);
}

std::wstring Installed(const std::wstring& folder, const std::wstring& program) {
  TestSupport::CopyTestFile(TestSupport::FixturePath(L"Plugin.exe"), folder + L"\\" + program);
  return folder + L"\\" + program;
}

}  // namespace

RunningPlugin::RunningPlugin(const std::wstring& program, const std::wstring& event)
    : folder_(NewFolder()),
      process_(Installed(folder_, program), {event, L"VelaTestEndOfPlugins", folder_ + L"\\report.trace"}) {
  Report(1);
}

Lines RunningPlugin::Report(std::size_t count) const {
  Lines lines;
  for (int i = 0; i < 500; ++i) {
    lines = TestSupport::ColumnOf(folder_ + L"\\report.trace", 0);
    if (lines.size() >= count) {
      break;
    }
    ::Sleep(10);
  }
  return lines;
}

}  // namespace Scenarios
