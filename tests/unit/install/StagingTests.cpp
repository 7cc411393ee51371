// Filling the product's folders from the installation source.
#include "install/Staging.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <shlobj.h>

#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallationSource.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

struct Staging {
  ScratchFolder folder{L"Stage"};
  std::wstring source = folder.Path(L"src");
  std::wstring base = folder.Path(L"Orvane Labs\\");

  Staging() { MakeInstallationSource(folder); }
  Lines Staged() const {
    FileSnapshot snapshot;
    snapshot.Add(base + L"VELA");
    return snapshot.AsLines();
  }
  std::string Content(const std::wstring& file) const { return FileContent(base + L"VELA\\" + file); }
};

std::string Copied(const std::string& from, const std::string& to) {
  return "LOG_INFO : CopyFile(C:\\VelaTest\\Stage\\src\\" + from + ", C:\\VelaTest\\Stage\\Orvane Labs\\VELA\\" + to +
         ") successed.";
}

std::string NoFolder(const std::string& folder) {
  return "LOG_ERROR: Path not exists: C:\\VelaTest\\Stage\\Orvane Labs\\VELA\\" + folder;
}

TEST_CASE("resources: the machine's own kind") {
  const Staging staging;
  const LogCapture log;
  SUBCASE("32-bit") {
    CHECK(PreInstallVELA_MUI(staging.source, staging.base, false) == 1);
    CHECK_LINES(log.Lines(), {Copied("Resource\\x86\\text.dll", "Resource\\text.dll")});
    CHECK(staging.Content(L"Resource\\text.dll") == "resource x86");
  }
  SUBCASE("64-bit") {
    CHECK(PreInstallVELA_MUI(staging.source, staging.base, true) == 1);
    CHECK_LINES(log.Lines(), {Copied("Resource\\x64\\text.dll", "Resource\\text.dll")});
    CHECK(staging.Content(L"Resource\\text.dll") == "resource x64");
  }
  CHECK_LINES(staging.Staged(), {"Resource\\", "Resource\\text.dll 12 bytes"});
}

TEST_CASE("Outlook: always the 32-bit common files") {
  const Staging staging;
  const LogCapture log;
  CHECK(PreInstallVELA_OL(staging.source, staging.base) == 1);
  CHECK_LINES(log.Lines(),
              {Copied("OL\\own.dll", "VELA_OL\\own.dll"), Copied("Common\\win32\\engine.dll", "VELA_OL\\engine.dll"),
               Copied("rule\\spam.ptn", "VELA_OL\\rule\\spam.ptn")});
  CHECK_LINES(staging.Staged(), {"VELA_OL\\", "VELA_OL\\VELA_OL.ini 6 bytes", "VELA_OL\\engine.dll 9 bytes",
                                 "VELA_OL\\own.dll 6 bytes", "VELA_OL\\rule\\", "VELA_OL\\rule\\spam.ptn 5 bytes"});
  CHECK(staging.Content(L"VELA_OL\\engine.dll") == "engine 32");
  CHECK(SameTime(LastWriteOf(staging.base + L"VELA\\VELA_OL\\VELA_OL.ini"), TimeOf(3)));
}

TEST_CASE("Outlook Express: what the system is") {
  const Staging staging;
  const LogCapture log;
  SUBCASE("32-bit") {
    CHECK(PreInstallVELA_OE(staging.source, staging.base, false) == 1);
    CHECK_LINES(log.Lines(),
                {Copied("OE\\own.dll", "VELA_OE\\own.dll"), Copied("Common\\win32\\engine.dll", "VELA_OE\\engine.dll"),
                 Copied("rule\\spam.ptn", "VELA_OE\\rule\\spam.ptn")});
    CHECK(staging.Content(L"VELA_OE\\own.dll") == "own OE");
    CHECK(staging.Content(L"VELA_OE\\engine.dll") == "engine 32");
  }
  SUBCASE("64-bit") {
    CHECK(PreInstallVELA_OE(staging.source, staging.base, true) == 1);
    CHECK_LINES(log.Lines(), {Copied("OE64\\own.dll", "VELA_OE\\own.dll"),
                              Copied("Common\\win64\\engine.dll", "VELA_OE\\engine.dll"),
                              Copied("rule\\spam.ptn", "VELA_OE\\rule\\spam.ptn")});
    CHECK(staging.Content(L"VELA_OE\\own.dll") == "own OE64");
    CHECK(staging.Content(L"VELA_OE\\engine.dll") == "engine 64");
  }
  CHECK(staging.Content(L"VELA_OE\\VELA_OE.ini") == "ini OE");
}

