// The mail clients as the tests know them, written down once and independently of the product's own table. What a test
// does for each client, or expects of each, comes from here: a new client is a row.
#pragma once

#include <string>
#include <vector>

namespace TestSupport {

struct Client {
  const wchar_t* shortName;
  const wchar_t* process;               // as it runs
  const wchar_t* processOnWindows60;    // as it runs on Windows version 6.0
  bool hasMonitor;                      // and with it a Run value of the short name
  bool endedWithVista;                  // passed over from Windows 7 on
  bool has64BitFiles;                   // in the installation source, in a folder of the short name and "64"
  const char* registrationFailure;      // the log's last word on a registration that failed
  std::vector<const wchar_t*> modules;  // in the order in which they are registered

  std::wstring FolderName() const { return std::wstring(L"VELA_") + shortName; }  // below the product's folder
  std::wstring MonitorName() const { return FolderName() + L"Mon.exe"; }
  std::wstring IniName() const { return FolderName() + L".ini"; }
  std::wstring UpdateEvent() const { return std::wstring(L"Global\\VELA_UPDATE_EVENT_") + shortName; }
  std::wstring DelayFlag() const { return std::wstring(shortName) + L"_DELAY_INST"; }
};

// In the order in which the product takes them.
inline const std::vector<Client>& Clients() {
  static const std::vector<Client> clients = {
      {L"OL",
       L"OUTLOOK.EXE",
       L"OUTLOOK.EXE",
       false,
       false,
       false,
       "Fail to Install VELA_OL !!",
       {L"Redemption.dll", L"VELA_OLA.dll"}},
      {L"OE",
       L"msimn.exe",
       L"winmail.exe",
       true,
       true,
       true,
       "Fail to Install VELA_OE !!",
       {L"oeapiinitcom.dll", L"oecom.dll", L"oestore.dll", L"VELA_OEWab.dll"}},
      {L"WLM",
       L"wlmail.exe",
       L"wlmail.exe",
       true,
       false,
       false,
       "Fail to Install VELA_WLM !!",
       {L"WLMailApiInit.dll", L"WLMailApiCom.dll", L"WLMailApiStore.dll", L"WLMailApiContacts.dll"}},
  };
  return clients;
}

}  // namespace TestSupport
