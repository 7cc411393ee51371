#include "Common/OrCommon/OrComn_Shell.h"

#include <atomic>

#include "Common/OrCommon/OrComn_Library.h"

namespace OrCommon::Shell {
namespace {

FARPROC Bind(const wchar_t* library, const wchar_t* name, DWORD& error) {
  Module module(::LoadLibraryW(Library::SystemLibrary(library).Path()));
  if (!module) {
    error = ::GetLastError();
    return nullptr;
  }
  const FARPROC function = Library::FindEntryPoint(module.Get(), name, error);
  if (function != nullptr) {
    static_cast<void>(module.Release());  // stays until the process ends, as the function's address does
  }
  return function;
}

template <class Function>
struct LateFunction {
  const wchar_t* library;
  const wchar_t* name;
  std::atomic<Function> bound = nullptr;  // several threads may write a trace

  // `fail` turns the error code into the result of a function that cannot be bound.
  template <class Fail, class... Arguments>
  auto Call(Fail fail, Arguments... arguments) {
    Function function = bound;
    if (function == nullptr) {
      DWORD error = ERROR_SUCCESS;
      function = Library::FunctionCast<Function>(Bind(library, name, error));
      if (function == nullptr) {
        return fail(error);
      }
      bound = function;
    }
    return function(arguments...);
  }
};

constexpr wchar_t kShell32[] = L"shell32.dll";
constexpr wchar_t kShlwapi[] = L"shlwapi.dll";

LateFunction<decltype(&SHCreateDirectoryExW)> g_createDirectory{kShell32, L"SHCreateDirectoryExW"};
LateFunction<decltype(&SHGetFolderPathW)> g_getFolder{kShell32, L"SHGetFolderPathW"};
LateFunction<decltype(&SHGetSpecialFolderPathW)> g_getSpecialFolder{kShell32, L"SHGetSpecialFolderPathW"};
LateFunction<decltype(&PathAppendW)> g_append{kShlwapi, L"PathAppendW"};
LateFunction<decltype(&PathFileExistsW)> g_exists{kShlwapi, L"PathFileExistsW"};
LateFunction<decltype(&PathRemoveFileSpecW)> g_removeFile{kShlwapi, L"PathRemoveFileSpecW"};
LateFunction<decltype(&PathFindFileNameA)> g_findFileName{kShlwapi, L"PathFindFileNameA"};

BOOL FailWithLastError(DWORD error) {
  ::SetLastError(error);
  return FALSE;
}

}  // namespace

int WINAPI SHCreateDirectoryExW(HWND window, const wchar_t* path, const SECURITY_ATTRIBUTES* security) {
  return g_createDirectory.Call([](DWORD error) { return static_cast<int>(error); }, window, path, security);
}

HRESULT WINAPI SHGetFolderPathW(HWND window, int folder, HANDLE token, DWORD flags, wchar_t* path) {
  return g_getFolder.Call([](DWORD error) -> HRESULT { return HRESULT_FROM_WIN32(error); }, window, folder, token,
                          flags, path);
}

BOOL WINAPI SHGetSpecialFolderPathW(HWND window, wchar_t* path, int folder, BOOL create) {
  return g_getSpecialFolder.Call(FailWithLastError, window, path, folder, create);
}

BOOL WINAPI PathAppendW(wchar_t* path, const wchar_t* more) {
  return g_append.Call(FailWithLastError, path, more);
}

BOOL WINAPI PathFileExistsW(const wchar_t* path) {
  return g_exists.Call(FailWithLastError, path);
}

BOOL WINAPI PathRemoveFileSpecW(wchar_t* path) {
  return g_removeFile.Call(FailWithLastError, path);
}

const char* WINAPI PathFindFileNameA(const char* path) {
  return g_findFileName.Call([path](DWORD) { return path; }, path);
}

}  // namespace OrCommon::Shell
