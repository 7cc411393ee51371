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
static_assert(FactsOf(MailClient::kOutlook).client == MailClient::kOutlook &&
                  FactsOf(MailClient::kOutlookExpress).client == MailClient::kOutlookExpress &&
                  FactsOf(MailClient::kWindowsLiveMail).client == MailClient::kWindowsLiveMail,
              "the rows stand in the order of the enumeration");

// True for a table that has as many rows as there are clients: who adds a client is led to each of them by the
// compiler.
template <class Row, std::size_t kRows>
constexpr bool HasEveryClient(const Row (&/*table*/)[kRows]) noexcept {
  return kRows == sizeof kMailClients / sizeof kMailClients[0];
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
