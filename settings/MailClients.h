// The mail clients that the product plugs into: what differs from one to the next, in one table.
#pragma once

#include <cstddef>

#include "Common/OrCommon/OrComn_System.h"

enum class MailClient { kOutlook, kOutlookExpress, kWindowsLiveMail };

// The machine's start-up values of the monitors. Outlook needs no monitor: its add-in is loaded by Outlook itself.
inline constexpr wchar_t g_szOE_OEM[] = L"OE";
inline constexpr wchar_t g_szWLM_OEM[] = L"WLM";

struct MailClientFacts {
  MailClient client;
  const wchar_t* processName;             // base name of its program, without folder and extension
  const wchar_t* processNameOnWindows60;  // the same on Windows version 6.0, where Windows Mail is Outlook Express
  const wchar_t* folder;                  // its folder below the base folder
  bool endedWithVista;                    // see IsLeftOut
};

inline constexpr MailClientFacts kMailClients[] = {
    {MailClient::kOutlook, L"outlook", L"outlook", L"VELA\\VELA_OL", false},
    {MailClient::kOutlookExpress, L"msimn", L"winmail", L"VELA\\VELA_OE", true},
    {MailClient::kWindowsLiveMail, L"wlmail", L"wlmail", L"VELA\\VELA_WLM", false},
};

constexpr const MailClientFacts& FactsOf(MailClient client) noexcept {
  return kMailClients[static_cast<int>(client)];
}

constexpr bool HasMonitor(MailClient client) noexcept {
  return client != MailClient::kOutlook;
}

// These checks follow the table by themselves: who adds a client is led by the compiler to each table that misses it.
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

// True for a client that the running Windows no longer has: its files are not staged, and it is neither switched nor
// looked for. A system that reports 10.0 counts as one that has it (see the version test).
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