TEST_CASE("Windows Live Mail: always the 32-bit common files") {
  const Staging staging;
  const LogCapture log;
  CHECK(PreInstallVELA_WLM(staging.source, staging.base) == 1);
  CHECK_LINES(log.Lines(),
              {Copied("WLM\\own.dll", "VELA_WLM\\own.dll"), Copied("Common\\win32\\engine.dll", "VELA_WLM\\engine.dll"),
               Copied("rule\\spam.ptn", "VELA_WLM\\rule\\spam.ptn")});
  CHECK(staging.Content(L"VELA_WLM\\engine.dll") == "engine 32");
  CHECK(staging.Content(L"VELA_WLM\\VELA_WLM.ini") == "ini WLM");
}

TEST_CASE("trees are copied with their subfolders, the common files over the client's own") {
  const Staging staging;
  staging.folder.MakeFile(L"src\\OL\\sub\\deep\\x.txt", "x", 20);
  staging.folder.MakeFile(L"src\\OL\\engine.dll", "the client's own", 21);
  CHECK(PreInstallVELA_OL(staging.source, staging.base) == 1);
  CHECK(staging.Content(L"VELA_OL\\sub\\deep\\x.txt") == "x");
  CHECK(staging.Content(L"VELA_OL\\engine.dll") == "engine 32");
}

TEST_CASE("a source folder with a backslash at its end keeps it doubled where the name brings its own") {
  const Staging staging;
  const LogCapture log;
  CHECK(PreInstallVELA_OL(staging.source + L"\\", staging.base) == 1);
  CHECK_LINES(log.Lines(),
              {Copied("\\OL\\own.dll", "VELA_OL\\own.dll"), Copied("Common\\win32\\engine.dll", "VELA_OL\\engine.dll"),
               Copied("rule\\spam.ptn", "VELA_OL\\rule\\spam.ptn")});
  CHECK(staging.Content(L"VELA_OL\\VELA_OL.ini") == "ini OL");
}

TEST_CASE("a base folder without a backslash at its end gets one") {
  const Staging staging;
  CHECK(PreInstallVELA_MUI(staging.source, staging.folder.Path(L"Orvane Labs"), true) == 1);
  CHECK(staging.Content(L"Resource\\text.dll") == "resource x64");
}

TEST_CASE("staging a second time copies nothing and says the same") {
  const Staging staging;
  PreInstallVELA_OL(staging.source, staging.base);
  FileSnapshot before;
  before.Add(staging.base);
  const LogCapture log;
  unsigned writes = 0;
  {
    const CountCalls write("WriteFile");
    CHECK(PreInstallVELA_OL(staging.source, staging.base) == 1);
    writes = write.Calls();
  }
  CHECK(writes == 0);
  FileSnapshot after;
  after.Add(staging.base);
  CHECK_LINES(FileSnapshot::Changes(before, after), {});
  CHECK_LINES(log.Lines(),
              {Copied("OL\\own.dll", "VELA_OL\\own.dll"), Copied("Common\\win32\\engine.dll", "VELA_OL\\engine.dll"),
               Copied("rule\\spam.ptn", "VELA_OL\\rule\\spam.ptn")});
}

