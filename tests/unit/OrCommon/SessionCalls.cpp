#include "tests/unit/OrCommon/SessionCalls.h"

#include <stdexcept>

#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestRegistry.h"

namespace OrCommonTests {

TestSupport::Lines Belongings::Left() const {
  TestSupport::Lines left;
  for (const auto& library : libraries_) {
    if (!TestSupport::StaysLoaded(library.first)) {
      left.push_back(library.second);
    }
  }
  for (const auto& handle : handles_) {
    left.push_back(handle.second);
  }
  return left;
}

HANDLE Belongings::Add(HANDLE handle, const std::string& name) {
  ++handlesTaken_;
  handles_[handle] = name;
  return handle;
}

HANDLE MakePrimaryToken() {
  using TestSupport::OriginalImport;
  using Duplicate =
      BOOL(WINAPI*)(HANDLE, DWORD, SECURITY_ATTRIBUTES*, SECURITY_IMPERSONATION_LEVEL, TOKEN_TYPE, HANDLE*);
  HANDLE own = nullptr;
  HANDLE token = nullptr;
  OriginalImport<decltype(&::OpenProcessToken)>("OpenProcessToken")(::GetCurrentProcess(), TOKEN_ALL_ACCESS, &own);
  RealEntry<Duplicate>("advapi32.dll", "DuplicateTokenEx")(own, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation,
                                                           TokenPrimary, &token);
  OriginalImport<decltype(&::CloseHandle)>("CloseHandle")(own);
  if (token == nullptr) {
    throw std::runtime_error("the token of this process cannot be duplicated");
  }
  return token;
}

bool IsImpersonating() {
  HANDLE token = nullptr;
  if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, &token)) {
    return false;
  }
  TestSupport::OriginalImport<decltype(&::CloseHandle)>("CloseHandle")(token);
  return true;
}

void StopImpersonating() {
  TestSupport::OriginalImport<decltype(&::RevertToSelf)>("RevertToSelf")();
}

std::string TokenKind(HANDLE token) {
  TOKEN_TYPE type = {};
  DWORD size = 0;
  if (!::GetTokenInformation(token, TokenType, &type, sizeof type, &size)) {
    return "invalid";
  }
  return type == TokenPrimary ? "primary" : "impersonation";
}

namespace {

// The tests' prefixes start no program with the name of Wine's shell (run_in_prefix.sh), unless it is allowed here. "*"
// before a name excludes programs in the system folder.
TestSupport::KeyPlace AllowedPrograms() {
  return {HKEY_CURRENT_USER, L"Software\\Wine\\DllOverrides", KEY_WOW64_64KEY};
}

}  // namespace

RunningCopy::RunningCopy(const std::wstring& folder, const std::wstring& name) : allowed_(L"*" + name) {
  TestSupport::MakeKey(AllowedPrograms(), {{allowed_, L"native"}});
  const std::wstring program = folder + L"\\" + name;
  TestSupport::CopyTestFile(TestSupport::FixturePath(L"Sleeper.exe"), program);
  // The program creates the event once it runs. Then all its modules are visible.
  const std::wstring event = L"ready " + name + L" " + std::to_wstring(::GetTickCount());
  process_.emplace(program, std::vector<std::wstring>{event});
  for (int attempt = 0; attempt < 1000; ++attempt) {
    const HANDLE ready = ::OpenEventW(SYNCHRONIZE, FALSE, event.c_str());
    if (ready != nullptr) {
      ::CloseHandle(ready);
      return;
    }
    ::Sleep(10);
  }
  throw std::runtime_error("the copy of Sleeper.exe did not start: " + TestSupport::ToUtf8(program));
}

RunningCopy::~RunningCopy() {
  process_.reset();
  TestSupport::RemoveValue(AllowedPrograms(), allowed_);
}

}  // namespace OrCommonTests
