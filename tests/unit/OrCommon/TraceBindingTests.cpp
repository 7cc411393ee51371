// How the trace binds its library, gives it back and guards the calls into it.
#include "Common/OrCommon/OrComn_DebugLog.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/unit/OrCommon/RecordedTrace.h"

using namespace OrCommon;
using OrCommon::Library::OrDbg;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

bool TraceOneLine(DebugLog& log) {
  return log.Trace("a.cpp", 1, DebugLog::kProgress, L"line");
}

// A binding that has taken the recording library.
struct TakenLibrary {
  TakenLibrary() { binding.Take(recorded.Library()); }
  TakenLibrary(const TakenLibrary&) = delete;
  TakenLibrary& operator=(const TakenLibrary&) = delete;
  ~TakenLibrary() { binding.Unload(); }

  RecordedTrace recorded;
  OrDbg binding;
  DWORD error = 4711;
};

TEST_CASE_FIXTURE(TakenLibrary, "the three entry points are looked up by name, in order") {
  CHECK_FALSE(binding.IsBound());
  {
    Lines found;
    const OnCall find{"GetProcAddress", &::GetProcAddress, [&](HMODULE module, LPCSTR name) {
                        found.emplace_back(module == recorded.Handle() ? name : "elsewhere");
                      }};
    CHECK(binding.Bind(&error));
    CHECK_LINES(found, {"OrDbgInitialize", "OrDbgUninitialize", "OrDbgTrace"});
  }
  CHECK(binding.IsBound());
  CHECK(error == 4711);
  CHECK(binding.Bind(nullptr));
  binding.Unload();
  CHECK_FALSE(binding.IsBound());
}

TEST_CASE_FIXTURE(TakenLibrary, "one missing entry point leaves the binding unbound, with the look-up's error") {
  for (const std::string name : {"OrDbgInitialize", "OrDbgUninitialize", "OrDbgTrace"}) {
    CAPTURE(name);
    error = 4711;
    {
      const MissingEntry missing(name.c_str());
      CHECK_FALSE(binding.Bind(&error));
      CHECK(missing.Asked() == 1);
    }
    CHECK(error == ERROR_PROC_NOT_FOUND);
    CHECK_FALSE(binding.IsBound());
    // Only the trace's own entry point decides whether a line can be written.
    CHECK(binding.Trace(SYSTEMTIME(), L"line") == (name != "OrDbgTrace"));
    CHECK(binding.Bind(&error));  // the entry is there again
    CHECK(binding.IsBound());
  }
  CHECK(recorded.Calls().size() == 2);
}

TEST_CASE("without its library or OrDbgTrace, a trace fails at each line; a missing library is not released") {
  const RecordedTrace recorded;
  const CountCalls frees{"FreeLibrary"};
  for (const bool present : {false, true}) {
    CHECK(frees.Calls() == 0);
    DebugLog log;
    DWORD error = 4711;
    const MissingEntry missing("OrDbgTrace");
    CHECK_FALSE(log.Open(present ? recorded.Library() : Module(), nullptr, Enabled(), nullptr));
    CHECK_FALSE(log.Open(present ? recorded.Library() : Module(), nullptr, Enabled(), &error));
    CHECK(error == (present ? ERROR_PROC_NOT_FOUND : ERROR_INVALID_HANDLE));
    CHECK_FALSE(TraceOneLine(log));
    CHECK(recorded.Calls().empty());
  }
  CHECK(frees.Calls() == 2);
}

TEST_CASE_FIXTURE(TakenLibrary, "the last of several errors is returned; an unconvertible name is an error") {
  const DWORD codes[] = {ERROR_INVALID_ORDINAL, ERROR_ACCESS_DENIED, ERROR_NOACCESS};
  for (unsigned failing = 1; failing <= 3; ++failing) {
    unsigned call = 0;
    const ImportRedirection find{"GetProcAddress", [&](HMODULE module, LPCSTR name) -> FARPROC {
                                   if (++call <= failing) {
                                     ::SetLastError(codes[call - 1]);
                                     return nullptr;
                                   }
                                   return find.Original<decltype(&::GetProcAddress)>()(module, name);
                                 }};
    CHECK_FALSE(binding.Bind(&error));
    CHECK(call == 3);  // a missing one does not end the search
    CHECK(error == codes[failing - 1]);
  }
  const FailCall conversion{"WideCharToMultiByte", 2, ERROR_NO_UNICODE_TRANSLATION};
  CHECK_FALSE(binding.Bind(&error));
  CHECK(error == 160);
  CHECK_FALSE(binding.IsBound());
}

