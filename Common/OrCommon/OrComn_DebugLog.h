// The developers' trace, written through a separate library that is bound at run time.
//
// Contract of the common library. No command opens a trace, so each call of Trace succeeds without effect. A diagnostic
// build or a test opens one by DebugLog::Open.
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

  // Takes ownership of a loaded library. Does not release a previous one.
  void Take(Module library) noexcept { library_ = library.Release(); }
  // Resolves the three entry points. True if all were found. `error` (may be null) receives the last code that
  // occurred: ERROR_INVALID_HANDLE without a library, otherwise the code of the look-up. Without an error it is not
  // changed.
  bool Bind(DWORD* error);
  bool IsBound() const noexcept { return bound_; }

  // Writes one line. True if the library reports success.
  bool Trace(const SYSTEMTIME& time, const wchar_t* line) const;

  // Releases the library. If that fails, the library stays.
  void Unload() noexcept;

  void SetHandle(void* handle) noexcept { handle_ = handle; }

 private:
  HMODULE library_ = nullptr;  // no owner class: after a failed release it must stay
  bool bound_ = false;
  FARPROC initialize_ = nullptr;
  FARPROC uninitialize_ = nullptr;
  FARPROC trace_ = nullptr;
  void* handle_ = nullptr;  // argument of the library's functions
};

}  // namespace Library

// Any thread may call Trace.
class DebugLog : private boost::noncopyable {
 public:
  enum Level : DWORD { kProgress = 1, kNotice = 16, kError = 256 };

  struct Options {
    BYTE enabled = 0;        // traces are written when this is 1
    DWORD mask = 0;          // a level is written if it shares a bit with this
    std::wstring component;  // named in every line
  };

  DebugLog();
  ~DebugLog();

  // Takes ownership of a loaded trace library and starts tracing through it with `handle`. False, with the code in
  // `error` (may be null), if an entry point is missing. If that is the one that writes lines, each trace then fails.
  bool Open(Module library, void* handle, const Options& options, DWORD* error);

  // Writes one line: local time, process and thread, level tag, component, the text formatted as in
  // OrCommon::String::Format, and the name of `sourceFile` without its folders with `line`. True if it was written, and
  // also if the trace was never opened or is not enabled. False if the level is masked out, the text cannot be
  // formatted (or has a million characters), the library is not bound, or the library reports a failure. Throws
  // nothing.
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
