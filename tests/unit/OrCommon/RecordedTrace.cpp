#include "tests/unit/OrCommon/RecordedTrace.h"

#include <cstdio>
#include <stdexcept>

#include "Common/OrCommon/OrComn_Library.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestPaths.h"

namespace OrCommonTests {
namespace {

OrCommon::Module Load() {
  OrCommon::Module library(::LoadLibraryW(TestSupport::FixturePath(Fixtures::kTraceLibrary).c_str()));
  if (!library) {
    throw std::runtime_error("the trace library cannot be loaded, error " + std::to_string(::GetLastError()));
  }
  return library;
}

void WINAPI CallWatcher(void* context) {
  (*static_cast<std::function<void()>*>(context))();
}

}  // namespace

RecordedTrace::RecordedTrace() : library_(Load()) {
  Entry<Fixtures::ForgetTracesFunction>("ForgetTraces")();
  AnswerWith(0);
}

RecordedTrace::~RecordedTrace() {
  Watch(nullptr);
  Keep();
}

// Appended to a file that run_in_prefix.sh collects.
void RecordedTrace::Keep() const {
  ::CreateDirectoryW(TestSupport::kKeptMessages, nullptr);
  FILE* const kept = ::_wfopen((std::wstring(TestSupport::kKeptMessages) + L"\\trace.log").c_str(), L"ab");
  if (kept != nullptr) {
    for (const Traced& traced : Calls()) {
      std::fputs(TestSupport::ToUtf8(traced.text).c_str(), kept);
    }
    std::fclose(kept);
  }
}

OrCommon::Module RecordedTrace::Library() const {
  return Load();
}

void RecordedTrace::AnswerWith(DWORD answer) const {
  Entry<Fixtures::AnswerTracesFunction>("AnswerTraces")(answer);
}

void RecordedTrace::Watch(std::function<void()> watcher) {
  watcher_ = std::move(watcher);
  Entry<Fixtures::WatchTracesFunction>("WatchTraces")(watcher_ ? &CallWatcher : nullptr, &watcher_);
}

std::vector<Traced> RecordedTrace::Calls() const {
  std::vector<Traced> calls;
  const DWORD count = Entry<Fixtures::TracedLinesFunction>("TracedLines")();
  for (DWORD index = 0; index < count; ++index) {
    Fixtures::TracedLine line = {};
    Entry<Fixtures::TracedLineFunction>("GetTracedLine")(index, &line);
    calls.push_back({line.handle, line.time, line.text});
  }
  return calls;
}

TestSupport::Lines RecordedTrace::Lines() const {
  TestSupport::Lines lines;
  for (const Traced& traced : Calls()) {
    constexpr std::size_t kMoment = 24;  // characters; process and thread follow
    lines.push_back(TestSupport::ToUtf8(traced.text.substr(traced.text.find(L' ', kMoment) + 1)));
  }
  return lines;
}

template <class Function>
Function RecordedTrace::Entry(const char* name) const {
  const FARPROC address = ::GetProcAddress(library_.Get(), name);
  if (address == nullptr) {
    throw std::runtime_error(std::string("the trace library lacks ") + name);
  }
  return OrCommon::Library::FunctionCast<Function>(address);
}

TraceScope::TraceScope(const RecordedTrace& recorded, const std::wstring& component) {
  if (!OrCommon::g_debugLog.Open(recorded.Library(), nullptr, Enabled(component), nullptr)) {
    throw std::runtime_error("the trace cannot be opened");
  }
}

TraceScope::~TraceScope() {
  OrCommon::g_debugLog.Open(OrCommon::Module(), nullptr, OrCommon::DebugLog::Options(), nullptr);
}

}  // namespace OrCommonTests
