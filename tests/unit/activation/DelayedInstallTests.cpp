// The registrations that were put off until their client does not run, done when filtering is switched on.
#include <doctest/doctest.h>

#include "tests/support/CallFailures.h"
#include "tests/unit/activation/SwitchWorld.h"

using namespace TestSupport;

namespace {

struct Flags {
  DWORD outlookExpress;
  DWORD outlook;
  DWORD windowsLiveMail;
};

Lines FlagsRead(const Flags& flags) {
  return Info("nDelayEnableOE = %d" + std::to_string(flags.outlookExpress) + " nDelayEnableOL = %d" +
              std::to_string(flags.outlook) + " nDelayEnableWLM = %d" + std::to_string(flags.windowsLiveMail));
}

Lines RegisteredIn(const std::string& folder, const std::vector<std::string>& modules) {
  Lines lines;
  for (const std::string& module : modules) {
    lines = Joined({lines, RegisteringLines(folder + module)});
  }
  return lines;
}

Lines OutlookExpressDone(bool running) {
  return Joined(
      {running ? Info("Outlook Express is running during installing !") : Lines{},
       RegisteredIn("C:\\VELA\\VELA_OE\\", {"oeapiinitcom.dll", "oecom.dll", "oestore.dll", "VELA_OEWab.dll"})});
}

Lines OutlookMissing() {
  return Joined({Info("GetOutlookVersion return=0"), Info("GetOutlookVersion return OL_NOT_INSTALLED !"),
                 Info("MS Office Outlook is not installed !")});
}

Lines OutlookDone(bool running) {
  return Joined({OutlookMissing(), running ? Info("MS Office Outlook is running during installing !") : Lines{},
                 RegisteringLines("C:\\VELA\\VELA_OL\\Redemption.dll"),
                 Info("VELAUtility::VELA_RemoveOutlookECF(), OL Install Path is empty, it maybe not install."),
                 RegisteringLines("C:\\VELA\\VELA_OL\\VELA_OLA.dll")});
}

Lines WindowsLiveMailDone(bool running) {
  return Joined({running ? Info("Windows Live Mail is running during installing !") : Lines{},
                 RegisteredIn("C:\\VELA\\VELA_WLM\\", {"WLMailApiInit.dll", "WLMailApiCom.dll", "WLMailApiStore.dll",
                                                       "WLMailApiContacts.dll"})});
}

// The part of the log that is the delayed installs': all before the session is looked for.
Lines DelayedPart(const Lines& log) {
  Lines part;
  for (const std::string& line : log) {
    if (line.find("dwSessionId:") != std::string::npos) {
      return part;
    }
    part.push_back(line);
  }
  return part;
}

std::string Shown(const char* name, DWORD value) {
  return "\"" + std::string(name) + "\" REG_DWORD " + std::to_string(value);
}

TEST_CASE(
    "each flag has its client registered, with any of the others; two of them clear each other and not their own") {
  for (unsigned combination = 0; combination < 8; ++combination) {
    for (const bool running : {false, true}) {
      const Flags flags = {(combination & 1U) != 0 ? 1U : 0U, (combination & 2U) != 0 ? 2U : 0U,
                           (combination & 4U) != 0 ? 0x80000000U : 0U};
      CAPTURE(combination);
      CAPTURE(running);
      SwitchWorld world;
      world.machine.SetFlags(flags.outlookExpress, flags.outlook, flags.windowsLiveMail);
      if (running) {
        world.running.Become({L"MSIMN.EXE", L"Outlook.exe", L"wlmail.exe"});
      }
      const Lines log = world.Switch(true);
      CHECK(world.result);
      CHECK_LINES(DelayedPart(log),
                  (Joined({FlagsRead(flags), flags.outlookExpress != 0 ? OutlookExpressDone(running) : Lines{},
                           flags.outlook != 0 ? OutlookDone(running) : Lines{},
                           flags.windowsLiveMail != 0 ? WindowsLiveMailDone(running) : Lines{}})));
      CHECK_LINES(world.machine.Flags(),
                  {Shown("OE_DELAY_INST", flags.outlook != 0 ? 0 : flags.outlookExpress),
                   Shown("OL_DELAY_INST", flags.outlookExpress != 0 ? 0 : flags.outlook), Shown("WLM_DELAY_INST", 0)});
      // The activation that follows makes Outlook load the add-in, whatever ran before.
      CHECK(world.machine.LoadBehavior() == 3);
      CHECK(world.regsvr32.OpenHandles() == 0);
      CHECK_LINES(world.session.NotGivenBack(), {});
    }
  }
}

TEST_CASE("a flag that nobody clears has its client registered again at the next switch") {
  for (const bool outlook : {false, true}) {
    SwitchWorld world;
    world.machine.SetFlags(outlook ? 0 : 1, outlook ? 1 : 0, 0);
    const Lines first = DelayedPart(world.Switch(true));
    CHECK_LINES(DelayedPart(world.Switch(true)), (first));
    CHECK(first.size() > 4);
  }
}

TEST_CASE("a running Outlook keeps its add-in from being loaded until the activation behind") {
  SwitchWorld world;
  world.machine.SetFlags(0, 1, 0);
  world.session.sessionId = 0xFFFFFFFF;  // no activation then
  world.running.Become({L"outlook.exe"});
  world.Switch(true);
  CHECK(world.machine.LoadBehavior() == 2);

  SwitchWorld other;
  other.machine.SetFlags(0, 1, 0);
  other.session.sessionId = 0xFFFFFFFF;
  other.Switch(true);
  CHECK(other.machine.LoadBehavior() == 3);
}

TEST_CASE("registrations that cannot be started are told, count for nothing, and the flags are cleared all the same") {
  SwitchWorld world;
  world.machine.SetFlags(1, 1, 1);
  world.regsvr32.FailEveryStart(ERROR_FILE_NOT_FOUND);
  const Lines log = world.Switch(true);
  CHECK(world.result);
  CHECK_LINES(DelayedPart(log),
              (Joined({FlagsRead({1, 1, 1}),
                       RegisteringLines("C:\\VELA\\VELA_OE\\oeapiinitcom.dll", 0),
                       Error("Failed to register oeapiinitcom.dll !!  C:\\VELA\\VELA_OE\\oeapiinitcom.dll"),
                       Error("Fail to Install VELA_OE !!"),
                       OutlookMissing(),
                       RegisteringLines("C:\\VELA\\VELA_OL\\Redemption.dll", 0),
                       Error("Failed to register Redemption.dll !! C:\\VELA\\VELA_OL\\Redemption.dll"),
                       Error("Fail to Install VELA_OL !!"),
                       RegisteringLines("C:\\VELA\\VELA_WLM\\WLMailApiInit.dll", 0),
                       {"LOG_EVENT :Failed to register WLMailApiInit.dll !!"},
                       RegisteringLines("C:\\VELA\\VELA_WLM\\WLMailApiCom.dll", 0),
                       {"LOG_EVENT :Failed to register WLMailApiCom.dll !!"},
                       RegisteringLines("C:\\VELA\\VELA_WLM\\WLMailApiStore.dll", 0),
                       {"LOG_EVENT :Failed to register WLMailApiStore.dll !!"},
                       RegisteringLines("C:\\VELA\\VELA_WLM\\WLMailApiContacts.dll", 0),
                       {"LOG_EVENT :Failed to register WLMailApiContacts.dll !!"},
                       Error("Fatal Error, Registry WLM COM object false"),
                       Error("Fail to Install VELA_WLM !!")})));
  CHECK_LINES(world.machine.Flags(),
              {Shown("OE_DELAY_INST", 0), Shown("OL_DELAY_INST", 0), Shown("WLM_DELAY_INST", 0)});
}

// The lines about flags that could not be stored.
Lines AboutStoring(const Lines& log) {
  Lines lines;
  for (const std::string& line : log) {
    if (line.find(" store") != std::string::npos) {
      lines.push_back(line);
    }
  }
  return lines;
}

constexpr char kOutlookKept[] = "LOG_ERROR: Fail to store REG_ZENTA_VELA_OL_DELAY_INSTALL_KEY value !!";
constexpr char kOutlookExpressKept[] = "LOG_ERROR: Fail to store REG_ZENTA_VELA_OE_DELAY_INSTALL_KEY value !!";
constexpr char kWindowsLiveMailKept[] = "LOG_ERROR: Fail to store REG_ZENTA_VELA_WLM_DELAY_INSTALL_KEY value !!";

TEST_CASE("settings that may only be read keep their flags, each told by the name of the flag that was to be cleared") {
  SwitchWorld world;
  world.machine.SetFlags(1, 1, 1);
  SetKeyAccess(MachineKey64(SwitchedMachine::kCoreAgentKey), kReadOnlyAccess);
  const Lines log = world.Switch(true);
  SetKeyAccess(MachineKey64(SwitchedMachine::kCoreAgentKey), kFullAccess);
  CHECK(world.result);
  CHECK_LINES(AboutStoring(log),
              {"LOG_ERROR: Fail to open for store !!", kOutlookKept, "LOG_ERROR: Fail to open for store !!",
               kOutlookExpressKept, "LOG_ERROR: Fail to open for store !!", kWindowsLiveMailKept});
  CHECK_LINES(world.machine.Flags(),
              {Shown("OE_DELAY_INST", 1), Shown("OL_DELAY_INST", 1), Shown("WLM_DELAY_INST", 1)});
}

TEST_CASE("a flag that refuses its new value is told") {
  struct Case {
    Flags flags;
    const char* kept;
  };
  for (const Case& refused :
       {Case{{1, 0, 0}, kOutlookKept}, Case{{0, 1, 0}, kOutlookExpressKept}, Case{{0, 0, 1}, kWindowsLiveMailKept}}) {
    SwitchWorld world;
    world.machine.SetFlags(refused.flags.outlookExpress, refused.flags.outlook, refused.flags.windowsLiveMail);
    Lines log;
    Lines names;
    {
      ImportRedirection set(
          "RegSetValueExW",
          [&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) -> LSTATUS {
            if (std::wcsstr(name, L"_DELAY_INST") == nullptr) {
              return set.Original<decltype(&::RegSetValueExW)>()(key, name, reserved, type, data, size);
            }
            names.push_back(ToUtf8(name) + " " + std::to_string(type) + " " + std::to_string(size) + " " +
                            std::to_string(data[0] + data[1] + data[2] + data[3]));
            return ERROR_ACCESS_DENIED;
          });
      log = world.Switch(true);
    }
    CHECK(world.result);
    CHECK_LINES(AboutStoring(log), {"LOG_ERROR: Fail to store value !!", refused.kept});
    CHECK_LINES(names, {refused.kept == kOutlookKept          ? "OL_DELAY_INST 4 4 0"
                        : refused.kept == kOutlookExpressKept ? "OE_DELAY_INST 4 4 0"
                                                              : "WLM_DELAY_INST 4 4 0"});
  }
}

}  // namespace
