// The user of the test process, found without the product.
#pragma once

#include <windows.h>

#include <sddl.h>

#include <string>

namespace TestSupport {

// The name of the user of this process: "domain\user", or the user alone.
inline std::wstring OwnName(bool withDomain) {
  wchar_t user[257] = {};
  DWORD length = 257;
  ::GetUserNameW(user, &length);
  if (!withDomain) {
    return user;
  }
  wchar_t computer[257] = {};
  length = 257;
  ::GetComputerNameW(computer, &length);
  return std::wstring(computer) + L"\\" + user;
}

// That user's identifier, from the process's own token.
inline std::wstring OwnSid() {
  HANDLE token = nullptr;
  BYTE user[256] = {};
  DWORD size = sizeof user;
  wchar_t* text = nullptr;
  std::wstring sid;
  if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token) &&
      ::GetTokenInformation(token, TokenUser, user, size, &size) &&
      ::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user)->User.Sid, &text)) {
    sid = text;
    ::LocalFree(text);
  }
  ::CloseHandle(token);
  return sid;
}

}  // namespace TestSupport
