// Replaces Windows functions for the duration of a scope.
//
// A program calls its imported functions through a table in its own image (ImportTables.h). The product code is part of
// each test program. So a changed entry affects every call of the product, and no call inside Windows itself:
//
//   int flushes = 0;
//   ImportRedirection flush{"RegFlushKey", [&](HKEY key) {
//     ++flushes;
//     return flush.Original<decltype(&::RegFlushKey)>()(key);
//   }};
//   FailCall second{"RegSetValueExW", 2, ERROR_ACCESS_DENIED};
//
// Redirections of one function may be nested. The newest one is called, and its original is the one below it. They may
// end in any order. A name that the program does not import is a mistake in the test and throws.
//
// The test program's own calls are redirected as well. So check results after the scope, and keep the last-error code
// of the original if the product reads it. File streams are safe, because the C runtime opens files itself. The product
// binds a few functions by name at the first call and keeps them (list in ImportTables.cpp). They are redirected in the
// same way, before and after they are bound. Functions that it binds again at each use are handled by LibraryAnswers.h.
#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ImportTables.h"

namespace TestSupport {

// True if the program imports this function. `library` ("advapi32.dll", any case) may be null: any library.
bool IsImported(const char* function, const char* library = nullptr);

// The untyped part: one address in all slots of a function.
class ImportLayer {
 public:
  // Throws std::logic_error if the function is not imported.
  ImportLayer(const char* function, const char* library, void* replacement);
  ImportLayer(const ImportLayer&) = delete;
  ImportLayer& operator=(const ImportLayer&) = delete;
  ~ImportLayer();

  void* Replacement() const { return replacement_; }
  // What this layer calls as its original: an older layer, or the function itself.
  void* Next() const;
  // Notifies a layer that keeps a copy of Next() when layers below it were added or removed.
  void WhenNextChanges(std::function<void(void*)> listener);
  void NextHasChanged() const;

 private:
  void* replacement_;
  std::vector<void**> slots_;
  std::function<void(void*)> listener_;
};

// A stateful callable with the address of a plain function.
class CallableAddress {
 public:
  virtual ~CallableAddress() = default;
  virtual void* Address() const = 0;
};

// Plain functions of one signature. Each calls the callable that it has at the moment.
template <class Signature>
class CallablePool;

template <class Result, class... Arguments>
class CallablePool<Result(Arguments...)> : public CallableAddress {
 public:
  explicit CallablePool(std::function<Result(Arguments...)> callable) {
    while (place_ < kPlaces && Callables()[place_]) {
      ++place_;
    }
    if (place_ == kPlaces) {
      throw std::logic_error("too many redirections of functions with one signature");
    }
    Callables()[place_] = std::move(callable);
  }
  CallablePool(const CallablePool&) = delete;
  CallablePool& operator=(const CallablePool&) = delete;
  ~CallablePool() override { Callables()[place_] = nullptr; }

  void* Address() const override { return AddressOf(place_, std::make_index_sequence<kPlaces>()); }

 private:
  static constexpr std::size_t kPlaces = 16;
  using Function = Result(WINAPI*)(Arguments...);

  static std::array<std::function<Result(Arguments...)>, kPlaces>& Callables() {
    static auto* const places = new std::array<std::function<Result(Arguments...)>, kPlaces>;  // outlives every test
    return *places;
  }

  template <std::size_t kPlace>
  static Result WINAPI Call(Arguments... arguments) {
    return Callables()[kPlace](arguments...);
  }

  template <std::size_t... kPlace>
  static void* AddressOf(std::size_t place, std::index_sequence<kPlace...>) {
    static constexpr Function kFunctions[] = {&Call<kPlace>...};
    return reinterpret_cast<void*>(kFunctions[place]);
  }

  std::size_t place_ = 0;
};

template <class Member>
struct SignatureOfMember;
template <class Class, class Result, class... Arguments>
struct SignatureOfMember<Result (Class::*)(Arguments...) const> {
  using Type = Result(Arguments...);
};
template <class Class, class Result, class... Arguments>
struct SignatureOfMember<Result (Class::*)(Arguments...)> {
  using Type = Result(Arguments...);
};

class ImportRedirection {
 public:
  // `replacement`: a lambda with the parameters and the result of the function, or a pointer to a function. `library`
  // is needed only if two libraries export the name.
  template <class Callable>
  ImportRedirection(const char* function, Callable replacement, const char* library = nullptr)
      : callable_(std::make_unique<CallablePool<typename SignatureOfMember<decltype(&Callable::operator())>::Type>>(
            std::move(replacement))),
        layer_(function, library, callable_->Address()) {}
  template <class Result, class... Arguments>
  ImportRedirection(const char* function, Result(WINAPI* replacement)(Arguments...), const char* library = nullptr)
      : layer_(function, library, reinterpret_cast<void*>(replacement)) {}
  ImportRedirection(const ImportRedirection&) = delete;
  ImportRedirection& operator=(const ImportRedirection&) = delete;

  // The function that was replaced: redirect.Original<decltype(&::RegCloseKey)>()(key).
  template <class Function>
  Function Original() const {
    return reinterpret_cast<Function>(layer_.Next());
  }

 private:
  std::unique_ptr<CallableAddress> callable_;
  ImportLayer layer_;
};

// The function itself, below all redirections.
void* OriginalImport(const char* function, const char* library = nullptr);
template <class Function>
Function OriginalImport(const char* function, const char* library = nullptr) {
  return reinterpret_cast<Function>(OriginalImport(function, library));
}

}  // namespace TestSupport
