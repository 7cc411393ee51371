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
using OrCommonTests::RecordedTrace;
using namespace TestSupport;

namespace {

DebugLog::Options Enabled() {
  DebugLog::Options options;
  options.enabled = 1;
  options.mask = DebugLog::kProgress;
  options.component = L"VELA";
  return options;
}

bool TraceOneLine(DebugLog& log) {
  return log.Trace("a.cpp", 1, DebugLog::kProgress, L"line");
}

// What the product looks up in a library and how often it frees that: "find OrDbgTrace", "free".
class LibraryCalls {
 public:
  explicit LibraryCalls(HMODULE library) : library_(library) {}
  Lines events;

 private:
  void Note(HMODULE module, const std::string& event) {
    if (module == library_) {
      events.push_back(event);
    }
  }
  HMODULE library_;
  OnCall find_{"GetProcAddress", &::GetProcAddress,
               [this](HMODULE module, LPCSTR name) { Note(module, std::string("find ") + name); }};
  OnCall free_{"FreeLibrary", &::FreeLibrary, [this](HMODULE module) { Note(module, "free"); }};
};

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
    const LibraryCalls calls(recorded.Handle());
    CHECK(binding.Bind(&error));
    CHECK_LINES(calls.events, {"find OrDbgInitialize", "find OrDbgUninitialize", "find OrDbgTrace"});
  }
  CHECK(binding.IsBound());
  CHECK(error == 4711);
  CHECK(binding.Bind(nullptr));
  binding.Unload();
  CHECK_FALSE(binding.IsBound());
}

TEST_CASE_FIXTURE(TakenLibrary, "one missing entry point leaves the binding unbound, with the look-up's error") {
  for (const char* name : {"OrDbgInitialize", "OrDbgUninitialize", "OrDbgTrace"}) {
    CAPTURE(name);
    error = 4711;
    {
      const MissingEntry missing(name);
      CHECK_FALSE(binding.Bind(&error));
      CHECK(missing.Asked() == 1);
    }
    CHECK(error == ERROR_PROC_NOT_FOUND);
    CHECK_FALSE(binding.IsBound());
    // Only the trace's own entry point decides whether a line can be written.
    CHECK(binding.Trace(SYSTEMTIME(), L"line") == (std::string(name) != "OrDbgTrace"));
    CHECK(recorded.Calls().size() == 2 - (std::string(name) == "OrDbgInitialize" ? 1 : 0));
    CHECK(binding.Bind(&error));  // the entry is there again
    CHECK(binding.IsBound());
  }
}

TEST_CASE("a trace whose library is missing, or lacks the entry for traces, fails at each line") {
  const RecordedTrace recorded;
  for (const bool present : {false, true}) {
    DebugLog log;
    DWORD error = 4711;
    {
      const MissingEntry missing("OrDbgTrace");
      CHECK_FALSE(log.Open(present ? recorded.Library() : Module(), nullptr, Enabled(), &error));
      CHECK_FALSE(log.Open(present ? recorded.Library() : Module(), nullptr, Enabled(), nullptr));
    }
    CHECK(error == (present ? ERROR_PROC_NOT_FOUND : ERROR_INVALID_HANDLE));
    CHECK_FALSE(TraceOneLine(log));
    CHECK(recorded.Calls().empty());
  }
}

TEST_CASE_FIXTURE(TakenLibrary, "of several errors the last one is given; a name that cannot be converted is one") {
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

TEST_CASE("opening once more releases the library of before, and the end that of now") {
  const auto isLoaded = [] { return ::GetModuleHandleW(Fixtures::kTraceLibrary) != nullptr; };
  REQUIRE_FALSE(isLoaded());
  auto recorded = std::make_unique<RecordedTrace>();
  auto log = std::make_unique<DebugLog>();
  REQUIRE(log->Open(recorded->Library(), nullptr, Enabled(), nullptr));
  {
    const LibraryCalls calls(recorded->Handle());
    REQUIRE(log->Open(recorded->Library(), nullptr, Enabled(), nullptr));
    CHECK(LinesWith(calls.events, "free").size() == 1);
  }
  recorded.reset();
  CHECK(isLoaded());
  CHECK(TraceOneLine(*log));
  log.reset();
  CHECK_FALSE(isLoaded());
}

// Which critical sections this thread holds, and the end of each.
class Locks {
 public:
  std::set<CRITICAL_SECTION*> held;
  std::set<CRITICAL_SECTION*> used;
  std::size_t mostHeld = 0;
  std::vector<CRITICAL_SECTION*> deleted;

 private:
  ImportRedirection enter_{"EnterCriticalSection", [this](CRITICAL_SECTION* section) {
                             enter_.Original<decltype(&::EnterCriticalSection)>()(section);
                             held.insert(section);
                             used.insert(section);
                             mostHeld = std::max(mostHeld, held.size());
                           }};
  OnCall leave_{"LeaveCriticalSection", &::LeaveCriticalSection,
                [this](CRITICAL_SECTION* section) { held.erase(section); }};
  OnCall delete_{"DeleteCriticalSection", &::DeleteCriticalSection,
                 [this](CRITICAL_SECTION* section) { deleted.push_back(section); }};
};

TEST_CASE("a line is written under one lock, the state read under another, never both") {
  RecordedTrace recorded;
  DebugLog log;
  REQUIRE(log.Open(recorded.Library(), nullptr, Enabled(), nullptr));
  const Locks locks;
  recorded.Watch([&] { CHECK(locks.held.size() == 1); });
  CHECK(TraceOneLine(log));
  CHECK(locks.used.size() == 2);
  CHECK(locks.mostHeld == 1);
  CHECK(locks.held.empty());
}

TEST_CASE("every way out of a trace leaves the locks") {
  const RecordedTrace recorded;
  DebugLog never;
  DebugLog log;
  DebugLog unbound;
  REQUIRE(log.Open(recorded.Library(), nullptr, Enabled(), nullptr));
  unbound.Open(Module(), nullptr, Enabled(), nullptr);
  recorded.AnswerWith(1);
  const Locks locks;
  TraceOneLine(never);
  log.Trace("a.cpp", 1, DebugLog::kError, L"masked out");
  TraceOneLine(log);
  TraceOneLine(unbound);
  CHECK(locks.held.empty());
  CHECK(locks.used.size() == 5);
}

TEST_CASE("the end: the library's lock, the library, the lock of the state") {
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

TEST_CASE("a trace without a library ends without releasing one") {
  const CountCalls frees{"FreeLibrary"};
  { const DebugLog log; }
  {
    DebugLog log;
    log.Open(Module(), nullptr, Enabled(), nullptr);
  }
  CHECK(frees.Calls() == 0);
}

}  // namespace
