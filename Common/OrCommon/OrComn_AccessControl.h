// Tokens and accounts.
#pragma once

#include <windows.h>

#include <string>

#include "Common/OrCommon/OrComn_Exception.h"
#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::AccessControl {

// An access-control failure that cannot be returned as a result.
class Exception : public OrCommon::Exception::Base {
 public:
  using Base::Base;
};

// The shell of the user at the console.
inline constexpr wchar_t kShellProgram[] = L"Explorer.exe";

// A primary token of the user who runs the first process whose main module has the base name `moduleName` (compared
// whole, ASCII case ignored), such as kShellProgram. The caller owns it. False, with the code of the failed call in
// `error`, or ERROR_INVALID_HANDLE if no such process was found.
bool QueryUserToken(KernelHandle& token, const std::wstring& moduleName, DWORD& error);

// The security identifier of `account` ("domain\user") in its textual form; empty if there is none.
std::wstring GetAccountSid(const std::wstring& account);

}  // namespace OrCommon::AccessControl
