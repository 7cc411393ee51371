// A source with only read-only files, such as a disc. The copies are read-only, and can still be replaced.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

using namespace Scenarios;
using TestSupport::FileContent;
using TestSupport::LinesWith;

namespace {

const std::wstring kSource = World::kSource;

void MakeSourceReadOnly() {
  for (const std::wstring& file : FilesBelow(kSource)) {
    ::SetFileAttributesW((kSource + file).c_str(), FILE_ATTRIBUTE_READONLY);
  }
}

void WriteReadOnly(const std::wstring& path, const std::string& content) {
  ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  TestSupport::WriteTestFile(path, content);
  ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
}

bool RefusesToBeMadeAnew(const std::wstring& path) {
  const HANDLE file =
      ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  const bool refused = file == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_ACCESS_DENIED;
  ::CloseHandle(file);
  return refused;
}

TEST_CASE("an upgrade replaces read-only files that were copied from a disc") {
  const Lines& plain = PlainUpgrade();
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  MakeSourceReadOnly();
  const std::wstring pattern = L"VELA\\VELA_OL\\vela.ptn";
  const std::wstring settings = L"VELA\\VELA_OL\\VELA_OL.ini";
  Upgrade(world);
  REQUIRE(RefusesToBeMadeAnew(kBase + pattern));
  WriteReadOnly(kSource + L"\\Common\\win32\\vela.ptn", "newer pattern");
  WriteReadOnly(kSource + L"\\Resource\\common\\VELA_OL.ini", "newer settings");

  const Outcome outcome = Upgrade(world);

  CheckRun("an upgrade from a newer disc", plain, Told(outcome));
  CHECK(FileContent(kBase + pattern) == "newer pattern");
  CHECK(FileContent(kBase + settings) == "newer settings");
  for (const std::wstring& file : {pattern, settings}) {
    CHECK((::GetFileAttributesW((kBase + file).c_str()) & FILE_ATTRIBUTE_READONLY) != 0);
  }
}

TEST_CASE("a read-only copy that waits for the restart is replaced by a newer one") {
  World world;
  world.WithSampleSource();
  MakeSourceReadOnly();
  Upgrade(world);
  const std::wstring pattern = kBase + L"VELA\\VELA_OL\\vela.ptn";
  world.WithOpenFile(pattern, FILE_SHARE_READ);
  for (const char* const content : {"newer pattern", "the newest pattern"}) {
    WriteReadOnly(kSource + L"\\Common\\win32\\vela.ptn", content);

    const Outcome outcome = Upgrade(world);

    CHECK_LINES(LinesWith(outcome.log, "failed, err="), {});
    CHECK(FileContent(pattern + L".tmp_") == content);
  }
}

}  // namespace
