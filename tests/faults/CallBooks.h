// What is recorded about a call: what it takes, what it gives back, and which paths it changes.
#pragma once

#include <windows.h>

#include <tuple>
#include <type_traits>

#include "tests/faults/SubjectRun.h"
#include "tests/fixtures/OwnFiles.h"

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

// The result is owned.
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

// The value that is stored through an argument is owned.
template <Owned kKind, std::size_t kPlace, Success kSuccess>
struct OutBook : NoBook {
  template <class Result, class... Arguments>
  static void After(SubjectRun& run, Result result, const Arguments&... arguments) {
    if ((result == 0) == (kSuccess == Success::kZero)) {
      run.Took(kKind, AsNumber(*At<kPlace>(arguments...)));
    }
  }
};

// An argument is given back, also if the call fails.
template <Owned kKind, std::size_t kPlace = 0>
struct GivingBook : NoBook {
  template <class... Arguments>
  static void Before(SubjectRun& run, const Arguments&... arguments) {
    run.GaveBack(kKind, AsNumber(At<kPlace>(arguments...)));
  }
};

// Changes something that is not a path.
struct ChangeBook : NoBook {
  template <class... Arguments>
  static bool IsChange(const Arguments&...) {
    return true;
  }
};

// Changes the path in an argument.
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
      const wchar_t* const program = At<kPlace - 9>(arguments...);
      run.Did("started " + Fixtures::ToUtf8(program != nullptr ? program : At<kPlace - 8>(arguments...)));
    }
  }
};

struct SetEventBook : ChangeBook {
  static void After(SubjectRun& run, BOOL done, HANDLE) {
    if (done) {
      run.Did("set an event");
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

// A profile is identified by the token that it was loaded with.
struct LoadProfileBook : NoBook {
  static void After(SubjectRun& run, BOOL loaded, HANDLE token, const void*) {
    if (loaded) {
      run.Took(Owned::kProfile, AsNumber(token));
    }
  }
};

// The product calls it for every token. If no profile was loaded, the profile is null and the call does nothing.
struct UnloadProfileBook : NoBook {
  static void Before(SubjectRun& run, HANDLE token, HANDLE profile) {
    if (profile != nullptr) {
      run.GaveBack(Owned::kProfile, AsNumber(token));
    }
  }
};

// A privilege is identified by its number. Only a call that takes it asks for the previous state.
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
struct Book;

// The book of each call, from its row. The parentheses in the row keep the commas together.
template <class Parenthesised, class... Types>
struct InParentheses;
template <class Inner, class... Types>
struct InParentheses<void(Inner), Types...> {
  using Type = Inner;
};
#define FAULTS_BOOK(name, errors, ...) \
  template <>                          \
  struct Book<ProductCall::k##name> : InParentheses<void __VA_ARGS__>::Type {};
FAULTS_IMPORTED_CALLS(FAULTS_BOOK)
FAULTS_BOUND_CALLS(FAULTS_BOOK)
#undef FAULTS_BOOK

}  // namespace Faults
