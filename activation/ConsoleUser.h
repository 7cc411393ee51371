// The user at the console: security identifier and profile.
#pragma once

#include <windows.h>

#include <userenv.h>

#include <string>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace VELAUtility {

// The security identifier of the console user in its textual form; empty if there is no such user or no account. A
// failed impersonation is logged.
std::wstring GetCurrentUserSid();

// A loaded profile, and the user name to which `info` points.
struct UserProfile : private boost::noncopyable {
  static constexpr DWORD kNameCapacity = 258;  // characters
  PROFILEINFOW info = {};
  wchar_t userName[kNameCapacity] = {};
};

// Loads the profile of the user of session `sessionId`. If the session has none, takes the user who runs
// "Explorer.exe". True if it was loaded. The caller owns `token`, if one was found, and the profile:
// UnloadLoggedOnUserProfile releases both. The thread never impersonates afterwards. Not logged.
bool LoadLoggedOnUserProfile(DWORD sessionId, UserProfile& profile, OrCommon::KernelHandle& token);
void UnloadLoggedOnUserProfile(const UserProfile& profile, OrCommon::KernelHandle& token);

}  // namespace VELAUtility
