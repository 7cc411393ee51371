// The console user's profile is loaded and given back. Afterwards the thread acts as itself.
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

TEST_CASE("the profile is loaded for the user's name by the program as itself, and the caller gets the token") {
  const std::wstring name = OwnName(false);
  ConsoleSession session;
  const LoadedNames loaded;
  std::size_t loadedBefore = 0;
  const OnCall impersonate{"ImpersonateLoggedOnUser", &::ImpersonateLoggedOnUser,
                           [&] { loadedBefore = loaded.names.size(); }};
  const LogCapture log;
  UserProfile profile;
  OrCommon::KernelHandle token;
  CHECK(LoadLoggedOnUserProfile(3, profile, token));
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
  CHECK(session.NameOf(token.Get()) == "token");
  UnloadLoggedOnUserProfile(profile, token);
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
  CHECK_LINES(log.Lines(), {});
  CHECK_LINES(session.NotGivenBack(), {});
  CHECK_LINES(session.LoadedAsUser(), {});
  // The libraries that Windows needs to name the user are loaded before the thread acts as the user.
  const auto end = loaded.names.begin() + static_cast<std::ptrdiff_t>(loadedBefore);
  for (const wchar_t* const library : {L"secur32.dll", L"userenv.dll"}) {
    CHECK(std::find(loaded.names.begin(), end, library) != end);
  }
}

TEST_CASE("if the profile cannot be loaded, the thread acts as itself again, and everything else is released") {
  struct Row {
    const char* name;
    DWORD ConsoleSession::*error;  // of the step that fails; null: something is missing
    std::set<std::wstring> missingLibraries;
    std::set<std::string> missingEntries;
    const char* token;
    const char* lastCall;
  };
  using Session = ConsoleSession;
  for (const Row& row :
       {Row{"no user", &Session::tokenError, {}, {}, "", "WTSQueryUserToken 3"},
        Row{"no impersonation", &Session::impersonateError, {}, {}, "token", "RevertToSelf"},
        Row{"no environment", &Session::createBlockError, {}, {}, "token", "RevertToSelf"},
        Row{"no userenv.dll", nullptr, {L"userenv.dll"}, {}, "token", "WTSQueryUserToken 3"},
        Row{"no name", &Session::nameError, {}, {}, "token", "RevertToSelf"},
        Row{"the profile is refused", &Session::loadProfileError, {}, {}, "token", "LoadUserProfileW token"},
        Row{"no LoadUserProfileW", nullptr, {}, {"LoadUserProfileW"}, "token", "RevertToSelf"}}) {
    CAPTURE(std::string(row.name));
    ConsoleSession session;
    if (row.error != nullptr) {
      session.*row.error = ERROR_ACCESS_DENIED;
    }
    session.missingLibraries = row.missingLibraries;
    session.missingEntries = row.missingEntries;
    UserProfile profile;
    const LogCapture log;
    {
      OrCommon::KernelHandle token;
      CHECK_FALSE(LoadLoggedOnUserProfile(3, profile, token));
      CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
      CHECK(session.NameOf(token.Get()) == row.token);
    }
    REQUIRE(!session.Calls().empty());
    CHECK(session.Calls().back().find(row.lastCall) == 0);
    const Lines names = LinesWith(session.Calls(), "GetUserNameW");
    CHECK((session.createBlockError == ERROR_SUCCESS || names.empty()));
    CHECK(LinesWith(session.Calls(), "DestroyEnvironmentBlock").size() == names.size());
    CHECK_LINES(session.NotGivenBack(), {});
    CHECK_LINES(log.Lines(), {});
    CHECK_LINES(session.LoadedAsUser(), {});
  }
}

TEST_CASE("unloading without a token does nothing; without UnloadUserProfile, it only closes the token") {
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
  OrCommon::KernelHandle token;
  CHECK(LoadLoggedOnUserProfile(3, profile, token));
  const Lines calls = session.Calls();
  UnloadLoggedOnUserProfile(profile, token);
  CHECK_LINES(session.Calls(), (calls));
  CHECK_LINES(session.NotGivenBack(), {"1 profiles"});
}

}  // namespace
