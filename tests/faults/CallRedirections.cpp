// In the subject, the product's calls of Windows functions go through these slots.
//
// objcopy has renamed the import slots in copies of the product's object files (list_calls.py). So only calls of
// product code come here. Calls of the C and C++ runtime and of the test code still use the import table. Functions
// that the product binds by name come here as well, because GetProcAddress returns a function of this file.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#include <tlhelp32.h>

#include <cstring>
#include <string_view>
#include <type_traits>

#include "tests/faults/Allocations.h"
#include "tests/faults/AnsweredCalls.h"
#include "tests/faults/CallBooks.h"
#include "tests/faults/SubjectRun.h"

namespace Faults {
namespace {

// The function itself and its type.
template <ProductCall kCall>
struct Original;

#define FAULTS_IMPORTED_ORIGINAL(name, errors, book)       \
  template <>                                              \
  struct Original<ProductCall::k##name> {                  \
    using Type = std::remove_pointer_t<decltype(&::name)>; \
    static Type* Get() { return &::name; }                 \
  };
FAULTS_IMPORTED_CALLS(FAULTS_IMPORTED_ORIGINAL)
#undef FAULTS_IMPORTED_ORIGINAL

#define FAULTS_BOUND_ORIGINAL(name, errors, book, Result, ...) \
  template <>                                                  \
  struct Original<ProductCall::k##name> {                      \
    using Type = Result WINAPI(__VA_ARGS__);                   \
    static inline Type* found = nullptr;                       \
    static Type* Get() { return found; }                       \
  };
FAULTS_BOUND_CALLS(FAULTS_BOUND_ORIGINAL)
#undef FAULTS_BOUND_ORIGINAL

FARPROC AnswerBinding(SubjectRun& run, const char* name, FARPROC function);

template <class Result>
Result As(ULONG_PTR value) {
  if constexpr (std::is_pointer_v<Result>) {
    return reinterpret_cast<Result>(value);
  } else {
    return static_cast<Result>(value);
  }
}

template <ProductCall kCall>
auto* Callee() {
  if constexpr (kCall == ProductCall::kCreateProcessW) {
    return &AnswerCreateProcess;
  } else if constexpr (kCall == ProductCall::kCreateProcessAsUserW) {
    return &AnswerCreateProcessAsUser;
  } else if constexpr (kCall == ProductCall::kSleep) {
    return &AnswerSleep;
  } else {
    return Original<kCall>::Get();
  }
}

template <ProductCall kCall, class Signature = typename Original<kCall>::Type>
struct Redirected;

template <ProductCall kCall, class Result, class... Arguments>
struct Redirected<kCall, Result(Arguments...)> {
  static Result WINAPI Call(Arguments... arguments) {
    const DWORD errorBefore = ::GetLastError();
    Allocations::BeginProduct();
    const bool lacksMemory = Allocations::Takes(kCall) && Allocations::Fails();
    const Allocations::Aside aside;
    SubjectRun& run = SubjectRun::Get();
    TestSupport::FailureReturn failure;
    bool fails = run.Begins(kCall, __builtin_return_address(0), Book<kCall>::IsChange(arguments...), failure);
    if (lacksMemory && !fails) {
      failure = TestSupport::FailureReturn::Of(NameOf(kCall), ERROR_NOT_ENOUGH_MEMORY);
      fails = true;
    }
    Book<kCall>::Before(run, arguments...);
    ::SetLastError(fails && failure.setsLastError ? failure.error : errorBefore);
    if constexpr (std::is_void_v<Result>) {
      Callee<kCall>()(arguments...);
      run.Ended();
    } else {
      if (fails) {
        return As<Result>(failure.value);
      }
      Result result = Callee<kCall>()(arguments...);
      const DWORD errorAfter = ::GetLastError();
      Book<kCall>::After(run, result, arguments...);
      if constexpr (kCall == ProductCall::kGetProcAddress) {
        result = AnswerBinding(run, At<1>(arguments...), result);
      }
      run.Ended();
      ::SetLastError(errorAfter);
      return result;
    }
  }
};

template <ProductCall kCall>
FARPROC Bind(FARPROC function) {
  auto* const call = &Redirected<kCall>::Call;
  FARPROC answer = nullptr;
  static_assert(sizeof call == sizeof answer && sizeof call == sizeof Original<kCall>::found);
  std::memcpy(&Original<kCall>::found, &function, sizeof function);
  std::memcpy(&answer, &call, sizeof call);
  return answer;
}

FARPROC AnswerBinding(SubjectRun& run, const char* name, FARPROC function) {
  if (function == nullptr) {
    return nullptr;
  }
  const std::string_view wanted = name;
#define FAULTS_BOUND_ANSWER(bound, ...)           \
  if (wanted == #bound) {                         \
    return Bind<ProductCall::k##bound>(function); \
  }
  FAULTS_BOUND_CALLS(FAULTS_BOUND_ANSWER)
#undef FAULTS_BOUND_ANSWER
  run.BoundUnknown(name);
  return function;
}

}  // namespace
}  // namespace Faults

// The slots. They are filled before any code runs. CallJumps.cpp jumps through them.
#define FAULTS_SLOT(name, errors, book)            \
  extern "C" decltype(&::name) faults_slot_##name; \
  decltype(&::name) faults_slot_##name = &Faults::Redirected<Faults::ProductCall::k##name>::Call;
FAULTS_IMPORTED_CALLS(FAULTS_SLOT)
