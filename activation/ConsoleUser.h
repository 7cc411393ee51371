// The user at the console: who that is, and that user's profile.
#pragma once

#include <windows.h>

#include <userenv.h>

#include <string>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace VELAUtility {

// The security identifier of the console user in its textual form; empty where there is no such user or no account. A
// failed impersonation is logged.
std::wstring GetCurrentUserSid();

// A loaded profile, and the name that its record points to.
struct UserProfile : private boost::noncopyable {
  static constexpr DWORD kNameCapacity = 258;  // characters
  PROFILEINFOW info = {};
  wchar_t userName[kNameCapacity] = {};
};

// Loads the profile of the user of session `sessionId`, or of who runs "Explorer.exe" where the session has none. True
// where it was loaded. `token`, where one was found, is the caller's, and with it the profile:
// UnloadLoggedOnUserProfile gives both back. The thread acts as itself again afterwards, whatever happened. Not logged.
bool LoadLoggedOnUserProfile(DWORD sessionId, UserProfile& profile, OrCommon::KernelHandle& token);
void UnloadLoggedOnUserProfile(const UserProfile& profile, OrCommon::KernelHandle& token);

}  // namespace VELAUtility
