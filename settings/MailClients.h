// The mail clients that the product plugs into. This table defines the clients. The table of each step contains its
// actions, texts and order.
#pragma once

#include <cstddef>
#include <string>

#include "Common/OrCommon/OrComn_System.h"

enum class MailClient { kOutlook, kOutlookExpress, kWindowsLiveMail };

// The machine's Run values that start the monitors at every log-on.
inline constexpr wchar_t g_szOE_OEM[] = L"OE";
inline constexpr wchar_t g_szWLM_OEM[] = L"WLM";

struct MailClientFacts {
  MailClient client;
  const wchar_t* shortName;               // part of the names that the functions below build
  const wchar_t* processName;             // base name of its program, without folder and extension
  const wchar_t* processNameOnWindows60;  // the same on Windows version 6.0, where Windows Mail is Outlook Express
  const wchar_t* runValue;                // of its monitor; null: no monitor, the client itself loads the plug-in
  bool endedWithVista;                    // see IsLeftOut
};

// In the order of all steps except the delayed installs.
inline constexpr MailClientFacts kMailClients[] = {
    {MailClient::kOutlook, L"OL", L"outlook", L"outlook", nullptr, false},
    {MailClient::kOutlookExpress, L"OE", L"msimn", L"winmail", g_szOE_OEM, true},
    {MailClient::kWindowsLiveMail, L"WLM", L"wlmail", L"wlmail", g_szWLM_OEM, false},
};

constexpr const MailClientFacts& FactsOf(MailClient client) noexcept {
  return kMailClients[static_cast<int>(client)];
}

constexpr bool HasMonitor(MailClient client) noexcept {
  return FactsOf(client).runValue != nullptr;
}

// The folder of its files, below the product's folder. Its ini file has the same name and ".ini".
inline std::wstring FolderNameOf(MailClient client) {
  return std::wstring(L"VELA_") + FactsOf(client).shortName;
}

// The program of its monitor, in that folder.
inline std::wstring MonitorNameOf(MailClient client) {
  return FolderNameOf(client) + L"Mon.exe";
}

// The event that its running plug-ins wait for.
inline std::wstring UpdateEventOf(MailClient client) {
  return std::wstring(L"Global\\VELA_UPDATE_EVENT_") + FactsOf(client).shortName;
}

// The number in the shared settings that is not 0 if its registration was delayed.
inline std::wstring DelayFlagOf(MailClient client) {
  return std::wstring(FactsOf(client).shortName) + L"_DELAY_INST";
}

// The checks below use the table: the compiler reports each table that lacks a new client.
template <class Row, std::size_t kRows>
constexpr bool StandInOrder(const Row (&table)[kRows]) noexcept {
  int index = 0;
  for (const Row& row : table) {
    if (static_cast<int>(row.client) != index++) {
      return false;
    }
  }
  return true;
}
static_assert(StandInOrder(kMailClients), "FactsOf finds the rows by the order of the enumeration");

template <class Row, std::size_t kRows>
constexpr int RowsOf(MailClient client, const Row (&table)[kRows]) noexcept {
  int rows = 0;
  for (const Row& row : table) {
    rows += row.client == client ? 1 : 0;
  }
  return rows;
}

// The client's row of a table that has one: check this by HasEveryClient or HasEveryMonitor.
template <class Row, std::size_t kRows>
constexpr const Row& RowOf(MailClient client, const Row (&table)[kRows]) noexcept {
  std::size_t index = 0;
  while (table[index].client != client) {
    ++index;
  }
  return table[index];
}

// True for a table that has one row for each client.
template <class Row, std::size_t kRows>
constexpr bool HasEveryClient(const Row (&table)[kRows]) noexcept {
  for (const MailClientFacts& facts : kMailClients) {
    if (RowsOf(facts.client, table) != 1) {
      return false;
    }
  }
  return true;
}

// True for a table that has one row for each client with a monitor, and none for the others.
template <class Row, std::size_t kRows>
constexpr bool HasEveryMonitor(const Row (&table)[kRows]) noexcept {
  for (const MailClientFacts& facts : kMailClients) {
    if (RowsOf(facts.client, table) != (HasMonitor(facts.client) ? 1 : 0)) {
      return false;
    }
  }
  return true;
}

// True for a client that the running Windows no longer has: its files are not staged, it is not switched, its monitor
// is not started, and switching off does not check whether it runs. A system that reports 10.0 counts as having it (see
// the version test).
inline bool IsLeftOut(MailClient client) noexcept {
  return FactsOf(client).endedWithVista && OrCommon::System::IsWindowsVersion(OrCommon::System::kNt6WithMinorVersion);
}

// The base name of the client's program on the running Windows.
inline const wchar_t* ProcessNameOf(MailClient client) noexcept {
  const MailClientFacts& facts = FactsOf(client);
  return OrCommon::System::IsWindowsVersion(OrCommon::System::kWindows60) ? facts.processNameOnWindows60
                                                                          : facts.processName;
}

inline bool IsMailClientRunning(MailClient client) noexcept {
  return OrCommon::System::IsProcessRunning(ProcessNameOf(client));
}
