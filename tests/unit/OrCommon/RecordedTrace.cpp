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

// "31/12/2009 23:59:59.999 0020:0024 ", with narrow numbers of the C library: none of the product's own formatting.
std::string Head(const Traced& traced) {
  const SYSTEMTIME& time = traced.time;
  char text[64] = {};
  std::snprintf(text, sizeof text, "%02u/%02u/%04u %02u:%02u:%02u.%03u %04x:%04x ", unsigned{time.wDay},
                unsigned{time.wMonth}, unsigned{time.wYear}, unsigned{time.wHour}, unsigned{time.wMinute},
                unsigned{time.wSecond}, unsigned{time.wMilliseconds}, static_cast<unsigned>(::GetCurrentProcessId()),
                static_cast<unsigned>(traced.thread));
  return text;
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
    calls.push_back({line.handle, line.time, line.thread, line.text});
  }
  return calls;
}

TestSupport::Lines RecordedTrace::Lines() const {
  TestSupport::Lines lines;
  for (const Traced& traced : Calls()) {
    const std::string text = TestSupport::ToUtf8(traced.text);
    const std::string head = Head(traced);
    lines.push_back(text.compare(0, head.size(), head) == 0 ? text.substr(head.size()) : "(wrong head) " + text);
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
  OrCommon::DebugLog::Options options;
  options.enabled = 1;
  options.mask = 0xFFFFFFFF;
  options.component = component;
  if (!OrCommon::g_debugLog.Open(recorded.Library(), nullptr, options, nullptr)) {
    throw std::runtime_error("the trace cannot be opened");
  }
}

TraceScope::~TraceScope() {
  OrCommon::g_debugLog.Open(OrCommon::Module(), nullptr, OrCommon::DebugLog::Options(), nullptr);
}

}  // namespace OrCommonTests
