// What becomes of a delay-loaded function whose library cannot be loaded, or that its library has not.
//
// Left to itself, the toolchain's helper raises an exception that ends the process, in the middle of a command and
// without a closing line in the log. Here such a function fails instead, as it is documented to, at that call and at
// every later one.
#include <windows.h>

#include <delayimp.h>
#include <shlobj.h>

#include <cstring>
#include <string_view>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace OrCommon::Library {
namespace {

// Why the last function could not be bound.
DWORD g_error = ERROR_MOD_NOT_FOUND;

// SHCreateDirectoryExW
int WINAPI FailWithCode(HWND, const wchar_t*, const SECURITY_ATTRIBUTES*) {
  return static_cast<int>(g_error);
}

// SHGetFolderPathW
HRESULT WINAPI FailWithHresult(HWND, int, HANDLE, DWORD, wchar_t*) {
  return HRESULT_FROM_WIN32(g_error);
}

// The functions that say FALSE. It looks at none of their parameters, and 64-bit callers clear away their own.
BOOL WINAPI Fail() {
  ::SetLastError(g_error);
  return FALSE;
}

// PathFindFileNameA cannot fail: where it sees no file name it gives the whole path back.
const char* WINAPI GiveBackPath(const char* path) {
  return path;
}

template <class Function>
FARPROC AsProcedure(Function* function) noexcept {
  FARPROC procedure = nullptr;
  static_assert(sizeof procedure == sizeof function);
  std::memcpy(&procedure, &function, sizeof procedure);
  return procedure;
}

// Every function in the lists of CMakeLists.txt.
FARPROC StandInFor(std::string_view name) noexcept {
  if (name == "SHCreateDirectoryExW") {
    return AsProcedure(&FailWithCode);
  }
  if (name == "SHGetFolderPathW") {
    return AsProcedure(&FailWithHresult);
  }
  if (name == "PathFindFileNameA") {
    return AsProcedure(&GiveBackPath);
  }
  for (const std::string_view known :
       {"SHGetSpecialFolderPathW", "PathAppendW", "PathFileExistsW", "PathRemoveFileSpecW"}) {
    if (name == known) {
      return AsProcedure(&Fail);
    }
  }
  return nullptr;  // not ours: the helper ends the process
}

FARPROC WINAPI AnswerFailure(unsigned notice, DelayLoadInfo* information) {
  auto* const self = reinterpret_cast<HMODULE>(&__ImageBase);
  if (notice == dliFailLoadLib) {
    g_error = information->dwLastError;
    // In the library's place the program itself, which exports nothing: the helper comes back for the function.
    return reinterpret_cast<FARPROC>(self);
  }
  if (notice == dliFailGetProc && information->dlp.fImportByName) {
    if (information->hmodCur != self) {
      g_error = information->dwLastError;
    }
    return StandInFor(information->dlp.szProcName);
  }
  return nullptr;
}

}  // namespace
}  // namespace OrCommon::Library

// Where the helper looks; declared in delayimp.h, by Visual C++ as a constant.
#if defined(_MSC_VER)
extern "C" const PfnDliHook __pfnDliFailureHook2 = OrCommon::Library::AnswerFailure;
#else
PfnDliHook __pfnDliFailureHook2 = OrCommon::Library::AnswerFailure;
#endif
