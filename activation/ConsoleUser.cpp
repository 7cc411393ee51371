#include "activation/ConsoleUser.h"

#define SECURITY_WIN32
#include <security.h>

#include "Common/FrwkCommon/Frwk_WindowStation.h"
#include "Common/OrCommon/OrComn_AccessControl.h"
#include "Common/OrCommon/OrComn_Library.h"
#include "Common/OrCommon/OrComn_TerminalService.h"
#include "cli/RunLog.h"

namespace VELAUtility {
namespace {

using OrCommon::Library::EntryPoint;

using GetUserNameExFunction = BOOLEAN(WINAPI*)(EXTENDED_NAME_FORMAT, wchar_t*, ULONG*);

// The name of the impersonated user: "domain\user", or the bare name if that is not available; empty if neither is.
// `getUserNameEx` may be null.
std::wstring GetThreadUserName(GetUserNameExFunction getUserNameEx) {
  constexpr DWORD kCapacity = 257;  // characters
  wchar_t name[kCapacity] = {};
  DWORD length = kCapacity;
  if (getUserNameEx != nullptr && getUserNameEx(NameSamCompatible, name, &length)) {
    return name;
  }
  length = kCapacity;
  if (::GetUserNameW(name, &length)) {
    return name;
  }
  return {};
}

}  // namespace

std::wstring GetCurrentUserSid() {
  // Bound before impersonation: the user's drive letters must not decide which file is loaded. Bound by name, because
  // only this function calls secur32.
  const EntryPoint nameEntry(L"secur32.dll", L"GetUserNameExW");
  Frwk::WindowStation::ConsoleUserScope user;
  if (!user.Start()) {
    RunLog::Error() << L"Fail on Frwk::WindowStation::StartImpersonateLoggedOnCurrentUser()";
    return {};
  }
  std::wstring sid;
  const std::wstring account = GetThreadUserName(nameEntry.As<GetUserNameExFunction>());
  if (!account.empty()) {
    sid = OrCommon::AccessControl::GetAccountSid(account);
  }
  if (!user.End()) {
    RunLog::Warn() << L"Fail on Frwk::WindowStation::EndImpersonateLoggedOnCurrentUser()";
  }
  return sid;
}

bool LoadLoggedOnUserProfile(DWORD sessionId, UserProfile& profile, OrCommon::KernelHandle& token) {
  using namespace OrCommon::TerminalService;
  DWORD error = ERROR_SUCCESS;
  if (!QuerySessionUserToken(token, sessionId, error) &&
      !OrCommon::AccessControl::QueryUserToken(token, OrCommon::AccessControl::kShellProgram, error)) {
    return false;
  }
  const OrCommon::Module environmentLibrary(::LoadLibraryW(OrCommon::Library::SystemLibrary(L"userenv.dll").Path()));
  if (!environmentLibrary) {
    return false;  // needed for block and profile; must not be loaded while impersonating
  }
  // Windows 7 and later need its dependencies for GetUserNameW.
  const OrCommon::Module nameLibrary(::LoadLibraryW(OrCommon::Library::SystemLibrary(L"secur32.dll").Path()));
  void* environmentBlock = nullptr;
  const bool impersonating = StartImpersonateLoggedOnUser(token.Get(), environmentBlock, error);
  DWORD length = UserProfile::kNameCapacity;
  const bool named = impersonating && ::GetUserNameW(profile.userName, &length);
  if (impersonating) {
    EndImpersonateLoggedOnUser(environmentBlock, error);
  }
  ::RevertToSelf();  // again: a start that failed half-way leaves the thread impersonating
  if (!named) {
    return false;
  }
  profile.info.dwSize = sizeof profile.info;
  profile.info.lpUserName = profile.userName;
  profile.info.dwFlags = PI_NOUI;
  const EntryPoint entry(L"userenv.dll", L"LoadUserProfileW");
  const auto loadUserProfile = entry.As<BOOL(WINAPI*)(HANDLE, PROFILEINFOW*)>();
  return loadUserProfile != nullptr && loadUserProfile(token.Get(), &profile.info);
}

void UnloadLoggedOnUserProfile(const UserProfile& profile, OrCommon::KernelHandle& token) {
  if (!token) {
    return;
  }
  const EntryPoint entry(L"userenv.dll", L"UnloadUserProfile");
  if (const auto unloadUserProfile = entry.As<BOOL(WINAPI*)(HANDLE, HANDLE)>()) {
    unloadUserProfile(token.Get(), profile.info.hProfile);
  }
  token.Reset();
}

}  // namespace VELAUtility
