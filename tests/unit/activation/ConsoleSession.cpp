#include "tests/unit/activation/ConsoleSession.h"

#include <userenv.h>

#include <cstring>
#include <cwchar>
#include <utility>

namespace TestSupport {
namespace {

// The functions that the product looks up by name cannot be told whose answers they give.
ConsoleSession* current = nullptr;

FARPROC AsProcedure(void* address) {
  FARPROC procedure = nullptr;
  std::memcpy(&procedure, &address, sizeof procedure);
  return procedure;
}

template <class Function>
Function AsFunction(FARPROC procedure) {
  Function function = nullptr;
  std::memcpy(&function, &procedure, sizeof function);
  return function;
}

BOOL Refuse(DWORD error) {
  ::SetLastError(error);
  return FALSE;
}

constexpr int kNameSamCompatible = 2;

}  // namespace

struct ConsoleSession::Answers {
  template <class Function>
  static Function Original(const char* name) {
    return AsFunction<Function>(current->originals_.at(name));
  }

  static DWORD WINAPI ActiveSession() {
    current->Note("WTSGetActiveConsoleSessionId");
    return current->sessionId;
  }

  static BOOL WINAPI QueryToken(ULONG session, HANDLE* token) {
    current->Note("WTSQueryUserToken " + std::to_string(session));
    if (current->tokenError != ERROR_SUCCESS) {
      return Refuse(current->tokenError);
    }
    if (current->tokenAnswer) {
      *token = *current->tokenAnswer;
      return TRUE;
    }
    const BOOL given = Original<BOOL(WINAPI*)(ULONG, HANDLE*)>("WTSQueryUserToken")(session, token);
    current->GiveOut(*token, "token");
    return given;
  }

  static BOOL WINAPI DuplicateToken(HANDLE token, DWORD access, SECURITY_ATTRIBUTES* attributes,
                                    SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, HANDLE* duplicate) {
    using Function =
        BOOL(WINAPI*)(HANDLE, DWORD, SECURITY_ATTRIBUTES*, SECURITY_IMPERSONATION_LEVEL, TOKEN_TYPE, HANDLE*);
    current->Note("DuplicateTokenEx of the " + current->NameOf(token));
    const BOOL made = Original<Function>("DuplicateTokenEx")(token, access, attributes, level, type, duplicate);
    current->GiveOut(*duplicate, "token");
    return made;
  }

  static BOOL WINAPI CreateBlock(void** block, HANDLE token, BOOL inherits) {
    current->Note("CreateEnvironmentBlock " + current->NameOf(token) + (inherits ? " and the caller's own" : ""));
    if (current->createBlockError != ERROR_SUCCESS) {
      return Refuse(current->createBlockError);
    }
    const BOOL made = Original<BOOL(WINAPI*)(void**, HANDLE, BOOL)>("CreateEnvironmentBlock")(block, token, inherits);
    current->blocks_[*block] = "environment block";
    return made;
  }

  static BOOL WINAPI DestroyBlock(void* block) {
    current->Note(current->blocks_.count(block) != 0 ? "DestroyEnvironmentBlock" : "DestroyEnvironmentBlock unknown");
    if (current->destroyBlockError != ERROR_SUCCESS) {
      return Refuse(current->destroyBlockError);
    }
    current->blocks_.erase(block);
    return Original<BOOL(WINAPI*)(void*)>("DestroyEnvironmentBlock")(block);
  }

  static BOOLEAN WINAPI NameEx(int format, wchar_t* name, ULONG* length) {
    current->Note(std::string("GetUserNameExW ") +
                  (format == kNameSamCompatible ? "domain and user" : std::to_string(format)) + " " +
                  std::to_string(*length) + (ThreadActsAsUser() ? " as the user" : " as itself"));
    if (current->nameExError != ERROR_SUCCESS) {
      *length = 300;  // a buffer that is too small is told the size; nobody may take it for that of the next try
      return static_cast<BOOLEAN>(Refuse(current->nameExError));
    }
    if (!current->account.empty()) {
      std::wcscpy(name, current->account.c_str());
      *length = static_cast<ULONG>(current->account.size());
      return TRUE;
    }
    return Original<BOOLEAN(WINAPI*)(int, wchar_t*, ULONG*)>("GetUserNameExW")(format, name, length);
  }

