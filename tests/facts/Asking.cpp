#include "tests/facts/Asking.h"

#include <sddl.h>
#if defined(_MSC_VER)
#include <intrin.h>
#endif

#include "tests/support/TestFiles.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"

namespace Facts {
namespace {

using OrCommon::KernelHandle;

std::wstring g_folder;  // no trailing backslash
std::wstring g_key;
unsigned g_count = 0;

[[noreturn]] void Fail(const char* what) {
  throw std::runtime_error(std::string(what) + ": error " + std::to_string(::GetLastError()));
}

DWORD ErrorOf(bool succeeded) {
  return succeeded ? ERROR_SUCCESS : ::GetLastError();
}

DWORD ErrorOfOpening(const std::wstring& path) {
  const OrCommon::FileHandle file(
      ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  return ErrorOf(static_cast<bool>(file));
}

// Tries for a second: a program that has just ended may still be mapped, and virus scanners open new files.
template <class Remover>
bool Removes(std::wstring& path, const Remover& remove) noexcept {
  for (int tries = 20; !path.empty(); --tries) {
    try {
      remove(path);
      path.clear();
    } catch (const std::exception& failure) {
      if (tries == 0) {
        std::fprintf(stderr, "facts: not removed: %ls: %s\n", path.c_str(), failure.what());
        return false;
      }
      ::Sleep(50);
    }
  }
  return true;
}

[[noreturn]] void FastFail() {
#if defined(_MSC_VER)
  __fastfail(2);  // FAST_FAIL_STACK_COOKIE_CHECK_FAILURE
#else
  __asm__ volatile("int $0x29" ::"c"(2));
  __builtin_unreachable();
#endif
}

}  // namespace

Place::Place() {
  wchar_t temporary[MAX_PATH + 1] = {};
  if (::GetTempPathW(MAX_PATH + 1, temporary) == 0) {
    Fail("no temporary folder");
  }
  const std::wstring name = L"VELAFacts-" + std::to_wstring(::GetCurrentProcessId());
  g_folder = temporary + name;
  g_key = L"Software\\" + name;
  TestSupport::MakeFolder(g_folder);
}

bool Place::Remove() noexcept {
  tried_ = true;
  const bool folder = Removes(g_folder, TestSupport::RemoveTree);
  const bool key = Removes(g_key, [](const std::wstring& path) {
    TestSupport::RemoveKey({HKEY_CURRENT_USER, path, KEY_WOW64_64KEY});
  });
  return folder && key;
}

std::wstring NewFolder() {
  const std::wstring folder = g_folder + L"\\" + std::to_wstring(++g_count);
  TestSupport::MakeFolder(folder);
  return folder;
}

std::wstring NewKey() {
  const std::wstring key = g_key + L"\\" + std::to_wstring(++g_count);
  TestSupport::MakeKey({HKEY_CURRENT_USER, key, KEY_WOW64_64KEY});
  return key;
}

std::string Code(DWORD error) {
  return error == ERROR_SUCCESS ? "done" : "error " + std::to_string(error);
}

std::string Done(bool succeeded) {
  return Code(ErrorOf(succeeded));
}

std::string Hex(DWORD number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%lX", static_cast<unsigned long>(number));
  return text;
}

std::string List(const std::wstring& folder) {
  WIN32_FIND_DATAW found;
  return Got(OrCommon::FindHandle(::FindFirstFileW((folder + L"\\*").c_str(), &found)));
}

std::wstring Marked(const std::wstring& path, DWORD attributes) {
  ::SetFileAttributesW(path.c_str(), attributes);
  return path;
}

std::wstring OwnPath() {
  wchar_t path[1024] = {};
  ::GetModuleFileNameW(nullptr, path, 1024);
  return path;
}

KernelHandle Start(const wchar_t* program, std::wstring line, DWORD flags) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  ::CreateProcessW(program, line.data(), nullptr, nullptr, FALSE, flags, nullptr, nullptr, &startup, &process);
  const KernelHandle thread(process.hThread);
  return KernelHandle(process.hProcess);
}

DWORD RunChild(const std::vector<std::wstring>& task, DWORD flags, const std::wstring& program) {
  std::vector<std::wstring> arguments = {L"--child"};
  arguments.insert(arguments.end(), task.begin(), task.end());
  const std::wstring line = TestSupport::CommandLine(program, arguments);
  const KernelHandle child = Start(program.c_str(), line, flags);
  if (!child) {
    Fail("cannot start a child process");
  }
  constexpr DWORD kLongEnough = 30000;  // milliseconds
  if (::WaitForSingleObject(child.Get(), kLongEnough) != WAIT_OBJECT_0) {
    ::TerminateProcess(child.Get(), 1);
    throw std::runtime_error("the child process does not end");
  }
  DWORD code = 0;
  ::GetExitCodeProcess(child.Get(), &code);
  return code;
}

DWORD DoChildTask(const std::wstring& task, const std::wstring& argument) {
  if (task == L"error-mode") {
    return ::SetErrorMode(0);
  }
  if (task == L"fast-fail") {
    FastFail();
  }
  if (task == L"by-name") {  // like regsvr32.exe, with the folder of `argument` as the current folder
    ::SetEnvironmentVariableW(L"NoDefaultCurrentDirectoryInExePath", L"1");
    const std::size_t end = argument.rfind(L'\\');
    ::SetCurrentDirectoryW(argument.substr(0, end).c_str());
    const KernelHandle child = Start(nullptr, argument.substr(end + 1) + L" --child nothing");
    const DWORD error = ErrorOf(static_cast<bool>(child));
    ::WaitForSingleObject(child.Get(), INFINITE);
    return error;
  }
  if (task == L"load" || task == L"load-guarded") {
    if (task == L"load-guarded") {
      constexpr DWORD kSystem32 = 0x800;  // LOAD_LIBRARY_SEARCH_SYSTEM32
      Find<BOOL(WINAPI*)(DWORD)>(L"kernel32.dll", "SetDefaultDllDirectories")(kSystem32);
    }
    return ErrorOf(::LoadLibraryW(argument.c_str()) != nullptr);
  }
  if (task == L"open-guarded" || task == L"open-below-guarded") {
    constexpr int kRedirectionTrust = 16;  // PROCESS_MITIGATION_POLICY
    DWORD enforce = 1;
    Find<BOOL(WINAPI*)(int, void*, SIZE_T)>(L"kernel32.dll", "SetProcessMitigationPolicy")(kRedirectionTrust, &enforce,
                                                                                           sizeof enforce);
    return task == L"open-guarded" ? ErrorOfOpening(argument) : RunChild({L"open", argument});
  }
  if (task == L"open") {
    return ErrorOfOpening(argument);
  }
  return task == L"nothing" ? ERROR_SUCCESS : ERROR_INVALID_FUNCTION;
}

Descriptor::Descriptor(const std::wstring& text) {
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, memory_.Receive(),
                                                              nullptr)) {
    Fail("invalid security descriptor");
  }
}

}  // namespace Facts
