// The developers' trace, written through a library of its own that is bound at run time.
//
// Contract of the common library: no command opens a trace, and each call of Trace then succeeds without effect. A
// diagnostic build, or a test, opens one by DebugLog::Open.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <string>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon {

namespace Library {

// The trace library and its three entry points.
class OrDbg : private boost::noncopyable {
 public:
  using TraceFunction = DWORD(WINAPI*)(void* handle, const SYSTEMTIME* time, const wchar_t* line);  // 0: written

  // Takes a loaded library over; what was loaded before is not released.
  void Take(Module library) noexcept { library_ = library.Release(); }
  // Resolves the three entry points. True when all were; `error` (may be null) receives the last code that occurred,
  // and is left alone where none did: ERROR_INVALID_HANDLE without a library, else that of the look-up.
  bool Bind(DWORD* error);
  bool IsBound() const noexcept { return bound_; }

  // Writes one line; true where the library says that it was written.
  bool Trace(const SYSTEMTIME& time, const wchar_t* line) const;

  // Releases the library. One that cannot be released stays.
  void Unload() noexcept;

  void SetHandle(void* handle) noexcept { handle_ = handle; }

 private:
  HMODULE library_ = nullptr;  // not an owner's: a failed release must leave it in place
  bool bound_ = false;
  FARPROC initialize_ = nullptr;
  FARPROC uninitialize_ = nullptr;
  FARPROC trace_ = nullptr;
  void* handle_ = nullptr;  // what the library's functions are called with
};

}  // namespace Library

// Any thread may call Trace.
class DebugLog : private boost::noncopyable {
 public:
  enum Level : DWORD { kProgress = 1, kNotice = 16, kError = 256 };

  struct Options {
    BYTE enabled = 0;        // traces are written when this is 1
    DWORD mask = 0;          // levels that are written: those that share a bit with it
    std::wstring component;  // named in every line
  };

  DebugLog();
  ~DebugLog();

  // Takes a loaded trace library over and starts tracing through it with `handle`. False, with the code in `error` (may
  // be null), where an entry point is missing; where that is the one that writes lines, each trace then fails.
  bool Open(Module library, void* handle, const Options& options, DWORD* error);

  // Writes one line: local time, process and thread, level tag, component, the text formatted as in
  // OrCommon::String::Format, and the name of `sourceFile` without its folders with `line`. True where it was written,
  // and where nothing is to be written because the trace was never opened or is not enabled; false where the level is
  // masked out, the text cannot be formatted (or has a million characters), or the library is not bound or refuses.
  // Throws nothing.
  bool Trace(const char* sourceFile, DWORD line, DWORD level, const wchar_t* format, ...);

 private:
  bool TraceFormatted(const char* sourceFile, DWORD line, DWORD level, const wchar_t* format, std::va_list arguments);

  CRITICAL_SECTION stateLock_;  // the four members below
  BYTE initialised_ = 0;
  BYTE enabled_ = 0;
  DWORD mask_ = 0;
  std::wstring component_;
  Library::OrDbg library_;
  CRITICAL_SECTION libraryLock_;  // every call into the trace library
};

// The one trace of the process.
extern DebugLog g_debugLog;

}  // namespace OrCommon
