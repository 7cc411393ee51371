// What the product traces, read back from a real trace library (tests/fixtures/TraceLibrary.cpp).
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_DebugLog.h"
#include "Common/OrCommon/OrComn_Handles.h"
#include "tests/fixtures/TraceLibrary.h"
#include "tests/support/TextLines.h"

namespace OrCommonTests {

// One call into the trace library.
struct Traced {
  void* handle;
  SYSTEMTIME time;
  std::wstring text;
};

// The library and its list, empty at first. It stays loaded while this lives, whatever the product does with it.
class RecordedTrace {
 public:
  RecordedTrace();
  RecordedTrace(const RecordedTrace&) = delete;
  RecordedTrace& operator=(const RecordedTrace&) = delete;
  ~RecordedTrace();

  // The library once more, for the product to take over.
  OrCommon::Module Library() const;
  HMODULE Handle() const { return library_.Get(); }

  void AnswerWith(DWORD answer) const;
  // Called at every line, inside the library.
  void Watch(std::function<void()> watcher);

  std::vector<Traced> Calls() const;
  // The lines from the tag on: "!!! <component> text - file(1)\r\n".
  TestSupport::Lines Lines() const;

 private:
  void Keep() const;
  template <class Function>
  Function Entry(const char* name) const;

  OrCommon::Module library_;
  std::function<void()> watcher_;
};

// A trace that is written.
inline OrCommon::DebugLog::Options Enabled(const std::wstring& component = L"VELA", DWORD mask = 0xFFFFFFFF) {
  OrCommon::DebugLog::Options options;
  options.enabled = 1;
  options.mask = mask;
  options.component = component;
  return options;
}

// The process's own trace, written to `recorded` with every level while this lives.
class TraceScope {
 public:
  TraceScope(const RecordedTrace& recorded, const std::wstring& component);
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;
  ~TraceScope();
};

}  // namespace OrCommonTests
