// Watches and answers the Windows calls that find the user at the console and act as that user.
#pragma once

#include <windows.h>

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "tests/support/CallWatch.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TextLines.h"

namespace OrCommonTests {

using AnswerEntry = TestSupport::AnswerProcAddress;

// The function itself, for a lambda that replaces it. Its library stays loaded.
template <class Function>
Function RealEntry(const char* library, const char* function) {
  // Calls LoadLibraryA, which the product does not use, directly, so that the program imports it: redirections work
  // only on imports.
  const HMODULE module = ::LoadLibraryA(library);
  const FARPROC address = TestSupport::OriginalImport<decltype(&::GetProcAddress)>("GetProcAddress")(module, function);
  Function result = nullptr;
  static_assert(sizeof result == sizeof address);
  std::memcpy(&result, &address, sizeof result);
  return result;
}

// Libraries and handles that the product has taken, and those that it has not given back.
class Belongings {
 public:
  // What is not given back yet: "library userenv.dll", "process", "process token", and what was added.
  TestSupport::Lines Left() const;
  // A handle that an answer returns.
  HANDLE Add(HANDLE handle, const std::string& name);
  unsigned LibrariesLoaded() const { return librariesLoaded_; }
  unsigned HandlesTaken() const { return handlesTaken_; }
  unsigned Strange() const { return strange_; }  // closed handles that were not open, or not any more

 private:
  std::multimap<HMODULE, std::string> libraries_;
  std::map<HANDLE, std::string> handles_;
  unsigned librariesLoaded_ = 0;
  unsigned handlesTaken_ = 0;
  unsigned strange_ = 0;
  TestSupport::AfterCall load_{"LoadLibraryW", &::LoadLibraryW, [this](HMODULE module, LPCWSTR name) {
                                 if (module != nullptr) {
                                   ++librariesLoaded_;
                                   libraries_.emplace(module, "library " + TestSupport::ToUtf8(name));
                                 }
                               }};
  TestSupport::OnCall free_{"FreeLibrary", &::FreeLibrary, [this](HMODULE module) {
                              const auto loaded = libraries_.find(module);
                              if (loaded != libraries_.end()) {
                                libraries_.erase(loaded);
                              } else {
                                ++strange_;
                              }
                            }};
  TestSupport::AfterCall process_{"OpenProcess", &::OpenProcess, [this](HANDLE process, DWORD, BOOL, DWORD) {
                                    if (process != nullptr) {
                                      Add(process, "process");
                                    }
                                  }};
  TestSupport::AfterCall token_{"OpenProcessToken", &::OpenProcessToken,
                                [this](BOOL opened, HANDLE, DWORD, HANDLE* token) {
                                  if (opened) {
                                    Add(*token, "process token");
                                  }
                                }};
  TestSupport::OnCall close_{"CloseHandle", &::CloseHandle,
                             [this](HANDLE handle) { strange_ += handles_.erase(handle) == 0 ? 1U : 0U; }};
};

// A token for CloseHandle: this process's own, duplicated as a primary one.
HANDLE MakePrimaryToken();

// True if the calling thread acts as another user. On request, also ends that.
bool IsImpersonating();
void StopImpersonating();

// "primary" or "impersonation"; "invalid" for a value that is not a token.
std::string TokenKind(HANDLE token);

// Runs a program with this name, ready to be found, during its lifetime.
class RunningCopy {
 public:
  RunningCopy(const std::wstring& folder, const std::wstring& name);
  RunningCopy(const RunningCopy&) = delete;
  RunningCopy& operator=(const RunningCopy&) = delete;
  ~RunningCopy();

 private:
  std::wstring allowed_;
  std::optional<TestSupport::TestProcess> process_;
};

}  // namespace OrCommonTests
