// What is written down about a call: what it takes, what it gives back, which paths it changes.
#pragma once

#include <windows.h>

#include <tuple>
#include <type_traits>

#include "tests/faults/SubjectRun.h"

namespace Faults {

template <class Value>
ULONG_PTR AsNumber(Value value) {
  if constexpr (std::is_pointer_v<Value>) {
    return reinterpret_cast<ULONG_PTR>(value);
  } else {
    return static_cast<ULONG_PTR>(value);
  }
}

struct NoBook {
  template <class... Arguments>
  static bool IsChange(const Arguments&...) {
    return false;
  }
  template <class... Arguments>
  static void Before(SubjectRun&, const Arguments&...) {}
  template <class Result, class... Arguments>
  static void After(SubjectRun&, Result, const Arguments&...) {}
};

template <std::size_t kPlace, class... Arguments>
decltype(auto) At(const Arguments&... arguments) {
  return std::get<kPlace>(std::tie(arguments...));
}

// What comes back is owned.
template <Owned kKind>
struct ResultBook : NoBook {
  template <class Result, class... Arguments>
  static void After(SubjectRun& run, Result result, const Arguments&...) {
    if (AsNumber(result) != 0 && AsNumber(result) != ~ULONG_PTR{0}) {
      run.Took(kKind, AsNumber(result));
    }
  }
};

enum class Success { kZero, kNotZero };

// What is stored through an argument is owned.
template <Owned kKind, std::size_t kPlace, Success kSuccess>
struct OutBook : NoBook {
  template <class Result, class... Arguments>
  static void After(SubjectRun& run, Result result, const Arguments&... arguments) {
    if ((result == 0) == (kSuccess == Success::kZero)) {
      run.Took(kKind, AsNumber(*At<kPlace>(arguments...)));
    }
  }
};

// An argument is given back, whether that succeeds or not.
template <Owned kKind, std::size_t kPlace = 0>
struct GivingBook : NoBook {
  template <class... Arguments>
  static void Before(SubjectRun& run, const Arguments&... arguments) {
    run.GaveBack(kKind, AsNumber(At<kPlace>(arguments...)));
  }
};

// Something changes that is no path.
struct ChangeBook : NoBook {
  template <class... Arguments>
  static bool IsChange(const Arguments&...) {
    return true;
  }
};

// The path in an argument is changed.
template <std::size_t kPlace = 0>
struct PathBook : ChangeBook {
  template <class... Arguments>
  static void Before(SubjectRun& run, const Arguments&... arguments) {
    run.Changes(At<kPlace>(arguments...));
  }
};

struct MoveBook : ChangeBook {
  static void Before(SubjectRun& run, const wchar_t* from, const wchar_t* to, DWORD) {
    run.Changes(from);
    run.Changes(to);
  }
};

struct OpenFileBook : ResultBook<Owned::kHandle> {
  template <class... Arguments>
  static bool IsChange(const Arguments&... arguments) {
    return At<4>(arguments...) == CREATE_ALWAYS;
  }
  template <class... Arguments>
  static void Before(SubjectRun& run, const Arguments&... arguments) {
    if ((At<1>(arguments...) & (GENERIC_WRITE | DELETE | WRITE_DAC)) != 0) {
      run.Changes(At<0>(arguments...));
    }
  }
};

struct MakeKeyBook : OutBook<Owned::kKey, 7, Success::kZero> {
  template <class... Arguments>
  static bool IsChange(const Arguments&...) {
    return true;
  }
};

template <std::size_t kPlace>
struct ProcessBook : ChangeBook {
  template <class... Arguments>
  static void After(SubjectRun& run, BOOL started, const Arguments&... arguments) {
    if (started) {
      run.Took(Owned::kHandle, AsNumber(At<kPlace>(arguments...)->hProcess));
      run.Took(Owned::kHandle, AsNumber(At<kPlace>(arguments...)->hThread));
    }
  }
};

struct ActAsUserBook : NoBook {
  static void After(SubjectRun& run, BOOL done, HANDLE) {
    if (done) {
      run.Took(Owned::kImpersonation, 1);
    }
  }
};

struct RevertBook : NoBook {
  static void Before(SubjectRun& run) { run.GaveBack(Owned::kImpersonation, 1); }
};

// A profile is known by the token that it was loaded with.
struct LoadProfileBook : NoBook {
  static void After(SubjectRun& run, BOOL loaded, HANDLE token, const void*) {
    if (loaded) {
      run.Took(Owned::kProfile, AsNumber(token));
    }
  }
};

// It is called wherever there is a token, also where no profile was loaded: then without one, which does nothing.
struct UnloadProfileBook : NoBook {
  static void Before(SubjectRun& run, HANDLE token, HANDLE profile) {
    if (profile != nullptr) {
      run.GaveBack(Owned::kProfile, AsNumber(token));
    }
  }
};

// A privilege is known by its number. Who asks for it is told what it was; who puts it back does not ask.
struct PrivilegeBook : NoBook {
  static void Before(SubjectRun& run, HANDLE, BOOL, const TOKEN_PRIVILEGES* wanted, DWORD,
                     const TOKEN_PRIVILEGES* previous, const DWORD*) {
    if (previous == nullptr) {
      run.GaveBack(Owned::kPrivilege, wanted->Privileges[0].Luid.LowPart);
    }
  }
  static void After(SubjectRun& run, BOOL done, HANDLE, BOOL, const TOKEN_PRIVILEGES* wanted, DWORD,
                    const TOKEN_PRIVILEGES* previous, const DWORD*) {
    if (done && previous != nullptr && previous->PrivilegeCount != 0) {
      run.Took(Owned::kPrivilege, wanted->Privileges[0].Luid.LowPart);
    }
  }
};

struct InitialiseSectionBook : NoBook {
  static void Before(SubjectRun& run, CRITICAL_SECTION* section) { run.Took(Owned::kSection, AsNumber(section)); }
};

template <ProductCall kCall>
struct Book : NoBook {};

#define FAULTS_BOOK(name, ...) \
  template <>                  \
  struct Book<ProductCall::k##name> : __VA_ARGS__ {}

FAULTS_BOOK(CreateFileW, OpenFileBook);
FAULTS_BOOK(CreateEventW, ResultBook<Owned::kHandle>);
FAULTS_BOOK(OpenProcess, ResultBook<Owned::kHandle>);
FAULTS_BOOK(CreateToolhelp32Snapshot, ResultBook<Owned::kHandle>);
FAULTS_BOOK(CreateProcessW, ProcessBook<9>);
FAULTS_BOOK(CreateProcessAsUserW, ProcessBook<10>);
FAULTS_BOOK(OpenProcessToken, OutBook<Owned::kHandle, 2, Success::kNotZero>);
FAULTS_BOOK(DuplicateTokenEx, OutBook<Owned::kHandle, 5, Success::kNotZero>);
FAULTS_BOOK(WTSQueryUserToken, OutBook<Owned::kHandle, 1, Success::kNotZero>);
FAULTS_BOOK(CloseHandle, GivingBook<Owned::kHandle>);
FAULTS_BOOK(FindFirstFileW, ResultBook<Owned::kSearch>);
FAULTS_BOOK(FindClose, GivingBook<Owned::kSearch>);
FAULTS_BOOK(RegOpenKeyW, OutBook<Owned::kKey, 2, Success::kZero>);
FAULTS_BOOK(RegOpenKeyExW, OutBook<Owned::kKey, 4, Success::kZero>);
FAULTS_BOOK(RegCreateKeyExW, MakeKeyBook);
FAULTS_BOOK(RegCloseKey, GivingBook<Owned::kKey>);
FAULTS_BOOK(LoadLibraryW, ResultBook<Owned::kModule>);
FAULTS_BOOK(FreeLibrary, GivingBook<Owned::kModule>);
FAULTS_BOOK(CreateEnvironmentBlock, OutBook<Owned::kEnvironment, 0, Success::kNotZero>);
FAULTS_BOOK(DestroyEnvironmentBlock, GivingBook<Owned::kEnvironment>);
FAULTS_BOOK(LoadUserProfileW, LoadProfileBook);
FAULTS_BOOK(UnloadUserProfile, UnloadProfileBook);
FAULTS_BOOK(AllocateAndInitializeSid, OutBook<Owned::kSid, 10, Success::kNotZero>);
FAULTS_BOOK(FreeSid, GivingBook<Owned::kSid>);
FAULTS_BOOK(LocalAlloc, ResultBook<Owned::kMemory>);
FAULTS_BOOK(SetEntriesInAclW, OutBook<Owned::kMemory, 3, Success::kZero>);
FAULTS_BOOK(ConvertSidToStringSidW, OutBook<Owned::kMemory, 1, Success::kNotZero>);
FAULTS_BOOK(LocalFree, GivingBook<Owned::kMemory>);
FAULTS_BOOK(ImpersonateLoggedOnUser, ActAsUserBook);
FAULTS_BOOK(RevertToSelf, RevertBook);
FAULTS_BOOK(InitializeCriticalSection, InitialiseSectionBook);
FAULTS_BOOK(DeleteCriticalSection, GivingBook<Owned::kSection>);
FAULTS_BOOK(AdjustTokenPrivileges, PrivilegeBook);
FAULTS_BOOK(CreateDirectoryW, PathBook<>);
FAULTS_BOOK(DeleteFileW, PathBook<>);
FAULTS_BOOK(RemoveDirectoryW, PathBook<>);
FAULTS_BOOK(SetFileAttributesW, PathBook<>);
FAULTS_BOOK(SetFileSecurityW, PathBook<>);
FAULTS_BOOK(SHCreateDirectoryExW, PathBook<1>);
FAULTS_BOOK(MoveFileExW, MoveBook);
FAULTS_BOOK(SetFileInformationByHandle, ChangeBook);
FAULTS_BOOK(SetKernelObjectSecurity, ChangeBook);
FAULTS_BOOK(WriteFile, ChangeBook);
FAULTS_BOOK(SetFileTime, ChangeBook);
FAULTS_BOOK(RegSetValueExW, ChangeBook);
FAULTS_BOOK(RegDeleteKeyW, ChangeBook);
FAULTS_BOOK(RegDeleteValueW, ChangeBook);
FAULTS_BOOK(SetEvent, ChangeBook);
FAULTS_BOOK(ResetEvent, ChangeBook);

#undef FAULTS_BOOK

}  // namespace Faults
