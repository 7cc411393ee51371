#include "Common/OrCommon/OrComn_ProcessGuards.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/Probe.h"

using OrCommon::GuardProcess;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

const char* const kDllDirectories = "SetDefaultDllDirectories 2048";
const char* const kHeapInformation = "HeapSetInformation null 1 null 0";
const char* const kMitigationPolicy = "SetProcessMitigationPolicy 16 1 4";
const char* const kErrorMode = "SetErrorMode 32771, 32775";  // 0x8003, together with the caller's own flag: 0x0004
const char* const kEnvironment = "SetEnvironmentVariableW NoDefaultCurrentDirectoryInExePath 1";

// Sets the guards, with recorders instead of the system's functions: this test process stays unguarded.
class Guards {
 public:
  explicit Guards(BOOL answer = TRUE) : answer_(answer) {}

  const Lines& Take() const {
    GuardProcess();
    return guards_;
  }

  static constexpr UINT kCallersMode = SEM_NOALIGNMENTFAULTEXCEPT;
  UINT ErrorMode() const { return mode_; }

 private:
  BOOL Note(const std::string& guard) {
    guards_.push_back(guard);
    return answer_;
  }

  Lines guards_;
  BOOL answer_;
  UINT mode_ = kCallersMode;
  AnswerProcAddress directories_{"SetDefaultDllDirectories", [this](DWORD flags) -> BOOL {
                                   return Note("SetDefaultDllDirectories " + std::to_string(flags));
                                 }};
  AnswerProcAddress heap_{"HeapSetInformation", [this](HANDLE heap, int kind, void* data, SIZE_T size) -> BOOL {
                            return Note("HeapSetInformation " + std::string(heap == nullptr ? "null " : "a heap ") +
                                        std::to_string(kind) + (data == nullptr ? " null " : " data ") +
                                        std::to_string(size));
                          }};
  AnswerProcAddress mitigation_{"SetProcessMitigationPolicy", [this](int policy, void* data, SIZE_T size) -> BOOL {
                                  return Note("SetProcessMitigationPolicy " + std::to_string(policy) + " " +
                                              std::to_string(*static_cast<DWORD*>(data)) + " " + std::to_string(size));
                                }};
  ImportRedirection errorMode_{"SetErrorMode", [this](UINT mode) -> UINT {
                                 if (guards_.empty() || guards_.back().rfind("SetErrorMode", 0) != 0) {
                                   Note("SetErrorMode " + std::to_string(mode));
                                 } else {
                                   guards_.back() += ", " + std::to_string(mode);
                                 }
                                 return std::exchange(mode_, mode);
                               }};
  ImportRedirection environment_{"SetEnvironmentVariableW", [this](LPCWSTR name, LPCWSTR value) -> BOOL {
                                   return Note("SetEnvironmentVariableW " + ToUtf8(name) + " " + ToUtf8(value));
                                 }};
};

TEST_CASE("every guard is set once, with its exact arguments, even if Windows refuses it; no library is loaded") {
  const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
  for (const BOOL answer : {TRUE, FALSE}) {
    Lines asked;
    const Guards guards(answer);
    const CountCalls loads{"LoadLibraryW"};
    const CountCalls frees{"FreeLibrary"};
    const OnCall lookups{"GetProcAddress", &::GetProcAddress, [&](HMODULE module, LPCSTR name) {
                           asked.push_back(module == kernel ? name : "not in kernel32");
                         }};
    CHECK_LINES(guards.Take(), {kDllDirectories, kHeapInformation, kMitigationPolicy, kErrorMode, kEnvironment});
    CHECK_LINES(asked, {"SetDefaultDllDirectories", "HeapSetInformation", "SetProcessMitigationPolicy"});
    CHECK(loads.Calls() == 0);
    CHECK(frees.Calls() == 0);
  }
}

TEST_CASE("a guard that this Windows does not have is skipped, and the others are set") {
  const std::pair<const char*, const char*> late[] = {{"SetDefaultDllDirectories", kDllDirectories},
                                                      {"HeapSetInformation", kHeapInformation},
                                                      {"SetProcessMitigationPolicy", kMitigationPolicy}};
  for (const auto& guard : late) {
    CAPTURE(std::string(guard.first));
    const Guards guards;
    const MissingEntry missing{guard.first};
    Lines wanted = {kDllDirectories, kHeapInformation, kMitigationPolicy, kErrorMode, kEnvironment};
    wanted.erase(std::find(wanted.begin(), wanted.end(), guard.second));
    CHECK_LINES(guards.Take(), (wanted));
    CHECK(missing.Asked() == 1);
  }
  const Guards guards;
  const FailCall noModule{"GetModuleHandleW", Calls::From(1), ERROR_MOD_NOT_FOUND};
  const FailCall noEntry{"GetProcAddress", Calls::From(1), ERROR_PROC_NOT_FOUND};
  CHECK_LINES(guards.Take(), {kErrorMode, kEnvironment});
  CHECK(noModule.Failed() == 1);
}

TEST_CASE("errors show no message box, and the caller's error mode is back within its own scope only") {
  constexpr UINT kNoBoxes = SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX;
  const Guards guards;
  guards.Take();
  CHECK(guards.ErrorMode() == (Guards::kCallersMode | kNoBoxes));
  {
    const OrCommon::CallersErrorMode callers;
    CHECK(guards.ErrorMode() == Guards::kCallersMode);
    ::SetLastError(4711);
  }
  CHECK(::GetLastError() == 4711);
  CHECK(guards.ErrorMode() == (Guards::kCallersMode | kNoBoxes));
}

TEST_CASE("programs and libraries beside the program or in the current folder do not replace the system's") {
  const ScratchFolder program(L"guarded program");
  const ScratchFolder current(L"anybody's folder");
  const std::wstring probe = CopyProbe(program, L"guarded.exe");
  CopyProbe(program, L"velabeside.dll");
  CopyProbe(current, L"velacurrent.dll");
  CopyProbe(current, L"regsvr32.exe");
  const auto check = [&](const wchar_t* guards, const std::string& exitCode, const std::string& loaded) {
    const auto started = RunProbe({L"start", guards}, probe, current.Path());
    CHECK(started.exitCode == 0);
    CHECK(started.answers.at("child exit code") == exitCode);
    const auto answers = RunProbe({L"load", guards}, probe, current.Path()).answers;
    CHECK(answers.at("velabeside.dll") == loaded);
    CHECK(answers.at("velacurrent.dll") == loaded);
    CHECK(answers.at("psapi.dll") == "loaded");
  };
  check(L"unguarded", "77", "loaded");  // the planted program's exit code; otherwise the guarded run proves nothing
  check(L"guarded", "3", std::to_string(ERROR_MOD_NOT_FOUND));  // the system's program: no such module
}

}  // namespace