TEST_CASE_FIXTURE(TakenLibrary, "a library that cannot be released stays bound; the next release succeeds") {
  REQUIRE(binding.Bind(nullptr));
  {
    const FailCall free{"FreeLibrary", 1, ERROR_BUSY};
    binding.Unload();
    CHECK(free.Failed() == 1);
  }
  CHECK(binding.IsBound());
  CHECK(binding.Trace(SYSTEMTIME(), L"still there"));
  const CountCalls frees{"FreeLibrary"};
  binding.Unload();
  CHECK_FALSE(binding.IsBound());
  CHECK_FALSE(binding.Trace(SYSTEMTIME(), L"gone"));
  binding.Unload();
  CHECK(frees.Calls() == 1);
  CHECK(recorded.Calls().size() == 1);
}

TEST_CASE("opening again releases the previous library, and the destructor releases the current one") {
  const auto isLoaded = [] { return ::GetModuleHandleW(Fixtures::kTraceLibrary) != nullptr; };
  REQUIRE_FALSE(isLoaded());
  auto recorded = std::make_unique<RecordedTrace>();
  auto log = std::make_unique<DebugLog>();
  REQUIRE(log->Open(recorded->Library(), nullptr, Enabled(), nullptr));
  {
    const CountCalls frees{"FreeLibrary"};
    REQUIRE(log->Open(recorded->Library(), nullptr, Enabled(), nullptr));
    CHECK(frees.Calls() == 1);
  }
  recorded.reset();
  CHECK(isLoaded());
  CHECK(TraceOneLine(*log));
  log.reset();
  CHECK_FALSE(isLoaded());
}

// Which critical sections this thread holds, and the end of each.
struct Locks {
  std::set<CRITICAL_SECTION*> held;
  std::set<CRITICAL_SECTION*> used;
  std::size_t mostHeld = 0;
  std::vector<CRITICAL_SECTION*> deleted;

  OnCall enter{"EnterCriticalSection", &::EnterCriticalSection, [this](CRITICAL_SECTION* section) {
                 held.insert(section);
                 used.insert(section);
                 mostHeld = std::max(mostHeld, held.size());
               }};
  OnCall leave{"LeaveCriticalSection", &::LeaveCriticalSection,
               [this](CRITICAL_SECTION* section) { held.erase(section); }};
  OnCall erase{"DeleteCriticalSection", &::DeleteCriticalSection,
               [this](CRITICAL_SECTION* section) { deleted.push_back(section); }};
};

TEST_CASE("a line is written under one lock, the state read under another, never both; all are released afterwards") {
  RecordedTrace recorded;
  DebugLog never;
  DebugLog log;
  DebugLog unbound;
  REQUIRE(log.Open(recorded.Library(), nullptr, Enabled(L"VELA", DebugLog::kProgress), nullptr));
  unbound.Open(Module(), nullptr, Enabled(), nullptr);
  const Locks locks;
  recorded.Watch([&] { CHECK(locks.held.size() == 1); });
  CHECK(TraceOneLine(log));
  CHECK(locks.used.size() == 2);
  recorded.AnswerWith(1);
  CHECK_FALSE(TraceOneLine(log));
  log.Trace("a.cpp", 1, DebugLog::kError, L"masked out");
  TraceOneLine(never);
  TraceOneLine(unbound);
  CHECK(locks.used.size() == 5);
  CHECK(locks.mostHeld == 1);
  CHECK(locks.held.empty());
}

TEST_CASE("the destructor deletes the library's lock, releases the library, and deletes the lock of the state") {
  for (const bool freeFails : {false, true}) {
    RecordedTrace recorded;
    auto log = std::make_unique<DebugLog>();
    REQUIRE(log->Open(recorded.Library(), nullptr, Enabled(), nullptr));
    Locks locks;
    std::set<CRITICAL_SECTION*> libraryLock;
    recorded.Watch([&] { libraryLock = locks.held; });
    TraceOneLine(*log);
    recorded.Watch(nullptr);
    std::vector<std::size_t> deletedBeforeFree;
    {
      const ImportRedirection free{"FreeLibrary", [&](HMODULE module) -> BOOL {
                                     deletedBeforeFree.push_back(locks.deleted.size());
                                     return freeFails ? FALSE : free.Original<decltype(&::FreeLibrary)>()(module);
                                   }};
      log.reset();
    }
    if (freeFails) {
      ::FreeLibrary(recorded.Handle());  // what the trace could not give back
    }
    REQUIRE(libraryLock.size() == 1);
    REQUIRE(locks.deleted.size() == 2);
    CHECK(locks.deleted[0] == *libraryLock.begin());
    CHECK(locks.used == std::set<CRITICAL_SECTION*>(locks.deleted.begin(), locks.deleted.end()));
    CHECK(deletedBeforeFree == std::vector<std::size_t>{1});
  }
}

}  // namespace
