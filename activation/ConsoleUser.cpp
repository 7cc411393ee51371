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

// The name of the user that the thread acts as: "domain\user", or the bare name where that cannot be had; empty where
// neither can. `getUserNameEx` may be null.
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
  // Bound before the thread acts as the user, whose view of the drive letters must not decide which file is loaded; and
  // by name, because secur32 is loaded only here.
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
    return false;  // neither a block nor a profile without it, and as the user it must not be looked for
  }
  // Windows 7 and later load what is behind it for GetUserNameW.
  const OrCommon::Module nameLibrary(::LoadLibraryW(OrCommon::Library::SystemLibrary(L"secur32.dll").Path()));
  void* environmentBlock = nullptr;
  const bool impersonating = StartImpersonateLoggedOnUser(token.Get(), environmentBlock, error);
  DWORD length = UserProfile::kNameCapacity;
  const bool named = impersonating && ::GetUserNameW(profile.userName, &length);
  if (impersonating) {
    EndImpersonateLoggedOnUser(environmentBlock, error);
  }
  ::RevertToSelf();  // once more: a start that failed half-way leaves the thread acting as the user
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
