// A file that is replaced when the machine restarts.
#include <doctest/doctest.h>

#include <vector>

#include "install/FileCopy.h"
#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/FileCallTrace.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"

using namespace TestSupport;
using CoreAgentUtility::File::copyFileEx;

namespace {

struct Replacement {
  PendingMoves pending;
  ScratchFolder folder{L"Restart"};
  std::wstring source = folder.MakeFile(L"source.dll", "new", 4);
  std::wstring destination = folder.MakeFile(L"used.dll", "old", 1);
  std::wstring waiting = destination + L".tmp_";
};

TEST_CASE("the move is asked for with its flags, after the copy") {
  const Replacement replacement;
  Lines calls;
  DWORD flags = 0;
  std::wstring from;
  std::wstring to;
  {
    const ImportRedirection move("MoveFileExW", [&](LPCWSTR a, LPCWSTR b, DWORD f) -> BOOL {
      from = a;
      to = b;
      flags = f;
      return TRUE;
    });
    const FileCallTrace trace;
    copyFileEx(replacement.source, replacement.destination);
    calls = trace.Calls();
  }
  CHECK(from == replacement.waiting);
  CHECK(to == replacement.destination);
  CHECK(flags == 5);
  REQUIRE(calls.size() > 2);
  CHECK(calls.front() == "CreateFileW source.dll for reading -> 1");
  CHECK(calls.back() == "MoveFileExW used.dll.tmp_ used.dll 5");
  CHECK_LINES(LinesWith(calls, "CreateFileW used.dll "), {});
}

TEST_CASE("a copy that fails is logged and nothing is scheduled") {
  const Replacement replacement;
  const LogCapture log;
  bool done = true;
  {
    const FailCall write("WriteFile", 1, ERROR_DISK_FULL);
    done = copyFileEx(replacement.source, replacement.destination);
  }
  CHECK_FALSE(done);
  CHECK_LINES(replacement.pending.Lines(), {});
  CHECK_LINES(log.Lines(), {"LOG_ERROR: CoreAgentUtility::File::copyFileEx(C:\\VelaTest\\Restart\\source.dll,"
                            "C:\\VelaTest\\Restart\\used.dll.tmp_) failed, err=112"});
}

TEST_CASE("a move that cannot be scheduled is logged, and the waiting copy stays") {
  const Replacement replacement;
  const LogCapture log;
  bool done = true;
  {
    const FailCall move("MoveFileExW", 1, ERROR_ACCESS_DENIED);
    done = copyFileEx(replacement.source, replacement.destination);
  }
  CHECK_FALSE(done);
  CHECK(FileContent(replacement.waiting) == "new");
  CHECK(FileContent(replacement.destination) == "old");
  CHECK_LINES(log.Lines(), {"LOG_ERROR: MoveFileEx(C:\\VelaTest\\Restart\\used.dll.tmp_,"
                            "C:\\VelaTest\\Restart\\used.dll) failed, err=5"});
}

}  // namespace