TEST_CASE("files that the source no longer has stay, changed ones are replaced") {
  const Staging staging;
  PreInstallVELA_OL(staging.source, staging.base);
  ::DeleteFileW(staging.folder.Path(L"src\\rule\\spam.ptn").c_str());
  staging.folder.MakeFile(L"src\\OL\\own.dll", "newer", 100);
  staging.folder.MakeFile(L"src\\Resource\\common\\VELA_OL.ini", "newer ini", 101);
  PreInstallVELA_OL(staging.source, staging.base);
  CHECK(staging.Content(L"VELA_OL\\own.dll") == "newer");
  CHECK(staging.Content(L"VELA_OL\\VELA_OL.ini") == "newer ini");
  CHECK(staging.Content(L"VELA_OL\\rule\\spam.ptn") == "rules");
}

TEST_CASE("a source without any of it makes the folders and warns of the settings file alone") {
  const Staging staging;
  const std::wstring empty = staging.folder.Path(L"empty");
  const LogCapture log;
  CHECK(PreInstallVELA_MUI(empty, staging.base, true) == 1);
  CHECK(PreInstallVELA_OL(empty, staging.base) == 1);
  CHECK(PreInstallVELA_OE(empty, staging.base, true) == 1);
  CHECK(PreInstallVELA_WLM(empty, staging.base) == 1);
  CHECK_LINES(log.Lines(), {"LOG_WARN : Fail to copy VELA_OL.ini !", "LOG_WARN : Fail to copy VELA_OE.ini !",
                            "LOG_WARN : Fail to copy VELA_WLM.ini !"});
  CHECK_LINES(staging.Staged(), {"Resource\\", "VELA_OE\\", "VELA_OE\\rule\\", "VELA_OL\\", "VELA_OL\\rule\\",
                                 "VELA_WLM\\", "VELA_WLM\\rule\\"});
}

TEST_CASE("a settings file in use is not left to the restart") {
  const Staging staging;
  const std::wstring ini = staging.folder.MakeFile(L"Orvane Labs\\VELA\\VELA_OL\\VELA_OL.ini", "old", 50);
  const LogCapture log;
  {
    const HeldFile held(ini);
    CHECK(PreInstallVELA_OL(staging.source, staging.base) == 1);
  }
  CHECK_LINES(LinesWith(log.Lines(), "WARN"), {"LOG_WARN : Fail to copy VELA_OL.ini !"});
  CHECK(FileContent(ini) == "old");
  CHECK_FALSE(Exists(ini + L".tmp_"));
}

TEST_CASE("a client's folder that cannot be made is told, and the step goes on") {
  const Staging staging;
  const LogCapture log;
  const FailCall make("SHCreateDirectoryExW", 1, ERROR_ACCESS_DENIED);
  // The rule folder is made with its parents, so only the trees that come before it have nowhere to go.
  SUBCASE("Outlook") {
    CHECK(PreInstallVELA_OL(staging.source, staging.base) == 1);
    CHECK_LINES(log.Lines(), {"LOG_ERROR: SHCreateDirectoryEx create VELA_OL folder fail !", NoFolder("VELA_OL"),
                              NoFolder("VELA_OL"), Copied("rule\\spam.ptn", "VELA_OL\\rule\\spam.ptn")});
  }
  SUBCASE("Outlook Express") {
    CHECK(PreInstallVELA_OE(staging.source, staging.base, true) == 1);
    CHECK_LINES(log.Lines(), {"LOG_ERROR: SHCreateDirectoryEx create VELA_OE folder fail !", NoFolder("VELA_OE"),
                              NoFolder("VELA_OE"), Copied("rule\\spam.ptn", "VELA_OE\\rule\\spam.ptn")});
  }
  SUBCASE("Windows Live Mail") {
    CHECK(PreInstallVELA_WLM(staging.source, staging.base) == 1);
    CHECK_LINES(log.Lines(), {"LOG_ERROR: SHCreateDirectoryEx create VELA_WLM folder fail !", NoFolder("VELA_WLM"),
                              NoFolder("VELA_WLM"), Copied("rule\\spam.ptn", "VELA_WLM\\rule\\spam.ptn")});
  }
  SUBCASE("resources") {
    CHECK(PreInstallVELA_MUI(staging.source, staging.base, true) == 1);
    CHECK_LINES(log.Lines(), {"LOG_ERROR: SHCreateDirectoryEx create folder fail ! Folder: "
                              "C:\\VelaTest\\Stage\\Orvane Labs\\VELA\\Resource",
                              NoFolder("Resource")});
  }
}

