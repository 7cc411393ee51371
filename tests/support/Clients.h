// The mail clients as the tests know them, independent of the product's own table. Tests take from here what they do
// for each client and what they expect of it. For a new client, add a row.
#pragma once

#include <algorithm>
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
  const wchar_t* pluginList;            // the key of the machine that lists its plug-in; null: none does
  const wchar_t* pluginEntry;           // the value there; it names PluginName
  std::vector<const wchar_t*> modules;  // in the order in which they are registered

  std::wstring FolderName() const { return std::wstring(L"VELA_") + shortName; }  // below the product's folder
  std::wstring MonitorName() const { return FolderName() + L"Mon.exe"; }
  std::wstring PluginName() const { return FolderName() + L"A.dll"; }
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
       nullptr,
       nullptr,
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
       nullptr,
       nullptr,
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
       L"Software\\Nektra\\WLMailAPi\\Plugins",
       L"WLMAilApiCppDllClient",
       {L"WLMailApiInit.dll", L"WLMailApiCom.dll", L"WLMailApiStore.dll", L"WLMailApiContacts.dll"}},
  };
  return clients;
}

// The number of modules of all clients.
inline std::size_t AllModules() {
  std::size_t modules = 0;
  for (const Client& client : Clients()) {
    modules += client.modules.size();
  }
  return modules;
}

// Registry paths of the machine: these, and those that the lists of plug-ins are below ("Software\<maker>").
inline std::vector<std::wstring> WithPluginLists(std::vector<std::wstring> paths) {
  for (const Client& client : Clients()) {
    const std::wstring list = client.pluginList == nullptr ? L"" : client.pluginList;
    const std::wstring root = list.substr(0, list.find(L'\\', list.find(L'\\') + 1));
    if (!root.empty() && std::find(paths.begin(), paths.end(), root) == paths.end()) {
      paths.push_back(root);
    }
  }
  return paths;
}

}  // namespace TestSupport
