// The console user's profile loaded and given back, with the thread being itself afterwards.
#include <doctest/doctest.h>

#include <algorithm>

#include "activation/ConsoleUser.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/activation/OwnUser.h"

using namespace TestSupport;
using VELAUtility::LoadLoggedOnUserProfile;
using VELAUtility::UnloadLoggedOnUserProfile;
using VELAUtility::UserProfile;

namespace {

// Everything that loading a profile did.
struct Loaded {
  bool succeeded = false;
  std::string token;  // what the caller was given
  Lines log;
  bool actsAsUser = false;
  Lines callsOfUnloading;
  Lines notGivenBack;  // after unloading
};

Loaded LoadAndUnload(const ConsoleSession& session, UserProfile& profile) {
  Loaded loaded;
  const LogCapture log;
  OrCommon::KernelHandle token;
  loaded.succeeded = LoadLoggedOnUserProfile(3, profile, token);
  loaded.actsAsUser = ConsoleSession::ThreadActsAsUser();
  loaded.token = session.NameOf(token.Get());
  const std::size_t callsBefore = session.Calls().size();
  UnloadLoggedOnUserProfile(profile, token);
  loaded.callsOfUnloading.assign(session.Calls().begin() + static_cast<std::ptrdiff_t>(callsBefore),
                                 session.Calls().end());
  loaded.notGivenBack = session.NotGivenBack();
  loaded.log = log.Lines();
  return loaded;
}

TEST_CASE("a profile is loaded for the user's name by the program itself, and the token is the caller's") {
  const std::wstring name = OwnName(false);
  ConsoleSession session;
  UserProfile profile;
  const Loaded loaded = LoadAndUnload(session, profile);
  CHECK(loaded.succeeded);
  CHECK(loaded.token == "token");
  CHECK_LINES(session.Calls(),
              {"WTSQueryUserToken 3", "ImpersonateLoggedOnUser token", "CreateEnvironmentBlock token",
               "GetUserNameW 258 as the user", "DestroyEnvironmentBlock", "RevertToSelf", "RevertToSelf",
               "LoadUserProfileW token " + ToUtf8(name) + " flags 1 as itself", "UnloadUserProfile token"});
  CHECK(profile.info.dwSize == sizeof(PROFILEINFOW));
  CHECK(profile.info.lpUserName == profile.userName);
  CHECK(profile.userName == name);
  CHECK(profile.info.lpProfilePath == nullptr);
  CHECK(profile.info.lpDefaultPath == nullptr);
  CHECK(profile.info.lpServerName == nullptr);
  CHECK(profile.info.lpPolicyPath == nullptr);
  CHECK(profile.info.hProfile == reinterpret_cast<HANDLE>(ULONG_PTR{0x5150}));
  CHECK_LINES(loaded.log, {});
  CHECK_LINES(loaded.notGivenBack, {});
  CHECK_LINES(session.LoadedAsUser(), {});
  CHECK_FALSE(loaded.actsAsUser);
}

TEST_CASE("what Windows loads to name the user is loaded before the thread acts as the user, and released after") {
  ConsoleSession session;
  const LoadedNames loaded;
  UserProfile profile;
  std::size_t loadedBefore = 0;
  const ImportRedirection impersonate{"ImpersonateLoggedOnUser", [&](HANDLE token) -> BOOL {
                                        loadedBefore = loaded.names.size();
                                        return impersonate.Original<decltype(&::ImpersonateLoggedOnUser)>()(token);
                                      }};
  CHECK(LoadAndUnload(session, profile).succeeded);
  const auto end = loaded.names.begin() + static_cast<std::ptrdiff_t>(loadedBefore);
  for (const wchar_t* const library : {L"secur32.dll", L"userenv.dll"}) {
    CHECK(std::find(loaded.names.begin(), end, library) != end);
  }
}

// A profile that is not loaded, for whatever reason; the last call tells how far it came.
void CheckNotLoaded(ConsoleSession& session, const std::string& token, const std::string& lastCall) {
  UserProfile profile;
  const LogCapture log;
  bool succeeded = true;
  bool actsAsUser = true;
  std::string name;
  Lines calls;
  {
    OrCommon::KernelHandle given;
    succeeded = LoadLoggedOnUserProfile(3, profile, given);
    actsAsUser = ConsoleSession::ThreadActsAsUser();
    name = session.NameOf(given.Get());
    calls = session.Calls();
  }
  CHECK_FALSE(succeeded);
  CHECK_FALSE(actsAsUser);
  CHECK(name == token);
  REQUIRE(!calls.empty());
  CHECK(calls.back().compare(0, lastCall.size(), lastCall) == 0);
  CHECK_LINES(session.NotGivenBack(), {});
  CHECK_LINES(log.Lines(), {});
}

struct NoProfile {
  const char* name;
  void (*prepare)(ConsoleSession& session);
  const char* token;
  const char* lastCall;
};

TEST_CASE("where a profile cannot be loaded the thread is itself again, and the rest is given back") {
  const NoProfile rows[] = {
      {"no user", [](ConsoleSession& session) { session.tokenError = ERROR_NO_TOKEN; }, "", "WTSQueryUserToken 3"},
      {"an identity that may not be taken",
       [](ConsoleSession& session) { session.impersonateError = ERROR_ACCESS_DENIED; }, "token", "RevertToSelf"},
      {"no environment block", [](ConsoleSession& session) { session.createBlockError = ERROR_ACCESS_DENIED; }, "token",
       "RevertToSelf"},
      {"no library for either", [](ConsoleSession& session) { session.missingLibraries = {L"userenv.dll"}; }, "token",
       "WTSQueryUserToken 3"},
      {"no name", [](ConsoleSession& session) { session.nameError = ERROR_NOT_LOGGED_ON; }, "token", "RevertToSelf"},
      {"a profile that is refused",
       [](ConsoleSession& session) { session.loadProfileError = ERROR_PRIVILEGE_NOT_HELD; }, "token",
       "LoadUserProfileW token"},
      {"no function for it", [](ConsoleSession& session) { session.missingEntries = {"LoadUserProfileW"}; }, "token",
       "RevertToSelf"}};
  for (const NoProfile& row : rows) {
    CAPTURE(row.name);
    ConsoleSession session;
    row.prepare(session);
    CheckNotLoaded(session, row.token, row.lastCall);
    const bool hasName = session.createBlockError == ERROR_SUCCESS;
    CHECK((hasName || LinesWith(session.Calls(), "GetUserNameW").empty()));
    CHECK(LinesWith(session.Calls(), "DestroyEnvironmentBlock").size() ==
          LinesWith(session.Calls(), "GetUserNameW").size());
    CHECK_LINES(session.LoadedAsUser(), {});
  }
}

TEST_CASE("unloading without a token does nothing, and without the function gives the token back") {
  {
    ConsoleSession session;
    const UserProfile profile;
    OrCommon::KernelHandle none;
    UnloadLoggedOnUserProfile(profile, none);
    CHECK_LINES(session.Calls(), {});
    CHECK_LINES(session.NotGivenBack(), {});
  }
  ConsoleSession session;
  session.missingEntries = {"UnloadUserProfile"};
  UserProfile profile;
  const Loaded loaded = LoadAndUnload(session, profile);
  CHECK(loaded.succeeded);
  CHECK_LINES(loaded.callsOfUnloading, {});
  CHECK_LINES(loaded.notGivenBack, {"1 profiles"});
}

}  // namespace