TEST_CASE("a rule folder that cannot be made is told, and the settings file is copied") {
  const Staging staging;
  const LogCapture log;
  const FailCall make("SHCreateDirectoryExW", 2, ERROR_FILE_EXISTS);
  CHECK(PreInstallVELA_WLM(staging.source, staging.base) == 1);
  CHECK_LINES(log.Lines(),
              {Copied("WLM\\own.dll", "VELA_WLM\\own.dll"), Copied("Common\\win32\\engine.dll", "VELA_WLM\\engine.dll"),
               "LOG_ERROR: SHCreateDirectoryEx create rule folder fail !", NoFolder("VELA_WLM\\rule")});
  CHECK(staging.Content(L"VELA_WLM\\VELA_WLM.ini") == "ini WLM");
}

TEST_CASE("a folder that exists already is no failure") {
  const Staging staging;
  staging.folder.MakeFolder(L"Orvane Labs\\VELA\\Resource");
  const LogCapture log;
  CHECK(PreInstallVELA_MUI(staging.source, staging.base, true) == 1);
  CHECK_LINES(log.Lines(), {Copied("Resource\\x64\\text.dll", "Resource\\text.dll")});
}

TEST_CASE("a relative base folder is refused by the shell") {
  const Staging staging;
  const LogCapture log;
  CHECK(PreInstallVELA_MUI(staging.source, L"Orvane Labs\\", true) == 1);
  CHECK_LINES(log.Lines(), {"LOG_ERROR: SHCreateDirectoryEx create folder fail ! Folder: Orvane Labs\\VELA\\Resource",
                            "LOG_ERROR: Path not exists: Orvane Labs\\VELA\\Resource"});
}

TEST_CASE("folders are made in the order of the steps, with default security") {
  const Staging staging;
  std::vector<std::wstring> made;
  bool plain = true;
  {
    ImportRedirection make("SHCreateDirectoryExW",
                           [&](HWND window, LPCWSTR path, const SECURITY_ATTRIBUTES* security) -> int {
                             made.emplace_back(path);
                             plain = plain && window == nullptr && security == nullptr;
                             return make.Original<decltype(&::SHCreateDirectoryExW)>()(window, path, security);
                           });
    PreInstallVELA_OE(staging.source, staging.base, true);
  }
  REQUIRE(made.size() == 2);
  CHECK(made[0] == staging.base + L"VELA\\VELA_OE");
  CHECK(made[1] == staging.base + L"VELA\\VELA_OE\\rule");
  CHECK(plain);
}

TEST_CASE("files are copied now, never straight at the restart") {
  const Staging staging;
  unsigned moves = 0;
  {
    const CountCalls move("MoveFileExW");
    PreInstallVELA_OL(staging.source, staging.base);
    moves = move.Calls();
  }
  CHECK(moves == 0);

  SUBCASE("but a file in use is") {
    staging.folder.MakeFile(L"src\\OL\\own.dll", "newer", 100);
    const HeldFile held(staging.base + L"VELA\\VELA_OL\\own.dll");
    const CountCalls move("MoveFileExW");
    CHECK(PreInstallVELA_OL(staging.source, staging.base) == 1);
    CHECK(move.Calls() == 1);
  }
}

}  // namespace
