// Which files are staged, and which Outlook is supported, on the system of this run: VELA_TEST_SYSTEM names it.
#include <doctest/doctest.h>

#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "install/OutlookDetection.h"
#include "install/Staging.h"
#include "tests/support/Clients.h"
#include "tests/support/TextLines.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/InstallationSource.h"
#include "tests/unit/install/OutlookRegistered.h"
#include "tests/unit/settings/WindowsReports.h"

using namespace TestSupport;

namespace {

struct System {
  const char* name;
  DWORD major;
  DWORD minor;
  BYTE type;
  WORD processor;
  bool afterVista;  // reported as 6.x, without Outlook Express and Windows Mail
  bool outlook2002;
};

constexpr WORD kAmd64 = PROCESSOR_ARCHITECTURE_AMD64;
constexpr System kSystems[] = {
    {"xp_x64", 5, 2, VER_NT_WORKSTATION, kAmd64, false, false},
    {"server_2003", 5, 2, VER_NT_SERVER, kAmd64, false, true},
    {"server_2008_itanium", 6, 0, VER_NT_SERVER, PROCESSOR_ARCHITECTURE_IA64, false, true},  // cannot run AMD64 files
    {"vista", 6, 0, VER_NT_WORKSTATION, kAmd64, false, true},
    {"windows_7", 6, 1, VER_NT_WORKSTATION, kAmd64, true, true},
    {"windows_10", 10, 0, VER_NT_WORKSTATION, kAmd64, false, true},
};

const System& ThisSystem() {
  const char* const wanted = std::getenv("VELA_TEST_SYSTEM");
  for (const System& system : kSystems) {
    if (wanted != nullptr && std::string_view(wanted) == system.name) {
      return system;
    }
  }
  throw std::runtime_error("VELA_TEST_SYSTEM does not name a system");
}

void WINAPI AnswerSystemInfo(SYSTEM_INFO* info) {
  info->wProcessorArchitecture = ThisSystem().processor;
}

struct Reports {
  WindowsReports version{ThisSystem().major, ThisSystem().minor, ThisSystem().type};
  AnswerProcAddress processor{"GetNativeSystemInfo", &AnswerSystemInfo};
};

TEST_CASE("the files for this processor are staged, for the clients of this Windows; each step's result is logged") {
  const Reports reports;
  const ScratchFolder folder(L"Stage");
  MakeInstallationSource(folder);
  const LogCapture log;
  VELAUtility::StageAll(folder.Path(L"src"), folder.Path(L""), VELAUtility::StepResults::kLogged);
  const bool is64Bit = ThisSystem().processor == kAmd64;
  Lines results = {"LOG_INFO : VELAUtility::PreInstallVELA_MUI(), Ret: 1"};
  CHECK(FileContent(folder.Path(L"VELA\\Resource\\text.dll")) == (is64Bit ? "resource x64" : "resource x86"));
  for (const Client& client : Clients()) {
    const std::string name = ToUtf8(client.shortName);
    const std::wstring staged = folder.Path(L"VELA\\" + client.FolderName());
    const bool isThere = !client.endedWithVista || !ThisSystem().afterVista;
    CHECK(Exists(staged) == isThere);
    if (isThere) {
      CHECK(FileContent(staged + L"\\own.dll") == "own " + name + (client.has64BitFiles && is64Bit ? "64" : ""));
      results.push_back("LOG_INFO : VELAUtility::PreInstallVELA_" + name + "(), Ret: 1");
    }
  }
  CHECK_LINES(LinesWith(log.Lines(), "Ret: "), (results));
}

TEST_CASE("Outlook 2002 is refused on Windows XP x64 only, and without a log line of its own") {
  const Reports reports;
  const OutlookRegistered outlook;
  outlook.NameAndRelease(L"10");
  const LogCapture log;
  CHECK(VELAUtility::IsOutlookSupported() == ThisSystem().outlook2002);
  CHECK_LINES(LinesWith(log.Lines(), "return"), {"LOG_INFO : GetOutlookVersion return=3"});
  outlook.NameAndRelease(L"9");
  CHECK_FALSE(VELAUtility::IsOutlookSupported());
}

}  // namespace
