// How the trace binds its library, gives it back and guards the calls into it.
#include "Common/OrCommon/OrComn_DebugLog.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/unit/OrCommon/RecordedTrace.h"

using OrCommon::DebugLog;
using OrCommon::Module;
using OrCommon::Library::OrDbg;
using OrCommonTests::RecordedTrace;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;
using TestSupport::MissingEntry;

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

// What the product looks up and frees: "find OrDbgTrace", "free".
class LibraryCalls {
 public:
  explicit LibraryCalls(HMODULE library) : library_(library) {}
  const TestSupport::Lines& Events() const { return events_; }

 private:
  HMODULE library_;
  TestSupport::Lines events_;
  ImportRedirection find_{"GetProcAddress", [this](HMODULE module, LPCSTR name) -> FARPROC {
                            if (module == library_) {
                              events_.push_back(std::string("find ") + name);
                            }
                            return find_.Original<decltype(&::GetProcAddress)>()(module, name);
                          }};
  ImportRedirection free_{"FreeLibrary", [this](HMODULE module) -> BOOL {
                            if (module == library_) {
                              events_.push_back("free");
                            }
                            return free_.Original<decltype(&::FreeLibrary)>()(module);
                          }};
};

TEST_CASE("the three entry points are looked up by name, in order") {
  const RecordedTrace recorded;
  OrDbg binding;
  CHECK_FALSE(binding.IsBound());
  binding.Take(recorded.Library());
  DWORD error = 4711;
  TestSupport::Lines events;
  {
    const LibraryCalls calls(recorded.Handle());
    CHECK(binding.Bind(&error));
    events = calls.Events();
  }
  CHECK_LINES(events, {"find OrDbgInitialize", "find OrDbgUninitialize", "find OrDbgTrace"});
  CHECK(binding.IsBound());
  CHECK(error == 4711);
  CHECK(binding.Bind(nullptr));
  binding.Unload();
  CHECK_FALSE(binding.IsBound());
}

TEST_CASE("without a library every name is an invalid handle") {
  OrDbg binding;
  DWORD error = 4711;
  const CountCalls lookups{"GetProcAddress"};
  CHECK_FALSE(binding.Bind(&error));
  CHECK_FALSE(binding.Bind(nullptr));
  CHECK(lookups.Calls() == 0);
  CHECK(error == 6);
  CHECK_FALSE(binding.IsBound());
  CHECK_FALSE(binding.Trace(SYSTEMTIME(), L"line"));
}

TEST_CASE("a trace opened without its library fails, and each line too") {
  DebugLog log;
  DWORD error = 4711;
  CHECK_FALSE(log.Open(Module(), nullptr, Enabled(), &error));
  CHECK(error == 6);
  CHECK_FALSE(TraceOneLine(log));
  CHECK_FALSE(log.Open(Module(), nullptr, Enabled(), nullptr));
}

TEST_CASE("one missing entry point leaves the binding unbound, with the look-up's error") {
  for (const char* name : {"OrDbgInitialize", "OrDbgUninitialize", "OrDbgTrace"}) {
    CAPTURE(name);
    const RecordedTrace recorded;
    OrDbg binding;
    binding.Take(recorded.Library());
    DWORD error = 4711;
    {
      const MissingEntry missing(name);
      CHECK_FALSE(binding.Bind(&error));
      CHECK(missing.Asked() == 1);
    }
    CHECK(error == ERROR_PROC_NOT_FOUND);
    CHECK_FALSE(binding.IsBound());
    // Only the trace's own entry point decides whether a line can be written.
    const bool traceIsThere = std::string(name) != "OrDbgTrace";
    CHECK(binding.Trace(SYSTEMTIME(), L"line") == traceIsThere);
    CHECK(recorded.Calls().size() == (traceIsThere ? 1 : 0));
    CHECK(binding.Bind(&error));  // the entry is there again
    CHECK(binding.IsBound());
    binding.Unload();
  }
}

TEST_CASE("a library without the entry for traces: the trace fails") {
  const RecordedTrace recorded;
  DebugLog log;
  DWORD error = 4711;
  {
    const MissingEntry missing("OrDbgTrace");
    CHECK_FALSE(log.Open(recorded.Library(), nullptr, Enabled(), &error));
  }
  CHECK(error == ERROR_PROC_NOT_FOUND);
  CHECK_FALSE(TraceOneLine(log));
  CHECK(recorded.Calls().empty());
}