  static BOOL WINAPI LoadProfile(HANDLE token, PROFILEINFOW* profile) {
    current->Note("LoadUserProfileW " + current->NameOf(token) + " " + ToUtf8(profile->lpUserName) + " flags " +
                  std::to_string(profile->dwFlags) + (ThreadActsAsUser() ? " as the user" : " as itself"));
    if (current->loadProfileError != ERROR_SUCCESS) {
      return Refuse(current->loadProfileError);
    }
    ++current->profiles_;
    profile->hProfile = reinterpret_cast<HANDLE>(ULONG_PTR{0x5150});
    return TRUE;
  }

  static BOOL WINAPI UnloadProfile(HANDLE token, HANDLE profile) {
    const bool known = profile == reinterpret_cast<HANDLE>(ULONG_PTR{0x5150});
    current->Note("UnloadUserProfile " + current->NameOf(token) + (known ? "" : " unknown"));
    --current->profiles_;
    return TRUE;
  }
};

FARPROC ConsoleSession::Answer(const char* name, FARPROC original) {
  static const std::pair<const char*, void*> kAnswers[] = {
      {"WTSGetActiveConsoleSessionId", reinterpret_cast<void*>(&Answers::ActiveSession)},
      {"WTSQueryUserToken", reinterpret_cast<void*>(&Answers::QueryToken)},
      {"DuplicateTokenEx", reinterpret_cast<void*>(&Answers::DuplicateToken)},
      {"CreateEnvironmentBlock", reinterpret_cast<void*>(&Answers::CreateBlock)},
      {"DestroyEnvironmentBlock", reinterpret_cast<void*>(&Answers::DestroyBlock)},
      {"GetUserNameExW", reinterpret_cast<void*>(&Answers::NameEx)},
      {"LoadUserProfileW", reinterpret_cast<void*>(&Answers::LoadProfile)},
      {"UnloadUserProfile", reinterpret_cast<void*>(&Answers::UnloadProfile)},
  };
  if (missingEntries.count(name) != 0) {
    ::SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  for (const auto& [function, answer] : kAnswers) {
    if (std::strcmp(function, name) == 0) {
      originals_[name] = original;
      return AsProcedure(answer);
    }
  }
  return original;
}

ConsoleSession::ConsoleSession()
    : getProcAddress_("GetProcAddress",
                      [this](HMODULE module, LPCSTR name) -> FARPROC {
                        const FARPROC original = getProcAddress_.Original<decltype(&::GetProcAddress)>()(module, name);
                        // Functions are also asked for by number, in place of the pointer to the name.
                        return reinterpret_cast<ULONG_PTR>(name) > 0xFFFF ? Answer(name, original) : original;
                      }),
      loadLibrary_("LoadLibraryW",
                   [this](LPCWSTR path) -> HMODULE {
                     if (missingLibraries.count(path) != 0) {
                       if (ThreadActsAsUser()) {
                         loadedAsUser_.push_back(ToUtf8(path));
                       }
                       ::SetLastError(ERROR_MOD_NOT_FOUND);
                       return nullptr;
                     }
                     const HMODULE library = loadLibrary_.Original<decltype(&::LoadLibraryW)>()(path);
                     if (libraries_[library]++ == 0 && ThreadActsAsUser()) {
                       loadedAsUser_.push_back(ToUtf8(path));
                     }
                     return library;
                   }),
      freeLibrary_("FreeLibrary",
                   [this](HMODULE library) -> BOOL {
                     --libraries_[library];
                     return freeLibrary_.Original<decltype(&::FreeLibrary)>()(library);
                   }),
      closeHandle_("CloseHandle",
                   [this](HANDLE handle) -> BOOL {
                     handles_.erase(handle);
                     return closeHandle_.Original<decltype(&::CloseHandle)>()(handle);
                   }),
      openProcess_("OpenProcess",
                   [this](DWORD access, BOOL inherit, DWORD id) -> HANDLE {
                     return GiveOut(openProcess_.Original<decltype(&::OpenProcess)>()(access, inherit, id), "process");
                   }),
      openProcessToken_("OpenProcessToken",
                        [this](HANDLE process, DWORD access, PHANDLE token) -> BOOL {
                          const BOOL opened =
                              openProcessToken_.Original<decltype(&::OpenProcessToken)>()(process, access, token);
                          GiveOut(*token, "process's token");
                          return opened;
                        }),
      impersonate_("ImpersonateLoggedOnUser",
                   [this](HANDLE token) -> BOOL {
                     Note("ImpersonateLoggedOnUser " + NameOf(token));
                     return impersonateError != ERROR_SUCCESS
                                ? Refuse(impersonateError)
                                : impersonate_.Original<decltype(&::ImpersonateLoggedOnUser)>()(token);
                   }),
      revert_("RevertToSelf",
              [this]() -> BOOL {
                Note("RevertToSelf");
                return revertError != ERROR_SUCCESS ? Refuse(revertError)
                                                    : revert_.Original<decltype(&::RevertToSelf)>()();
              }),
      getUserName_(
          "GetUserNameW",
          [this](LPWSTR name, LPDWORD length) -> BOOL {
            Note("GetUserNameW " + std::to_string(*length) + (ThreadActsAsUser() ? " as the user" : " as itself"));
            return nameError != ERROR_SUCCESS ? Refuse(nameError)
                                              : getUserName_.Original<decltype(&::GetUserNameW)>()(name, length);
          }),
      lookUpAccount_(
          "LookupAccountNameW",
          [this](LPCWSTR system, LPCWSTR name, PSID sid, LPDWORD sidSize, LPWSTR domain, LPDWORD domainSize,
                 PSID_NAME_USE use) -> BOOL {
            Note(std::string("LookupAccountNameW ") + (system != nullptr ? "elsewhere " : "") + ToUtf8(name));
            return lookUpAccount_.Original<decltype(&::LookupAccountNameW)>()(system, name, sid, sidSize, domain,
                                                                              domainSize, use);
          }) {
  current = this;
}

ConsoleSession::~ConsoleSession() {
  current = nullptr;
  ::SetThreadToken(nullptr, nullptr);
}

HANDLE ConsoleSession::GiveOut(HANDLE handle, const std::string& name) {
  if (handle != nullptr) {
    handles_[handle] = name;
  }
  return handle;
}

std::string ConsoleSession::NameOf(HANDLE handle) const {
  const auto found = handles_.find(handle);
  return found != handles_.end() ? found->second : std::string();
}

Lines ConsoleSession::NotGivenBack() const {
  Lines held;
  for (const auto& handle : handles_) {
    held.push_back(handle.second);
  }
  for (const auto& block : blocks_) {
    held.push_back(block.second);
  }
  for (const auto& [library, count] : libraries_) {
    if (count != 0 && !StaysLoaded(library)) {
      held.push_back(std::to_string(count) + " times a library");
    }
  }
  if (profiles_ != 0) {
    held.push_back(std::to_string(profiles_) + " profiles");
  }
  return held;
}

bool ConsoleSession::ThreadActsAsUser() {
  HANDLE token = nullptr;
  if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, &token)) {
    return false;
  }
  OriginalImport<decltype(&::CloseHandle)>("CloseHandle")(token);
  return true;
}

}  // namespace TestSupport
