// Filling the product's folders from the installation source. Which clients are staged where: InstallSystemsTests.cpp.
#include "install/Staging.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <shlobj.h>

#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/Clients.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallationSource.h"

using namespace TestSupport;
using namespace VELAUtility;

namespace {

// The product has its clients in the same order.
int Stage(const Client& client, const std::wstring& source, const std::wstring& base, bool is64Bit) {
  return StageClient(static_cast<MailClient>(&client - Clients().data()), source, base, is64Bit);
}

struct Staging {
  ScratchFolder folder{L"Stage"};
  std::wstring source = folder.Path(L"src");
  std::wstring base = folder.Path(L"Orvane Labs\\");

  Staging() { MakeInstallationSource(folder); }
  std::string Content(const std::wstring& file) const { return FileContent(base + L"VELA\\" + file); }
};

std::string Copied(const std::string& from, const std::string& to) {
  return "LOG_INFO : CopyFile(C:\\VelaTest\\Stage\\src\\" + from + ", C:\\VelaTest\\Stage\\Orvane Labs\\VELA\\" + to +
         ") successed.";
}

std::string NoFolder(const std::string& folder) {
  return "LOG_ERROR: Path not exists: C:\\VelaTest\\Stage\\Orvane Labs\\VELA\\" + folder;
}

TEST_CASE("each client gets its own files, the common ones over them, the rules and its settings file") {
  for (const Client& client : Clients()) {
    for (const bool is64Bit : {false, true}) {
      const std::string name = ToUtf8(client.shortName);
      const std::string folder = ToUtf8(client.FolderName());
      const bool has64BitFiles = client.has64BitFiles && is64Bit;
      const Staging staging;
      staging.folder.MakeFile(
          std::wstring(L"src\\") + client.shortName + (has64BitFiles ? L"64" : L"") + L"\\engine.dll",
          "the client's own", 90);
      const LogCapture log;
      CHECK(Stage(client, staging.source, staging.base, is64Bit) == 1);
      const std::string own = name + (has64BitFiles ? "64" : "");
      const std::string bits = has64BitFiles ? "64" : "32";
      CHECK_LINES(log.Lines(), {Copied(own + "\\engine.dll", folder + "\\engine.dll"),
                                Copied(own + "\\own.dll", folder + "\\own.dll"),
                                Copied("Common\\win" + bits + "\\engine.dll", folder + "\\engine.dll"),
                                Copied("rule\\spam.ptn", folder + "\\rule\\spam.ptn")});
      CHECK(staging.Content(client.FolderName() + L"\\own.dll") == "own " + own);
      CHECK(staging.Content(client.FolderName() + L"\\engine.dll") == "engine " + bits);
      CHECK(staging.Content(client.FolderName() + L"\\rule\\spam.ptn") == "rules");
      CHECK(staging.Content(client.FolderName() + L"\\" + client.IniName()) == "ini " + name);
      CHECK(SameTime(LastWriteOf(staging.base + L"VELA\\" + client.FolderName() + L"\\" + client.IniName()),
                     LastWriteOf(staging.source + L"\\Resource\\common\\" + client.IniName())));
    }
  }
}

TEST_CASE("the resources are those for the processor; the base folder needs no trailing backslash") {
  for (const bool is64Bit : {false, true}) {
    const Staging staging;
    staging.folder.MakeFolder(L"Orvane Labs\\VELA\\Resource");  // an existing one is no failure
    const LogCapture log;
    CHECK(PreInstallVELA_MUI(staging.source, staging.folder.Path(L"Orvane Labs"), is64Bit) == 1);
    const std::string kind = is64Bit ? "x64" : "x86";
    CHECK_LINES(log.Lines(), {Copied("Resource\\" + kind + "\\text.dll", "Resource\\text.dll")});
    CHECK(staging.Content(L"Resource\\text.dll") == "resource " + kind);
  }
}

TEST_CASE("a settings file that cannot be copied is a warning; one in use is not scheduled for the restart") {
  for (const Client& client : Clients()) {
    const Staging staging;
    const std::wstring ini =
        staging.folder.MakeFile(L"Orvane Labs\\VELA\\" + client.FolderName() + L"\\" + client.IniName(), "old", 50);
    const LogCapture log;
    const HeldFile held(ini);
    const CountCalls move("MoveFileExW");
    CHECK(Stage(client, staging.source, staging.base, true) == 1);
    CHECK_LINES(LinesWith(log.Lines(), ".ini"), {"LOG_WARN : Fail to copy " + ToUtf8(client.IniName()) + " !"});
    CHECK(move.Calls() == 0);
  }
}

TEST_CASE("a folder that cannot be created is logged, and the step continues") {
  const FailCall make("SHCreateDirectoryExW", Calls::From(1), ERROR_ACCESS_DENIED);
  const std::string failed = "LOG_ERROR: SHCreateDirectoryEx create ";
  for (const Client& client : Clients()) {
    const std::string folder = ToUtf8(client.FolderName());
    const Staging staging;
    const LogCapture log;
    CHECK(Stage(client, staging.source, staging.base, true) == 1);
    CHECK_LINES(log.Lines(),
                {failed + folder + " folder fail !", NoFolder(folder), NoFolder(folder), failed + "rule folder fail !",
                 NoFolder(folder + "\\rule"), "LOG_WARN : Fail to copy " + folder + ".ini !"});
  }
  const Staging staging;
  const LogCapture log;
  CHECK(PreInstallVELA_MUI(staging.source, staging.base, true) == 1);
  CHECK_LINES(log.Lines(), {failed + "folder fail ! Folder: C:\\VelaTest\\Stage\\Orvane Labs\\VELA\\Resource",
                            NoFolder("Resource")});
}

TEST_CASE("folders are created in order, with default security; an existing folder is not a failure") {
  const Staging staging;
  for (int run = 0; run < 2; ++run) {
    std::vector<std::wstring> made;
    const LogCapture log;
    const OnCall make("SHCreateDirectoryExW", &::SHCreateDirectoryExW,
                      [&](HWND window, LPCWSTR path, const SECURITY_ATTRIBUTES* security) {
                        made.emplace_back(path);
                        CHECK((window == nullptr && security == nullptr));
                      });
    PreInstallVELA_OE(staging.source, staging.base, true);
    CHECK(made == std::vector<std::wstring>{staging.base + L"VELA\\VELA_OE", staging.base + L"VELA\\VELA_OE\\rule"});
    CHECK_LINES(LinesWith(log.Lines(), "LOG_ERROR"), {});
  }
}

}  // namespace
