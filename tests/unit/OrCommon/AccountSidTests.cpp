// The identifier of an account by its name.
#include <doctest/doctest.h>

#include <windows.h>

#include <sddl.h>

#include <malloc.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_AccessControl.h"
#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"

using OrCommon::AccessControl::GetAccountSid;
using namespace TestSupport;

namespace {

std::wstring OwnSid() {
  HANDLE token = nullptr;
  std::vector<BYTE> user(1024);
  DWORD size = 0;
  ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token);
  ::GetTokenInformation(token, TokenUser, user.data(), 1024, &size);
  ::CloseHandle(token);
  wchar_t* text = nullptr;
  ::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, &text);
  const std::wstring sid = text;
  ::LocalFree(text);
  return sid;
}

TEST_CASE("the account of this program's user, with and without its domain") {
  const std::wstring sid = OwnSid();
  REQUIRE(sid.compare(0, 6, L"S-1-5-") == 0);
  wchar_t account[257] = {};
  DWORD length = 257;
  REQUIRE(::GetUserNameW(account, &length));
  CHECK(GetAccountSid(account) == sid);
  wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1] = {};
  length = MAX_COMPUTERNAME_LENGTH + 1;
  REQUIRE(::GetComputerNameW(computer, &length));
  CHECK(GetAccountSid(std::wstring(computer) + L"\\" + account) == sid);
}

TEST_CASE("an account that nobody has has no identifier, and is not looked up again") {
  const CountCalls lookUps{"LookupAccountNameW"};
  CHECK(GetAccountSid(L"NOSUCHDOMAIN\\nobody of this name").empty());
  CHECK(lookUps.Calls() == 1);
}

// Answers the look-up of accounts: sizes first, then the identifier.
struct Accounts {
  DWORD domainLength = 9;
  unsigned calls = 0;
  std::vector<std::wstring> asked;
  bool local = true;
  DWORD sidRoom = 0;
  DWORD domainRoom = 0;         // characters, as said
  std::size_t domainBytes = 0;  // as they are

  ImportRedirection lookUp{"LookupAccountNameW",
                           [this](LPCWSTR system, LPCWSTR account, PSID sid, DWORD* sidSize, LPWSTR domain,
                                  DWORD* length, SID_NAME_USE* use) -> BOOL {
                             SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
                             ++calls;
                             asked.emplace_back(account);
                             local = local && system == nullptr;
                             sidRoom = *sidSize;
                             domainRoom = *length;
                             const DWORD needed = ::GetSidLengthRequired(2);
                             if (sid == nullptr || *sidSize < needed || *length < domainLength) {
                               *sidSize = needed;
                               *length = domainLength;
                               ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
                               return FALSE;
                             }
                             ::InitializeSid(sid, &nt, 2);
                             *::GetSidSubAuthority(sid, 0) = 21;
                             *::GetSidSubAuthority(sid, 1) = 4000000000U;
                             domainBytes = ::_msize(domain);
                             std::fill_n(domain, domainLength, L'd');  // to the last character that was asked for
                             *use = SidTypeUser;
                             return TRUE;
                           }};
};

TEST_CASE("a name beyond the code page is looked up on this machine, with the room that was asked for") {
  Accounts accounts;
  CHECK(GetAccountSid(L"DOM\\\x65E5\x672C") == L"S-1-5-21-4000000000");
  CHECK(accounts.calls == 2);
  CHECK(accounts.local);
  CHECK(accounts.asked == std::vector<std::wstring>(2, L"DOM\\\x65E5\x672C"));
  CHECK(accounts.sidRoom == ::GetSidLengthRequired(2));
  CHECK(accounts.domainRoom >= 9);
  CHECK(accounts.domainBytes >= accounts.domainRoom * sizeof(wchar_t));
}

TEST_CASE("a system that counts no domain still gives the identifier; a second look-up that fails gives nothing") {
  Accounts accounts;
  accounts.domainLength = 0;
  CHECK(GetAccountSid(L"somebody") == L"S-1-5-21-4000000000");
  const FailCall second{"LookupAccountNameW", 2, ERROR_NONE_MAPPED};
  CHECK(GetAccountSid(L"somebody").empty());
  CHECK(second.Failed() == 1);
}

TEST_CASE("an identifier that has no text gives nothing; a text is given back") {
  std::set<HLOCAL> texts;
  const Accounts accounts;
  const OnCall free{"LocalFree", &::LocalFree, [&](HLOCAL memory) { texts.erase(memory); }};
  const AfterCall convert{"ConvertSidToStringSidW", &::ConvertSidToStringSidW,
                          [&](BOOL done, PSID, LPWSTR* text) { done ? void(texts.insert(*text)) : void(); }};
  CHECK(GetAccountSid(L"somebody") == L"S-1-5-21-4000000000");
  CHECK(texts.empty());
  const FailCall conversion{"ConvertSidToStringSidW", 1, ERROR_INVALID_SID};
  CHECK(GetAccountSid(L"somebody").empty());
  CHECK(texts.empty());
}

}  // namespace
