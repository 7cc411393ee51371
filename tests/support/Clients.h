// The mail clients as the tests know them, independent of the product's own table. Tests take from here what they do
// for each client and what they expect of it. For a new client, add a row.
#pragma once

#include <string>
#include <vector>

namespace TestSupport {

struct Client {
  const wchar_t* shortName;
  const wchar_t* process;               // the name of its process
  const wchar_t* processOnWindows60;    // the name of its process on Windows version 6.0
  bool hasMonitor;                      // it has a monitor, and a Run value of the short name
  bool endedWithVista;                  // ignored from Windows 7 on
  bool has64BitFiles;                   // in the installation source, in a folder of the short name and "64"
  const char* name;                     // in the log, where it runs while it is registered
  const char* runningAtRemoval;         // the line of the log about that
  bool keptWhileRunning;                // its modules stay registered then
  std::vector<const wchar_t*> modules;  // in the order in which they are registered

  std::wstring FolderName() const { return std::wstring(L"VELA_") + shortName; }  // below the product's folder
  std::wstring MonitorName() const { return FolderName() + L"Mon.exe"; }
  std::wstring IniName() const { return FolderName() + L".ini"; }
  std::wstring UpdateEvent() const { return std::wstring(L"Global\\VELA_UPDATE_EVENT_") + shortName; }
  std::wstring DelayFlag() const { return std::wstring(shortName) + L"_DELAY_INST"; }
};

// In the order in which the product handles them.
inline const std::vector<Client>& Clients() {
  static const std::vector<Client> clients = {
      {L"OL",
       L"OUTLOOK.EXE",
       L"OUTLOOK.EXE",
       false,
       false,
       false,
       "MS Office Outlook",
       "LOG_WARN : plugVELA_Uninstall(), OL is still running!.",
       false,
       {L"Redemption.dll", L"VELA_OLA.dll"}},
      {L"OE",
       L"msimn.exe",
       L"winmail.exe",
       true,
       true,
       true,
       "Outlook Express",
       "LOG_WARN : plugVELA_Uninstall(), OE is still running!.",
       true,
       {L"oeapiinitcom.dll", L"oecom.dll", L"oestore.dll", L"VELA_OEWab.dll"}},
      {L"WLM",
       L"wlmail.exe",
       L"wlmail.exe",
       true,
       false,
       false,
       "Windows Live Mail",
       "LOG_WARN : WLM is still running. Do not unregister WLM COM objects.",
       true,
       {L"WLMailApiInit.dll", L"WLMailApiCom.dll", L"WLMailApiStore.dll", L"WLMailApiContacts.dll"}},
  };
  return clients;
}

}  // namespace TestSupport
