// What the log says of each mail client, and what the rules know of it. A text that a client does not have is empty: no
// line matches it. A test checks that the catalogue has the others, and that no client is missing here.
#pragma once

#include <string_view>

namespace LogReader {

struct Client {
  std::string_view folder;     // of its files, below the product's folder
  int modules;                 // registered by an installation
  bool isOnEveryWindows;       // if not, a good run may have no line of it except those of its modules
  bool getsCommonFiles;        // those that Outlook gets
  std::string_view filesDone;  // by an upgrade
  std::string_view on;
  std::string_view noMonitor;
  std::string_view monitorFailed;
  std::string_view startStays;
  std::string_view off;
  std::string_view notOff;
  std::string_view notified;
  std::string_view notNotified;
  std::string_view runsAtRemoval;  // and its modules stay registered
  std::string_view entryStays;     // in the list of a maker's plug-ins
};

inline constexpr Client kClients[] = {
    {"VELA_OL", 2, true, true, "VELAUtility::PreInstallVELA_OL(), Ret: \1",
     "SetAntiSpamEnable() - VELA OL activated successfully.", "", "", "",
     "SetAntiSpamEnable() - VELA OL deactivated successfully.",
     "*** SetAntiSpamEnable() - failed on VELA_DeActivateOL()",
     "[VELAUtility::NotifyReloadVELAEngine] OL has been notified.",
     "Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_OL! ErrCode:\1", "", ""},
    {"VELA_OE", 4, false, false, "VELAUtility::PreInstallVELA_OE(), Ret: \1",
     "SetAntiSpamEnable() - VELA OE activated successfully.",
     "Failed to call CreateProcessAsUser() to launch VELA_OEMon.exe \1 ",
     "Failed to call CreateProcessAsUser() to launch VELA_OEMon.exe \1 \1",
     "Fail to DeleteRegStringValue() of g_szOE_OEM !", "SetAntiSpamEnable() - VELA OE deactivated successfully.",
     "*** SetAntiSpamEnable() - failed on VELA_DeActivateOE()",
     "[VELAUtility::NotifyReloadVELAEngine] OE has been notified.",
     "Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_OE! ErrCode:\1", "plugVELA_Uninstall(), OE is still running!.",
     ""},
    {"VELA_WLM", 4, true, true, "VELAUtility::PreInstallVELA_WLM(), Ret: \1",
     "SetAntiSpamEnable() - VELA WLM activated successfully.",
     "Failed to call CreateProcessAsUser() to launch VELA_WLMMon.exe \1 ",
     "Failed to call CreateProcessAsUser() to launch VELA_WLMMon.exe \1 \1",
     "Fail to DeleteRegStringValue() of g_szWLM_OEM !", "SetAntiSpamEnable() - VELA WLM deactivated successfully.",
     "*** SetAntiSpamEnable() - failed on VELA_DeActivateWLM()",
     "[VELAUtility::NotifyReloadVELAEngine] WLM has been notified.",
     "Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_WLM! ErrCode:\1",
     "WLM is still running. Do not unregister WLM COM objects.",
     "Failed to DeleteRegStringValue HKEY_LOCAL_MACHINE\\WLMAilApiCppDllClient !!"},
};

}  // namespace LogReader
