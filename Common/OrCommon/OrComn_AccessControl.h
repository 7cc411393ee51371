// Tokens and accounts.
#pragma once

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_Exception.h"
#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::AccessControl {

// An access-control failure that cannot be a result.
class Exception : public OrCommon::Exception::Base {
 public:
  using Base::Base;
};

// The shell of the user at the console.
inline constexpr wchar_t kShellProgram[] = L"Explorer.exe";

// A primary token of the user who runs the first process whose main module has the base name `moduleName` (compared
// whole, ASCII case ignored), such as kShellProgram. Owned by the caller. False, with the code of the call that failed
// in `error`, or ERROR_INVALID_HANDLE where no such process was found.
bool QueryUserToken(KernelHandle& token, const std::wstring& moduleName, DWORD& error);

// The security identifier of `account` ("domain\user") in its textual form; empty where there is none.
std::wstring GetAccountSid(const std::wstring& account);

}  // namespace OrCommon::AccessControl