TEST_CASE("of several errors the last one is given") {
  const RecordedTrace recorded;
  OrDbg binding;
  binding.Take(recorded.Library());
  const DWORD codes[] = {ERROR_INVALID_ORDINAL, ERROR_ACCESS_DENIED, ERROR_NOACCESS};
  for (unsigned failing = 1; failing <= 3; ++failing) {
    unsigned call = 0;
    DWORD error = 4711;
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
  binding.Unload();
}

TEST_CASE("a name that cannot be converted for the look-up is a bad argument") {
  const RecordedTrace recorded;
  OrDbg binding;
  binding.Take(recorded.Library());
  DWORD error = 4711;
  {
    const FailCall conversion{"WideCharToMultiByte", 2, ERROR_NO_UNICODE_TRANSLATION};
    CHECK_FALSE(binding.Bind(&error));
  }
  CHECK(error == 160);
  CHECK_FALSE(binding.IsBound());
  binding.Unload();
}

TEST_CASE("a handle is passed to every line, also one that is set later") {
  const RecordedTrace recorded;
  OrDbg binding;
  binding.Take(recorded.Library());
  REQUIRE(binding.Bind(nullptr));
  int first = 0;
  int second = 0;
  CHECK(binding.Trace(SYSTEMTIME(), L"none"));
  binding.SetHandle(&first);
  CHECK(binding.Trace(SYSTEMTIME(), L"one"));
  binding.SetHandle(&second);
  CHECK(binding.Trace(SYSTEMTIME(), L"two"));
  const std::vector<OrCommonTests::Traced> calls = recorded.Calls();
  REQUIRE(calls.size() == 3);
  CHECK(calls[0].handle == nullptr);
  CHECK(calls[1].handle == &first);
  CHECK(calls[2].handle == &second);
  CHECK(calls[1].text == L"one");
  binding.Unload();
}

TEST_CASE("a library that cannot be released stays bound; the next release succeeds") {
  const RecordedTrace recorded;
  OrDbg binding;
  binding.Take(recorded.Library());
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
  const RecordedTrace recorded;
  TestSupport::Lines events;
  {
    const LibraryCalls calls(recorded.Handle());
    {
      DebugLog log;
      REQUIRE(log.Open(recorded.Library(), nullptr, Enabled(), nullptr));
      REQUIRE(log.Open(recorded.Library(), nullptr, Enabled(), nullptr));
      CHECK(TestSupport::LinesWith(calls.Events(), "free").size() == 1);
      CHECK(TraceOneLine(log));
    }
    events = TestSupport::LinesWith(calls.Events(), "free");
  }
  CHECK_LINES(events, {"free", "free"});
}

TEST_CASE("the library is really unloaded at the end") {
  const auto isLoaded = [] { return ::GetModuleHandleW(Fixtures::kTraceLibrary) != nullptr; };
  REQUIRE_FALSE(isLoaded());
  std::optional<RecordedTrace> recorded;
  recorded.emplace();
  auto log = std::make_unique<DebugLog>();
  REQUIRE(log->Open(recorded->Library(), nullptr, Enabled(), nullptr));
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
                             mostHeld = held.size() > mostHeld ? held.size() : mostHeld;
                           }};
  ImportRedirection leave_{"LeaveCriticalSection", [this](CRITICAL_SECTION* section) {
                             held.erase(section);
                             leave_.Original<decltype(&::LeaveCriticalSection)>()(section);
                           }};
  ImportRedirection delete_{"DeleteCriticalSection", [this](CRITICAL_SECTION* section) {
                              deleted.push_back(section);
                              delete_.Original<decltype(&::DeleteCriticalSection)>()(section);
                            }};
};

TEST_CASE("a line is written under one lock, the state read under another, never both") {
  RecordedTrace recorded;
  DebugLog log;
  REQUIRE(log.Open(recorded.Library(), nullptr, Enabled(), nullptr));
  std::set<CRITICAL_SECTION*> heldInLibrary;
  std::set<CRITICAL_SECTION*> heldAfter;
  std::set<CRITICAL_SECTION*> used;
  std::size_t mostHeld = 0;
  bool written = false;
  {
    Locks locks;
    recorded.Watch([&] { heldInLibrary = locks.held; });
    written = TraceOneLine(log);
    heldAfter = locks.held;
    used = locks.used;
    mostHeld = locks.mostHeld;
  }
  CHECK(written);
  CHECK(heldInLibrary.size() == 1);
  CHECK(used.size() == 2);
  CHECK(mostHeld == 1);
  CHECK(heldAfter.empty());
}

