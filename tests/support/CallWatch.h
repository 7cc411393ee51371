// Observes each call of a Windows function. The function itself runs as usual:
//
//   OnCall free{"FreeLibrary", &::FreeLibrary, [&](HMODULE module) { events.push_back("free"); }};
//   AfterCall load{"LoadLibraryW", &::LoadLibraryW, [&](HMODULE module, LPCWSTR name) { ... }};
//   FailWhere set{"SetEvent", &::SetEvent, [&](HANDLE event) { return event == mine ? ERROR_BUSY : ERROR_SUCCESS; }};
//
// AfterCall gets the result as its first argument and keeps the last-error code. If the listener of FailWhere returns
// an error, the call fails in the way of that function (FailureReturns.h). A listener may omit all parameters.
#pragma once

#include <windows.h>

#include <memory>
#include <type_traits>

#include "tests/support/FailureReturns.h"
#include "tests/support/ImportRedirection.h"

namespace TestSupport {

class OnCall {
 public:
  template <class Result, class... Arguments, class Listener>
  OnCall(const char* name, Result(WINAPI* /*type*/)(Arguments...), Listener listener) {
    redirection_ = std::make_unique<ImportRedirection>(name, [this, listener](Arguments... arguments) -> Result {
      if constexpr (std::is_invocable_v<const Listener&, Arguments...>) {
        listener(arguments...);
      } else {
        listener();
      }
      return redirection_->Original<Result(WINAPI*)(Arguments...)>()(arguments...);
    });
  }
  OnCall(const OnCall&) = delete;
  OnCall& operator=(const OnCall&) = delete;

 private:
  std::unique_ptr<ImportRedirection> redirection_;
};

class AfterCall {
 public:
  template <class Result, class... Arguments, class Listener>
  AfterCall(const char* name, Result(WINAPI* /*type*/)(Arguments...), Listener listener) {
    redirection_ = std::make_unique<ImportRedirection>(name, [this, listener](Arguments... arguments) -> Result {
      const Result result = redirection_->Original<Result(WINAPI*)(Arguments...)>()(arguments...);
      const DWORD error = ::GetLastError();
      if constexpr (std::is_invocable_v<const Listener&, Result, Arguments...>) {
        listener(result, arguments...);
      } else {
        listener();
      }
      ::SetLastError(error);
      return result;
    });
  }
  AfterCall(const AfterCall&) = delete;
  AfterCall& operator=(const AfterCall&) = delete;

 private:
  std::unique_ptr<ImportRedirection> redirection_;
};

class FailWhere {
 public:
  template <class Result, class... Arguments, class Listener>
  FailWhere(const char* name, Result(WINAPI* /*type*/)(Arguments...), Listener listener) {
    redirection_ = std::make_unique<ImportRedirection>(name, [this, name, listener](Arguments... arguments) -> Result {
      DWORD error = ERROR_SUCCESS;
      if constexpr (std::is_invocable_v<const Listener&, Arguments...>) {
        error = listener(arguments...);
      } else {
        error = listener();
      }
      if (error == ERROR_SUCCESS) {
        return redirection_->Original<Result(WINAPI*)(Arguments...)>()(arguments...);
      }
      const FailureReturn failure = FailureReturn::Of(name, error);
      if (failure.setsLastError) {
        ::SetLastError(failure.error);
      }
      if constexpr (std::is_pointer_v<Result>) {
        return reinterpret_cast<Result>(failure.value);
      } else {
        return static_cast<Result>(failure.value);
      }
    });
  }
  FailWhere(const FailWhere&) = delete;
  FailWhere& operator=(const FailWhere&) = delete;

 private:
  std::unique_ptr<ImportRedirection> redirection_;
};

}  // namespace TestSupport
