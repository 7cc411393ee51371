// Removing the folders that plug-ins and monitors keep for all users.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/uninstall/UninstallLog.h"
#include "uninstall/FolderRemoval.h"

using namespace TestSupport;
using VELAUtility::RemoveVELAProgramData;

namespace {

constexpr wchar_t kBase[] = L"C:\\ProgramData\\Orvane Labs\\";

// Empty before and after a test.
class ProgramData {
 public:
  ProgramData() { Clear(); }
  ProgramData(const ProgramData&) = delete;
  ProgramData& operator=(const ProgramData&) = delete;
  ~ProgramData() { Clear(); }

  std::wstring MakeFile(const std::wstring& below) const {
    WriteTestFile(kBase + below, "data");
    return kBase + below;
  }
  void MakeAll() const {
    for (const wchar_t* const folder : {L"OL", L"OE", L"WLM"}) {
      MakeFile(std::wstring(folder) + L"\\Users\\{4711}\\log\\a.log");
    }
    MakeFile(L"VELA_common\\pattern.ptn");
  }
  Lines Contents() const {
    FileSnapshot snapshot;
    snapshot.Add(kBase);
    return snapshot.AsLines();
  }

  PendingMoves pending;

 private:
  static void Clear() {
    RemoveTree(L"C:\\ProgramData\\Orvane Labs");
    RemoveTree(L"C:\\windows\\Orvane Labs");
  }
};

Lines NotRemoved(const std::string& folder, int error) {
  return Joined({FolderNotEmptied(error),
                 {"LOG_WARN : VELAUtility::RemoveVELAProgramData(), Failed to delete folder: "
                  "C:\\ProgramData\\Orvane Labs\\" +
                  folder}});
}

TEST_CASE("the four folders go, others of the maker stay") {
  const ProgramData data;
  data.MakeAll();
  data.MakeFile(L"Other product\\settings.txt");
  data.MakeFile(L"OL2\\settings.txt");
  data.MakeFile(L"VELA\\VELA_OL\\plugin.dll");
  const LogCapture log;
  RemoveVELAProgramData();
  CHECK_LINES(log.Lines(), (Joined({FolderEmptied(), FolderEmptied(), FolderEmptied(), FolderEmptied()})));
  CHECK_LINES(data.Contents(),
              {"OL2\\", "OL2\\settings.txt 4 bytes", "Other product\\", "Other product\\settings.txt 4 bytes", "VELA\\",
               "VELA\\VELA_OL\\", "VELA\\VELA_OL\\plugin.dll 4 bytes"});
  CHECK_LINES(data.pending.Lines(), {});
}

TEST_CASE("none is there: four warnings, in order, and each is scheduled") {
  const ProgramData data;
  const LogCapture log;
  RemoveVELAProgramData();
  CHECK_LINES(log.Lines(), (NoProgramData()));
  CHECK_LINES(data.pending.Lines(),
              {"\\??\\C:\\ProgramData\\Orvane Labs\\OL -> ", "\\??\\C:\\ProgramData\\Orvane Labs\\OE -> ",
               "\\??\\C:\\ProgramData\\Orvane Labs\\WLM -> ", "\\??\\C:\\ProgramData\\Orvane Labs\\VELA_common -> "});
}

TEST_CASE("one that fails does not stop the next") {
  const char* const folders[] = {"OL", "OE", "WLM", "VELA_common"};
  for (unsigned failing = 1; failing <= 4; ++failing) {
    const ProgramData data;
    for (const wchar_t* const folder : {L"OL", L"OE", L"WLM", L"VELA_common"}) {
      data.MakeFile(folder + std::wstring(L"\\a.txt"));
    }
    const LogCapture log;
    {
      const FailCall list("FindFirstFileW", failing, ERROR_ACCESS_DENIED);
      RemoveVELAProgramData();
      CHECK(list.Failed() == 1);
    }
    Lines wanted;
    for (unsigned folder = 1; folder <= 4; ++folder) {
      wanted = Joined({wanted, folder == failing ? NotRemoved(folders[folder - 1], 5) : FolderEmptied()});
    }
    CHECK_LINES(log.Lines(), (wanted));
    const std::string left = folders[failing - 1];
    CHECK_LINES(data.Contents(), {left + "\\", left + "\\a.txt 4 bytes"});
    CHECK_LINES(data.pending.Lines(), {"\\??\\C:\\ProgramData\\Orvane Labs\\" + left + " -> "});
  }
}

TEST_CASE("a held file is no failure") {
  const ProgramData data;
  data.MakeAll();
  const HeldFile held(data.MakeFile(L"WLM\\Users\\{4711}\\log\\held.log"));
  const LogCapture log;
  RemoveVELAProgramData();
  CHECK_LINES(log.Lines(), (Joined({FolderEmptied(), FolderEmptied(), FolderEmptied(), FolderEmptied()})));
  const std::string folder = "\\??\\C:\\ProgramData\\Orvane Labs\\WLM";
  CHECK_LINES(data.pending.Lines(), {folder + "\\Users\\{4711}\\log\\held.log -> ", folder + "\\Users\\{4711}\\log -> ",
                                     folder + "\\Users\\{4711} -> ", folder + "\\Users -> ", folder + " -> "});
}

TEST_CASE("where the common data folder cannot be had, the Windows folder stands in") {
  const ProgramData data;
  data.MakeAll();
  WriteTestFile(L"C:\\windows\\Orvane Labs\\OL\\a.txt", "data");
  const Lines before = data.Contents();
  const LogCapture log;
  {
    const FailCall ask("SHGetSpecialFolderPathW", Calls::From(1), ERROR_FILE_NOT_FOUND);
    RemoveVELAProgramData();
    CHECK(ask.Failed() >= 1);
  }
  CHECK_LINES(
      LinesWith(log.Lines(), "RemoveVELAProgramData"),
      {"LOG_WARN : VELAUtility::RemoveVELAProgramData(), Failed to delete folder: C:\\windows\\Orvane Labs\\OE",
       "LOG_WARN : VELAUtility::RemoveVELAProgramData(), Failed to delete folder: C:\\windows\\Orvane Labs\\WLM",
       "LOG_WARN : VELAUtility::RemoveVELAProgramData(), Failed to delete folder: "
       "C:\\windows\\Orvane Labs\\VELA_common"});
  CHECK_FALSE(Exists(L"C:\\windows\\Orvane Labs\\OL"));
  CHECK_LINES(data.Contents(), (before));
}

TEST_CASE("where no folder for the data can be named, what has its name below the current folder stays") {
  const ProgramData data;
  const std::wstring current = L"C:\\VelaCurrentFolder";
  WriteTestFile(current + L"\\Orvane Labs\\OL\\a.txt", "somebody's");
  MakeFolder(current + L"\\Orvane Labs\\WLM");
  wchar_t before[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, before);
  ::SetCurrentDirectoryW(current.c_str());
  const LogCapture log;
  {
    const FailCall ask("SHGetSpecialFolderPathW", Calls::From(1), ERROR_FILE_NOT_FOUND);
    const FailCall askAgain("SHGetFolderPathW", Calls::From(1), ERROR_FILE_NOT_FOUND);
    RemoveVELAProgramData();
    CHECK(askAgain.Failed() >= 1);
  }
  ::SetCurrentDirectoryW(before);
  CHECK_LINES(log.Lines(), (NoProgramData("Orvane Labs\\")));
  CHECK(Exists(current + L"\\Orvane Labs\\OL\\a.txt"));
  CHECK(Exists(current + L"\\Orvane Labs\\WLM"));
  CHECK_LINES(data.pending.Lines(), {});
  RemoveTree(current);
}

TEST_CASE("the common data folder is asked for as it is, and not made") {
  const ProgramData data;
  int folder = 0;
  BOOL create = TRUE;
  {
    const ImportRedirection ask("SHGetSpecialFolderPathW", [&](HWND, LPWSTR path, int which, BOOL make) -> BOOL {
      folder = which;
      create = make;
      return OriginalImport<BOOL(WINAPI*)(HWND, LPWSTR, int, BOOL)>("SHGetSpecialFolderPathW")(nullptr, path, which,
                                                                                               make);
    });
    RemoveVELAProgramData();
  }
  CHECK(folder == 0x23);  // CSIDL_COMMON_APPDATA
  CHECK(create == FALSE);
}

TEST_CASE("the folder that all of them lie in is closed once for all that waits") {
  const ProgramData data;
  const HeldFile first(data.MakeFile(L"OL\\held.log"));
  const HeldFile second(data.MakeFile(L"WLM\\held.log"));
  unsigned closed = 0;
  {
    const CountCalls closings("SetKernelObjectSecurity");
    RemoveVELAProgramData();
    closed = closings.Calls();
  }
  CHECK(closed == 3);
}

}  // namespace
