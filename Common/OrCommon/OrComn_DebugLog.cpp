#include "Common/OrCommon/OrComn_DebugLog.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <new>
#include <utility>

#include "Common/OrCommon/OrComn_Library.h"
#include "Common/OrCommon/OrComn_Shell.h"
#include "Common/OrCommon/OrComn_String.h"

namespace OrCommon {
namespace {

// The buffer size in characters of the last text; the next one starts with it.
std::atomic<std::size_t> g_bufferSize = 256;

// A text that does not fit, with its terminator, into this many characters counts as one that cannot be formatted.
constexpr std::size_t kLargestBuffer = 0x100000;

class Lock : private boost::noncopyable {
 public:
  explicit Lock(CRITICAL_SECTION& section) noexcept : section_(section) { ::EnterCriticalSection(&section_); }
  ~Lock() { ::LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION& section_;
};

const wchar_t* TagOf(DWORD level) noexcept {
  switch (level) {
    case DebugLog::kProgress:
      return L".w.";
    case DebugLog::kNotice:
      return L"@@@";
    case DebugLog::kError:
      return L"!!!";
    default:
      return L"???";
  }
}

bool FormatText(std::wstring& text, const wchar_t* format, std::va_list arguments) {
  for (std::size_t size = g_bufferSize; size <= kLargestBuffer; size *= 2) {
    std::wstring buffer(size, L'\0');
    std::va_list attempt;
    va_copy(attempt, arguments);
    const int length = ::_vsnwprintf(buffer.data(), size - 1, format, attempt);
    va_end(attempt);
    if (length >= 0) {
      g_bufferSize = size;
      text.assign(buffer, 0, buffer.find(L'\0'));  // up to the terminator
      return true;
    }
  }
  return false;
}

// The name without folders; empty if it cannot be converted.
std::wstring WideFileName(const char* sourceFile) {
  const char* const name = Shell::PathFindFileNameA(sourceFile);
  const int size = ::MultiByteToWideChar(CP_ACP, 0, name, -1, nullptr, 0);
  if (size <= 0) {
    return {};
  }
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  if (::MultiByteToWideChar(CP_ACP, 0, name, -1, wide.data(), size) != size) {
    return {};
  }
  wide.pop_back();  // the terminator
  return wide;
}

}  // namespace

namespace Library {

bool OrDbg::Bind(DWORD* error) {
  struct Entry {
    const wchar_t* name;
    FARPROC OrDbg::*address;
  };
  constexpr Entry kEntries[] = {
      {L"OrDbgInitialize", &OrDbg::initialize_},
      {L"OrDbgUninitialize", &OrDbg::uninitialize_},
      {L"OrDbgTrace", &OrDbg::trace_},
  };
  bool all = true;
  for (const Entry& entry : kEntries) {
    DWORD code = ERROR_INVALID_HANDLE;
    this->*entry.address = library_ != nullptr ? FindEntryPoint(library_, entry.name, code) : nullptr;
    if (this->*entry.address == nullptr) {
      all = false;
      if (error != nullptr) {
        *error = code;
      }
    }
  }
  bound_ = all;
  return all;
}

bool OrDbg::Trace(const SYSTEMTIME& time, const wchar_t* line) const {
  return trace_ != nullptr && FunctionCast<TraceFunction>(trace_)(handle_, &time, line) == 0;
}

void OrDbg::Unload() noexcept {
  // A library that cannot be released stays as it is: the process is about to end.
  if (library_ != nullptr && ::FreeLibrary(library_)) {
    library_ = nullptr;
    bound_ = false;
    initialize_ = uninitialize_ = trace_ = nullptr;
  }
}

}  // namespace Library

DebugLog g_debugLog;

DebugLog::DebugLog() {
  ::InitializeCriticalSection(&stateLock_);
  ::InitializeCriticalSection(&libraryLock_);
}

DebugLog::~DebugLog() {
  ::DeleteCriticalSection(&libraryLock_);
  library_.Unload();
  ::DeleteCriticalSection(&stateLock_);
}

bool DebugLog::Open(Module library, void* handle, const Options& options, DWORD* error) {
  Shell::PathFindFileNameA("");  // bound now: a line may be written while impersonating
  bool bound = false;
  {
    const Lock lock(libraryLock_);
    library_.Unload();
    library_.Take(std::move(library));
    library_.SetHandle(handle);
    bound = library_.Bind(error);
  }
  const Lock lock(stateLock_);
  initialised_ = 1;
  enabled_ = options.enabled;
  mask_ = options.mask;
  component_ = options.component;
  return bound;
}

bool DebugLog::Trace(const char* sourceFile, DWORD line, DWORD level, const wchar_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  bool written = false;
  try {
    written = TraceFormatted(sourceFile, line, level, format, arguments);
  } catch (String::Exception* failure) {
    delete failure;
  } catch (const std::bad_alloc&) {  // ignored: a trace must never stop the traced code
  }
  va_end(arguments);
  return written;
}

bool DebugLog::TraceFormatted(const char* sourceFile, DWORD line, DWORD level, const wchar_t* format,
                              std::va_list arguments) {
  std::wstring component;
  {
    const Lock lock(stateLock_);
    if (initialised_ == 0 || enabled_ != 1) {
      return true;
    }
    if ((level & mask_) == 0) {
      return false;
    }
    component = component_;
  }
  std::wstring message;
  if (!FormatText(message, format, arguments)) {
    return false;
  }
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  std::wstring head;
  String::Format(head, L"%02d/%02d/%04d %02d:%02d:%02d.%03d", now.wDay, now.wMonth, now.wYear, now.wHour, now.wMinute,
                 now.wSecond, now.wMilliseconds);
  std::wstring origin;
  String::Format(origin, L" %04x:%04x %3s <%s> ", ::GetCurrentProcessId(), ::GetCurrentThreadId(), TagOf(level),
                 component.c_str());
  std::wstring tail;
  String::Format(tail, L" - %s(%lu)\r\n", WideFileName(sourceFile).c_str(), line);

  const Lock lock(libraryLock_);
  return library_.Trace(now, (head + origin + message + tail).c_str());
}

}  // namespace OrCommon