TEST_CASE("every way out of a trace leaves the locks") {
  const RecordedTrace recorded;
  DebugLog never;
  DebugLog log;
  DebugLog unbound;
  REQUIRE(log.Open(recorded.Library(), nullptr, Enabled(), nullptr));
  unbound.Open(Module(), nullptr, Enabled(), nullptr);
  recorded.AnswerWith(1);
  std::set<CRITICAL_SECTION*> held;
  std::set<CRITICAL_SECTION*> used;
  {
    const Locks locks;
    TraceOneLine(never);
    log.Trace("a.cpp", 1, DebugLog::kError, L"masked out");
    TraceOneLine(log);
    TraceOneLine(unbound);
    held = locks.held;
    used = locks.used;
  }
  CHECK(held.empty());
  CHECK(used.size() == 5);
}

struct TracingThread {
  DebugLog* log;
  DWORD level;
  bool written;

  static DWORD WINAPI Run(void* self) {
    const auto thread = static_cast<TracingThread*>(self);
    thread->written = thread->log->Trace("a.cpp", 2, thread->level, L"other thread");
    return 0;
  }
};

TEST_CASE("while a line is written, another thread waits with its line but may ask whether to trace") {
  RecordedTrace recorded;
  DebugLog log;
  REQUIRE(log.Open(recorded.Library(), nullptr, Enabled(), nullptr));
  TracingThread writing{&log, DebugLog::kProgress, false};
  TracingThread masked{&log, DebugLog::kNotice, true};
  OrCommon::KernelHandle writer;
  OrCommon::KernelHandle asker;
  DWORD writerWaits = 0;
  DWORD askerEnds = 0;
  bool first = true;
  recorded.Watch([&] {
    if (!first) {
      return;
    }
    first = false;
    writer.Reset(::CreateThread(nullptr, 0, &TracingThread::Run, &writing, 0, nullptr));
    asker.Reset(::CreateThread(nullptr, 0, &TracingThread::Run, &masked, 0, nullptr));
    askerEnds = ::WaitForSingleObject(asker.Get(), 10000);
    writerWaits = ::WaitForSingleObject(writer.Get(), 300);
  });
  CHECK(TraceOneLine(log));
  CHECK(askerEnds == WAIT_OBJECT_0);
  CHECK_FALSE(masked.written);
  CHECK(writerWaits == WAIT_TIMEOUT);
  CHECK(::WaitForSingleObject(writer.Get(), 10000) == WAIT_OBJECT_0);
  CHECK(writing.written);
  CHECK_LINES(recorded.Lines(), {".w. <VELA> line - a.cpp(1)\r\n", ".w. <VELA> other thread - a.cpp(2)\r\n"});
}

TEST_CASE("the end: the library's lock, the library, the lock of the state") {
  for (const bool freeFails : {false, true}) {
    RecordedTrace recorded;
    auto log = std::make_unique<DebugLog>();
    REQUIRE(log->Open(recorded.Library(), nullptr, Enabled(), nullptr));
    std::set<CRITICAL_SECTION*> libraryLock;
    std::vector<CRITICAL_SECTION*> deleted;
    std::vector<std::size_t> deletedBeforeFree;
    std::set<CRITICAL_SECTION*> used;
    {
      Locks locks;
      recorded.Watch([&] { libraryLock = locks.held; });
      TraceOneLine(*log);
      recorded.Watch(nullptr);
      const ImportRedirection free{"FreeLibrary", [&](HMODULE module) -> BOOL {
                                     deletedBeforeFree.push_back(locks.deleted.size());
                                     return freeFails ? FALSE : free.Original<decltype(&::FreeLibrary)>()(module);
                                   }};
      log.reset();
      deleted = locks.deleted;
      used = locks.used;
    }
    if (freeFails) {
      ::FreeLibrary(recorded.Handle());  // what the trace could not give back
    }
    REQUIRE(libraryLock.size() == 1);
    REQUIRE(deleted.size() == 2);
    CHECK(deleted[0] == *libraryLock.begin());
    CHECK(deleted[1] != deleted[0]);
    CHECK(used == std::set<CRITICAL_SECTION*>(deleted.begin(), deleted.end()));
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
