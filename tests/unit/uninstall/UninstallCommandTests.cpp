// The uninstall command on Windows 8 and later, as the program sees it: Outlook Express is not switched any more, and
// unregistered all the same.
#include "uninstall/UninstallCommand.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/TestFiles.h"
#include "tests/unit/plugins/RegistryPlaces.h"
#include "tests/unit/uninstall/UninstallLog.h"
#include "tests/unit/uninstall/UninstallWorld.h"

using namespace TestSupport;

namespace {

constexpr char kProduct[] = "C:\\VelaTest\\Removal\\product\\VELA";
constexpr char kSession[] =
    "LOG_INFO : CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:1, szSID: S-1-5-21-0-0-0-1000";
const Lines kNoRunValueOe = {
    "LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szOE_OEM !!"};
// The switch has taken it away before.
const Lines kNoRunValueWlm = {
    "LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szWLM_OEM !!"};
const Lines kNotListed = {"LOG_WARN : Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\WLMAilApiCppDllClient !!"};
// Switching off what was never switched on.
const Lines kNeverSwitchedOn = {
    "LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=1",
    kSession,
    "LOG_ERROR: Failed to WriteRegIntValue of LoadBehavior to 2!!",
    "LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateOL()",
    "LOG_ERROR: Fail to DeleteRegStringValue() of g_szWLM_OEM !",
    "LOG_ERROR: *** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()",
    "LOG_INFO : Check if need VELA_DISABLE_NOTIFY_EVENT",
    "LOG_INFO : Success of OpenEvent(). Set Event to shutdown VELA_OEMon and VELA_WLMMon ! ",
    "LOG_WARN : VELAUtility::SetAntiSpamEnable(), Failed."};

Lines SwitchedOffHere() {
  return SwitchedOff(1, kSession, OutlookExpressSwitch::kLeftOut);
}

std::string Client(const char* name) {
  return std::string(kProduct) + "\\" + name;
}

Lines AllGone() {
  return Joined({SwitchedOffHere(), OutlookModulesRemoved(Client("VELA_OL")), OutlookKeysRemoved(true),
                 OutlookExpressRemoved(Client("VELA_OE")), WindowsLiveMailRemoved(Client("VELA_WLM")), kNoRunValueWlm,
                 ProductFolderRemoved(kProduct), NoProgramData()});
}

Lines Uninstall() {
  const LogCapture log;
  CHECK(plugVELA_Uninstall() == 0);
  return log.Lines();
}

TEST_CASE("everything goes, step by step") {
  const UninstallWorld world;
  world.RegisterAll();
  CHECK_LINES(Uninstall(), (AllGone()));
  CHECK_LINES(world.regsvr32.CommandLines(), {"regsvr32.exe /u /s \"" + Client("VELA_OL\\VELA_OLA.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_OL\\Redemption.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_OE\\oeapiinitcom.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_OE\\oecom.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_OE\\oestore.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_OE\\VELA_OEWab.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_WLM\\WLMailApiInit.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_WLM\\WLMailApiCom.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_WLM\\WLMailApiStore.dll\""),
                                              "regsvr32.exe /u /s \"" + Client("VELA_WLM\\WLMailApiContacts.dll\"")});
  CHECK_FALSE(UninstallWorld::HasAddinKey(L""));
  for (const std::wstring& hive : SubkeyNames(UsersKey(L""))) {
    CHECK_FALSE(UninstallWorld::HasAddinKey(hive));
  }
  CHECK_FALSE(UninstallWorld::HasRunValue(L"OE"));
  CHECK_FALSE(UninstallWorld::HasRunValue(L"WLM"));
  CHECK_FALSE(UninstallWorld::IsInPluginList());
  CHECK_FALSE(Exists(world.folder.Path(L"product\\VELA")));
  CHECK(Exists(world.folder.Path(L"product")));
}

TEST_CASE("of what was never installed every step is tried, and the result is 0 too") {
  const UninstallWorld world;
  RemoveTree(world.folder.Path(L"product"));
  CHECK_LINES(Uninstall(), (Joined({kNeverSwitchedOn, OutlookModulesRemoved(Client("VELA_OL")),
                                    OutlookKeysRemoved(false), OutlookExpressRemoved(Client("VELA_OE")), kNoRunValueOe,
                                    kNotListed, WindowsLiveMailRemoved(Client("VELA_WLM")), kNoRunValueWlm,
                                    ProductFolderNotRemoved(kProduct, ERROR_PATH_NOT_FOUND), NoProgramData()})));
  CHECK_LINES(LinesWith(world.pending.Lines(), "VelaTest"), {std::string("\\??\\") + kProduct + " -> "});
}

TEST_CASE("the product's own settings stay as they are") {
  const UninstallWorld world;
  world.RegisterAll();
  const KeyPlace settings = MachineKey32(L"SOFTWARE\\OrvaneLabs\\BastionNTCorp\\CurrentVersion\\VELA");
  const OwnKey own(settings);
  MakeKey(settings, {{L"VELAEnable", 1}, {L"VELAInstallPath", L"C:\\VelaTest\\Removal\\product\\"}});
  const Lines before = own.Contents();
  Uninstall();
  CHECK_LINES(own.Contents(), (before));
}

TEST_CASE("the folders for the data of all users go with the product") {
  const UninstallWorld world;
  world.RegisterAll();
  for (const wchar_t* const folder : {L"OL", L"OE", L"WLM", L"VELA_common"}) {
    WriteTestFile(UninstallWorld::kCommonBase + std::wstring(L"\\") + folder + L"\\Users\\log\\a.log", "log");
  }
  const Lines log = Uninstall();
  const Lines wanted =
      Joined({ProductFolderRemoved(kProduct), FolderEmptied(), FolderEmptied(), FolderEmptied(), FolderEmptied()});
  REQUIRE(log.size() > wanted.size());
  CHECK_LINES((Lines(log.end() - static_cast<std::ptrdiff_t>(wanted.size()), log.end())), (wanted));
  FileSnapshot left;
  left.Add(UninstallWorld::kCommonBase);
  CHECK_LINES(left.AsLines(), {});
}

TEST_CASE("a destination with a backslash behind it gives the same paths") {
  const UninstallWorld world(L"C:\\VelaTest\\Removal\\product\\");
  world.RegisterAll();
  CHECK_LINES(Uninstall(), (AllGone()));
  CHECK_FALSE(Exists(world.folder.Path(L"product\\VELA")));
}

TEST_CASE("a destination that the plug-ins could not handle stands for the common data folder") {
  const UninstallWorld world(L"C:\\VelaTest\\Caf\u00E9");
  world.MakeProduct(UninstallWorld::kCommonBase);
  world.RegisterAll();
  const std::string product = "C:\\ProgramData\\Orvane Labs\\VELA";
  CHECK_LINES(Uninstall(), (Joined({{"LOG_INFO : --- Find DBCS Character by checking if ANSI character set --- idx=15"},
                                    SwitchedOffHere(),
                                    OutlookModulesRemoved(product + "\\VELA_OL"),
                                    OutlookKeysRemoved(true),
                                    OutlookExpressRemoved(product + "\\VELA_OE"),
                                    WindowsLiveMailRemoved(product + "\\VELA_WLM"),
                                    kNoRunValueWlm,
                                    ProductFolderRemoved(product),
                                    NoProgramData()})));
  CHECK_FALSE(Exists(UninstallWorld::kCommonBase + std::wstring(L"\\VELA")));
  CHECK(Exists(world.folder.Path(L"product\\VELA")));
}

TEST_CASE("a running Outlook is told of, and its add-in goes all the same") {
  UninstallWorld world;
  world.RegisterAll();
  world.running.Become({L"OUTLOOK.EXE"});
  CHECK_LINES(Uninstall(), (Joined({SwitchedOffHere(),
                                    {"LOG_WARN : plugVELA_Uninstall(), OL is still running!."},
                                    OutlookModulesRemoved(Client("VELA_OL")),
                                    OutlookKeysRemoved(true),
                                    OutlookExpressRemoved(Client("VELA_OE")),
                                    WindowsLiveMailRemoved(Client("VELA_WLM")),
                                    kNoRunValueWlm,
                                    ProductFolderRemoved(kProduct),
                                    NoProgramData()})));
  CHECK_FALSE(UninstallWorld::HasAddinKey(L""));
}

TEST_CASE("a running Outlook Express keeps its modules and its Run value") {
  UninstallWorld world;
  world.RegisterAll();
  world.running.Become({L"msimn.exe"});
  // It is not switched here, so it does not hold back the monitors' end either.
  CHECK_LINES(Uninstall(), (Joined({SwitchedOffHere(),
                                    OutlookModulesRemoved(Client("VELA_OL")),
                                    OutlookKeysRemoved(true),
                                    {"LOG_WARN : plugVELA_Uninstall(), OE is still running!."},
                                    WindowsLiveMailRemoved(Client("VELA_WLM")),
                                    kNoRunValueWlm,
                                    ProductFolderRemoved(kProduct),
                                    NoProgramData()})));
  CHECK(world.regsvr32.Starts().size() == 6);
  CHECK(UninstallWorld::HasRunValue(L"OE"));
}

TEST_CASE("Windows Mail is not looked at") {
  UninstallWorld world;
  world.RegisterAll();
  world.running.Become({L"winmail.exe"});
  CHECK_LINES(Uninstall(), (AllGone()));
}

TEST_CASE("a running Windows Live Mail keeps its modules, and loses its entry and its Run value") {
  UninstallWorld world;
  world.RegisterAll();
  world.running.Become({L"wlmail.exe"});
  CHECK_LINES(
      Uninstall(),
      (Joined({{"LOG_INFO : VELA is still Activated. Set VELA to disable!, bServiceMode=1", kSession,
                "LOG_INFO : SetAntiSpamEnable() - VELA OL deactivated successfully.",
                "LOG_INFO : SetAntiSpamEnable() - VELA WLM deactivated successfully.",
                "LOG_INFO : Check if need VELA_DISABLE_NOTIFY_EVENT", "LOG_INFO : Not Send VELA_DISABLE_NOTIFY_EVENT"},
               OutlookModulesRemoved(Client("VELA_OL")),
               OutlookKeysRemoved(true),
               OutlookExpressRemoved(Client("VELA_OE")),
               {"LOG_WARN : WLM is still running. Do not unregister WLM COM objects."},
               kNoRunValueWlm,
               ProductFolderRemoved(kProduct),
               NoProgramData()})));
  CHECK(world.regsvr32.Starts().size() == 6);
  CHECK_FALSE(UninstallWorld::IsInPluginList());
  CHECK_FALSE(UninstallWorld::HasRunValue(L"WLM"));
}

TEST_CASE("regsvr32.exe cannot be started: every module is tried, each client's failure is told") {
  UninstallWorld world;
  world.RegisterAll();
  world.regsvr32.FailEveryStart(ERROR_FILE_NOT_FOUND);
  const Lines log = Uninstall();
  CHECK(world.regsvr32.Starts().size() == 10);
  Lines failures = LinesWith(log, "LOG_ERROR");
  for (const std::string& event : LinesWith(log, "LOG_EVENT")) {
    failures.push_back(event);
  }
  CHECK_LINES(
      failures,
      (Joined({{"LOG_ERROR: Failed to unregister VELA_OLA.dll !! " + Client("VELA_OL\\VELA_OLA.dll"),
                "LOG_ERROR: Failed to unregister Redemption.dll !!", "LOG_ERROR: VELA OL UnInstall Fail !!",
                "LOG_ERROR: Failed to unregister oeapiinitcom.dll !! " + Client("VELA_OE\\oeapiinitcom.dll"),
                "LOG_ERROR: Failed to unregister oecom.dll !!", "LOG_ERROR: Failed to unregister oestore.dll !!",
                "LOG_ERROR: Failed to unregister VELA_OEWab.dll !!", "LOG_ERROR: VELA OE UnInstall Fail !!",
                "LOG_ERROR: Unregistry WLM COM objects failed", "LOG_ERROR: VELA WLM UnInstall Fail !!"},
               LinesWith(NoProgramData(), "LOG_ERROR"),
               {"LOG_EVENT :Failed to unregister WLMailApiInit.dll !!",
                "LOG_EVENT :Failed to unregister WLMailApiCom.dll !!",
                "LOG_EVENT :Failed to unregister WLMailApiStore.dll !!",
                "LOG_EVENT :Failed to unregister WLMailApiContacts.dll !!"}})));
  CHECK_FALSE(UninstallWorld::HasAddinKey(L""));
  CHECK_FALSE(Exists(world.folder.Path(L"product\\VELA")));
}

TEST_CASE("one module that cannot be unregistered fails its client and no other") {
  struct {
    unsigned start;
    const char* failure;
  } const rows[] = {{2, "LOG_ERROR: VELA OL UnInstall Fail !!"},
                    {4, "LOG_ERROR: VELA OE UnInstall Fail !!"},
                    {10, "LOG_ERROR: VELA WLM UnInstall Fail !!"}};
  for (const auto& row : rows) {
    UninstallWorld world;
    world.RegisterAll();
    world.regsvr32.FailStart(row.start, ERROR_FILE_NOT_FOUND);
    CHECK_LINES(LinesWith(Uninstall(), "UnInstall Fail"), {row.failure});
    CHECK(world.regsvr32.Starts().size() == 10);
  }
}

TEST_CASE("a file in use is no failure: the restart takes it") {
  const UninstallWorld world;
  world.RegisterAll();
  const HeldFile held(world.folder.Path(L"product\\VELA\\VELA_WLM\\rule\\spam.ptn"));
  CHECK_LINES(Uninstall(), (AllGone()));
  const std::string base = std::string("\\??\\") + kProduct;
  CHECK_LINES(
      LinesWith(world.pending.Lines(), "VelaTest"),
      {base + "\\VELA_WLM\\rule\\spam.ptn -> ", base + "\\VELA_WLM\\rule -> ", base + "\\VELA_WLM -> ", base + " -> "});
}

TEST_CASE("a folder that cannot be listed fails with its code, and the other number is 0") {
  const UninstallWorld world;
  world.RegisterAll();
  Lines log;
  {
    const ImportRedirection list("FindFirstFileW", [](LPCWSTR pattern, LPWIN32_FIND_DATAW entry) -> HANDLE {
      if (std::wstring(pattern).find(L"VELA_OE\\") != std::wstring::npos) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
      }
      return OriginalImport<decltype(&::FindFirstFileW)>("FindFirstFileW")(pattern, entry);
    });
    log = Uninstall();
  }
  CHECK_LINES(LinesWith(log, kProduct + std::string(" dwRtnValue")),
              {std::string("LOG_ERROR: VELAUtility::DeleteFolderFiles(), Failed to delete folder: ") + kProduct +
               " dwRtnValue:0"});
  CHECK(Exists(world.folder.Path(L"product\\VELA\\VELA_OE\\plugin.dll")));
  CHECK_FALSE(Exists(world.folder.Path(L"product\\VELA\\VELA_OL")));
}

TEST_CASE("every registry key is given back") {
  const UninstallWorld world;
  world.RegisterAll();
  int open = -1;
  int opened = 0;
  {
    const OpenKeysWatch watch;
    plugVELA_Uninstall();
    open = watch.StillOpen();
    opened = watch.Opened();
  }
  CHECK(opened > 0);
  CHECK(open == 0);
  CHECK(world.regsvr32.OpenHandles() == 0);
}

}  // namespace
