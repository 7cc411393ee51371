#include "plugins/OutlookExpressPlugin.h"

#include <windows.h>

#include "cli/RunLog.h"
#include "plugins/ComModuleRunner.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"
#include "settings/ProductSettings.h"

namespace VELAUtility {
namespace {

// Not every message names the path, and one has two blanks before it.
struct ComModule {
  const wchar_t* name;
  RunLog::Text registerFailure;
  bool registerFailureNamesPath;
  RunLog::Text unregisterFailure;
  bool unregisterFailureNamesPath;
};

constexpr ComModule kModules[] = {
    {L"oeapiinitcom.dll", L"Failed to register oeapiinitcom.dll !!  ", true,
     L"Failed to unregister oeapiinitcom.dll !! ", true},
    {L"oecom.dll", L"Failed to register oecom.dll !! ", true, L"Failed to unregister oecom.dll !!", false},
    {L"oestore.dll", L"Failed to register oestore.dll !!", false, L"Failed to unregister oestore.dll !!", false},
    {L"VELA_OEWab.dll", L"Failed to register VELA_OEWab.dll !!", false, L"Failed to unregister VELA_OEWab.dll !!",
     false},
};

}  // namespace

bool RegisterOEPlugin(const std::wstring& clientFolder, bool /*enable*/) {
  for (const ComModule& module : kModules) {
    const std::wstring path = ProductFolders::Join(clientFolder, module.name);
    if (!RegisterComModule(path)) {
      RunLog::Error() << module.registerFailure << (module.registerFailureNamesPath ? path.c_str() : L"");
      return false;
    }
  }
  return true;
}

bool UnregisterOEPlugin(const std::wstring& clientFolder) {
  bool succeeded = true;
  for (const ComModule& module : kModules) {
    const std::wstring path = clientFolder + L"\\" + module.name;
    if (!UnregisterComModule(path)) {
      RunLog::Error() << module.unregisterFailure << (module.unregisterFailureNamesPath ? path.c_str() : L"");
      succeeded = false;
    }
  }
  if (!DeleteRunValue(g_szOE_OEM)) {
    RunLog::Warn() << L"Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\g_szCURunKey\\g_szOE_OEM !!";
  }
  return succeeded;
}

}  // namespace VELAUtility
