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

Lines g_guards;
BOOL g_answer = TRUE;

BOOL WINAPI RecordDllDirectories(DWORD flags) {
  g_guards.push_back("SetDefaultDllDirectories " + std::to_string(flags));
  return g_answer;
}

BOOL WINAPI RecordHeapInformation(HANDLE heap, int informationClass, void* information, SIZE_T size) {
  g_guards.push_back("HeapSetInformation " + std::string(heap == nullptr ? "null " : "a heap ") +
                     std::to_string(informationClass) + (information == nullptr ? " null " : " data ") +
                     std::to_string(size));
  return g_answer;
}

BOOL WINAPI RecordMitigationPolicy(int policy, void* data, SIZE_T size) {
  const std::string flags = size == sizeof(DWORD) ? std::to_string(*static_cast<DWORD*>(data)) : "?";
  g_guards.push_back("SetProcessMitigationPolicy " + std::to_string(policy) + " " + flags + " " + std::to_string(size));
  return g_answer;
}

const char* const kDllDirectories = "SetDefaultDllDirectories 2048";
const char* const kHeapInformation = "HeapSetInformation null 1 null 0";
const char* const kMitigationPolicy = "SetProcessMitigationPolicy 16 1 4";
const char* const kErrorMode = "SetErrorMode 32771, 32775";  // 0x8003, and with it what the caller had set: 0x0004
const char* const kEnvironment = "SetEnvironmentVariableW NoDefaultCurrentDirectoryInExePath 1";

// Takes the guards with recorders in their places: this test process stays unguarded.
class Guards {
 public:
  explicit Guards(BOOL answer = TRUE) {
    g_guards.clear();
    g_answer = answer;
  }

  const Lines& Take() const {
    GuardProcess();
    return g_guards;
  }

  static constexpr UINT kCallersMode = SEM_NOALIGNMENTFAULTEXCEPT;
  UINT ErrorMode() const { return mode_; }

 private:
  AnswerProcAddress directories_{"SetDefaultDllDirectories", &RecordDllDirectories};
  AnswerProcAddress heap_{"HeapSetInformation", &RecordHeapInformation};
  AnswerProcAddress mitigation_{"SetProcessMitigationPolicy", &RecordMitigationPolicy};
  UINT mode_ = kCallersMode;
  ImportRedirection errorMode_{"SetErrorMode", [this](UINT mode) -> UINT {
                                 if (g_guards.empty() || g_guards.back().rfind("SetErrorMode", 0) != 0) {
                                   g_guards.push_back("SetErrorMode " + std::to_string(mode));
                                 } else {
                                   g_guards.back() += ", " + std::to_string(mode);
                                 }
                                 return std::exchange(mode_, mode);
                               }};
  ImportRedirection environment_{"SetEnvironmentVariableW", [](LPCWSTR name, LPCWSTR value) -> BOOL {
                                   g_guards.push_back("SetEnvironmentVariableW " + ToUtf8(name) + " " + ToUtf8(value));
                                   return g_answer;
                                 }};
};

TEST_CASE("every guard is taken once, with its exact arguments, also where Windows refuses; none is loaded for it") {
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

TEST_CASE("a guard that this Windows does not have is left out") {
  const std::pair<const char*, const char*> late[] = {{"SetDefaultDllDirectories", kDllDirectories},
                                                      {"HeapSetInformation", kHeapInformation},
                                                      {"SetProcessMitigationPolicy", kMitigationPolicy}};
  for (const auto& guard : late) {
    CAPTURE(guard.first);
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

TEST_CASE("an error raises no box, and the caller's mode comes back for as long as it is asked for") {
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

TEST_CASE("a regsvr32.exe that lies in the current folder is not started in the system's place") {
  constexpr DWORD kPlanted = 77;             // what the planted program exits with
  constexpr DWORD kSystemsNoSuchModule = 3;  // what the system's one exits with when told to register no file
  const ScratchFolder program(L"guarded program");
  const ScratchFolder current(L"anybody's folder");
  const std::wstring probe = CopyProbe(program, L"guarded.exe");
  CopyProbe(current, L"regsvr32.exe");

  const auto unguarded = RunProbe({L"start", L"unguarded"}, probe, current.Path());
  CHECK(unguarded.exitCode == 0);
  CHECK(unguarded.answers.at("child exit code") == std::to_string(kPlanted));  // or the test below shows nothing

  const auto guarded = RunProbe({L"start", L"guarded"}, probe, current.Path());
  CHECK(guarded.exitCode == 0);
  CHECK(guarded.answers.at("child exit code") == std::to_string(kSystemsNoSuchModule));
}

TEST_CASE("a library that lies beside the program or in the current folder is not loaded, the system's are") {
  const ScratchFolder program(L"guarded program");
  const ScratchFolder current(L"anybody's folder");
  const std::wstring probe = CopyProbe(program, L"guarded.exe");
  CopyProbe(program, L"velabeside.dll");
  CopyProbe(current, L"velacurrent.dll");

  const auto unguarded = RunProbe({L"load", L"unguarded"}, probe, current.Path());
  CHECK(unguarded.answers.at("velabeside.dll") == "loaded");
  CHECK(unguarded.answers.at("velacurrent.dll") == "loaded");

  const auto guarded = RunProbe({L"load", L"guarded"}, probe, current.Path());
  CHECK(guarded.answers.at("velabeside.dll") == std::to_string(ERROR_MOD_NOT_FOUND));
  CHECK(guarded.answers.at("velacurrent.dll") == std::to_string(ERROR_MOD_NOT_FOUND));
  CHECK(guarded.answers.at("psapi.dll") == "loaded");
}

}  // namespace
