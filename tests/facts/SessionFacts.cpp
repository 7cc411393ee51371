// Sessions, users and shared objects.
#include <windows.h>

#include <shlobj.h>
#include <userenv.h>

#include <iterator>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"

namespace Facts {
namespace {

using OrCommon::KernelHandle;

constexpr DWORD kNoSession = 0xFFFFFFFF;

DWORD ConsoleSession() {
  return Find<DWORD(WINAPI*)()>(L"kernel32.dll", "WTSGetActiveConsoleSessionId")();
}

KernelHandle OwnToken(DWORD access) {
  KernelHandle token;
  if (!::OpenProcessToken(::GetCurrentProcess(), access, token.Receive())) {
    throw std::runtime_error("cannot open the process token");
  }
  return token;
}

std::string FindConsoleSession() {
  struct Session {
    DWORD id;
    wchar_t* station;
    int state;
  };
  const DWORD console = ConsoleSession();
  if (console == kNoSession) {
    return "no console";
  }
  Session* sessions = nullptr;
  DWORD count = 0;
  if (!Find<BOOL(WINAPI*)(HANDLE, DWORD, DWORD, Session**, DWORD*)>(L"wtsapi32.dll", "WTSEnumerateSessionsW")(
          nullptr, 0, 1, &sessions, &count)) {
    return Done(false);
  }
  bool listed = false;
  for (DWORD index = 0; index < count; ++index) {
    listed = listed || sessions[index].id == console;
  }
  Find<void(WINAPI*)(void*)>(L"wtsapi32.dll", "WTSFreeMemory")(sessions);
  return listed ? "listed" : "not listed";
}

std::string AskUserToken(DWORD session) {
  KernelHandle token;
  return Done(Find<BOOL(WINAPI*)(ULONG, HANDLE*)>(L"wtsapi32.dll", "WTSQueryUserToken")(session, token.Receive()));
}

std::string LoadOwnProfile() {
  const KernelHandle token = OwnToken(TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_IMPERSONATE);
  wchar_t name[257] = {};
  DWORD length = 257;
  ::GetUserNameW(name, &length);
  PROFILEINFOW profile = {};
  profile.dwSize = sizeof profile;
  profile.dwFlags = PI_NOUI;
  profile.lpUserName = name;
  const bool loaded =
      Find<BOOL(WINAPI*)(HANDLE, PROFILEINFOW*)>(L"userenv.dll", "LoadUserProfileW")(token.Get(), &profile);
  const std::string answer = Done(loaded);
  if (loaded) {
    Find<BOOL(WINAPI*)(HANDLE, HANDLE)>(L"userenv.dll", "UnloadUserProfile")(token.Get(), profile.hProfile);
  }
  return answer;
}

std::wstring EventName(const wchar_t* part) {
  return L"Global\\VELAFacts-" + std::to_wstring(::GetCurrentProcessId()) + part;
}

constexpr Fact kFacts[] = {
    {"WTSEnumerateSessionsW lists the console session.", FindConsoleSession, "listed",
     "WTSGetActiveConsoleSessionId function", "not listed", kNothing, kNothing, kAsWindows},
    {"WTSQueryUserToken fails for every account except the local system.",
     [] { return AskUserToken(ConsoleSession()); }, "error 1314", "WTSQueryUserToken function", "done",
     kNotLocalSystem},
    {"LoadUserProfileW fails for an ordinary user.", LoadOwnProfile, "error 1314",
     "LoadUserProfileW function, which names no code", kNotAsked, kNoElevation},
    {"RevertToSelf succeeds in a thread that does not impersonate a user.",
     [] {
       ::RevertToSelf();
       return Done(::RevertToSelf());
     },
     "done", kReliedOn},
    {"GetWindowsDirectoryW returns the system's folder in a terminal server aware program.",
     []() -> std::string {
       wchar_t own[MAX_PATH] = {};
       wchar_t shared[MAX_PATH] = {};
       ::GetWindowsDirectoryW(own, MAX_PATH);
       ::GetSystemWindowsDirectoryW(shared, MAX_PATH);
       return ::lstrcmpiW(own, shared) == 0 ? "the system's" : "a private one";
     },
     "the system's", "GetWindowsDirectoryW function", kNotAsked, kSessionHost},
    {"An ordinary user can create an event in the global namespace.",
     [] { return Got(KernelHandle(::CreateEventW(nullptr, TRUE, FALSE, EventName(L"-new").c_str()))); }, "done",
     "Kernel object namespaces", kNotAsked, kNoElevation},
    {"CreateEventW fails for an existing event whose access control list does not allow access.",
     [] {
       const std::wstring name = EventName(L"-closed");
       const Descriptor descriptor(L"D:(A;;0x20000;;;WD)");
       SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.Get(), FALSE};
       const KernelHandle owner(::CreateEventW(&attributes, TRUE, FALSE, name.c_str()));
       return Got(KernelHandle(::CreateEventW(nullptr, TRUE, FALSE, name.c_str())));
     },
     "error 5", "CreateEventW function"},
    {"CreateEventW fails if a mutex has the same name.",
     [] {
       const std::wstring name = EventName(L"-taken");
       const KernelHandle owner(::CreateMutexW(nullptr, FALSE, name.c_str()));
       return Got(KernelHandle(::CreateEventW(nullptr, TRUE, FALSE, name.c_str())));
     },
     "error 6", "CreateEventW function"},
    {"CSIDL_COMMON_APPDATA is the folder in the environment variable ProgramData.",
     []() -> std::string {
       wchar_t folder[MAX_PATH + 1] = {};
       wchar_t variable[MAX_PATH + 1] = {};
       const bool named = Find<BOOL(WINAPI*)(HWND, wchar_t*, int, BOOL)>(L"shell32.dll", "SHGetSpecialFolderPathW")(
           nullptr, folder, CSIDL_COMMON_APPDATA, FALSE);
       ::GetEnvironmentVariableW(L"ProgramData", variable, MAX_PATH);
       return named && ::lstrcmpiW(folder, variable) == 0 ? "the same" : "another folder";
     },
     "the same", "Recognized Environment Variables", kAsWindows, kVista},
};
static_assert(AreSound(kFacts));

}  // namespace

const Group kSessionFacts = {"Sessions and users", kFacts, std::size(kFacts)};

}  // namespace Facts
