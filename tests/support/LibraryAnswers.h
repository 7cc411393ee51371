// Decides what the product finds when it looks up functions by name at run time.
//
//   AnswerProcAddress answer{"GetNativeSystemInfo", &OldMachine};  // the product gets this function; or a lambda with
//                                                                  // that function's parameters and result
//   MissingEntry missing{"WTSGetActiveConsoleSessionId"};          // no such function: null, ERROR_PROC_NOT_FOUND
//   LoadedNames loaded;                                            // what it loads by name is written down
//   MissingLibrary library{L"wtsapi32.dll"};                       // no such library: null, ERROR_MOD_NOT_FOUND
#pragma once

#include <windows.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ImportRedirection.h"

namespace TestSupport {

class ProcAddressAnswer {
 public:
  // `answer`: null means that the function does not exist.
  ProcAddressAnswer(const char* function, FARPROC answer);
  virtual ~ProcAddressAnswer() = default;
  unsigned Asked() const { return asked_; }

 private:
  unsigned asked_ = 0;
  ImportRedirection redirection_;
};

class AnswerProcAddress : public ProcAddressAnswer {
 public:
  template <class Result, class... Arguments>
  AnswerProcAddress(const char* function, Result(WINAPI* answer)(Arguments...))
      : ProcAddressAnswer(function, AsProcedure(reinterpret_cast<void*>(answer))) {}
  template <class Callable>
  AnswerProcAddress(const char* function, Callable answer)
      : AnswerProcAddress(function, std::unique_ptr<CallableAddress>(std::make_unique<Pool<Callable>>(answer))) {}

 private:
  template <class Callable>
  using Pool = CallablePool<typename SignatureOfMember<decltype(&Callable::operator())>::Type>;

  AnswerProcAddress(const char* function, std::unique_ptr<CallableAddress> callable)
      : ProcAddressAnswer(function, AsProcedure(callable->Address())), callable_(std::move(callable)) {}

  static FARPROC AsProcedure(void* address) {
    FARPROC procedure = nullptr;
    std::memcpy(&procedure, &address, sizeof procedure);
    return procedure;
  }

  std::unique_ptr<CallableAddress> callable_;
};

class MissingEntry : public ProcAddressAnswer {
 public:
  explicit MissingEntry(const char* function) : ProcAddressAnswer(function, nullptr) {}
};

class MissingLibrary {
 public:
  // Compared with the file name of the library, without its folder, in any case.
  explicit MissingLibrary(const wchar_t* library, DWORD error = ERROR_MOD_NOT_FOUND);
  unsigned Asked() const { return asked_; }

 private:
  bool Concerns(const wchar_t* path);

  std::wstring library_;
  DWORD error_;
  unsigned asked_ = 0;
  std::optional<ImportRedirection> plain_;     // LoadLibraryW
  std::optional<ImportRedirection> extended_;  // LoadLibraryExW
};

// What is loaded during its lifetime, with the name that was given.
class LoadedNames {
 public:
  std::vector<std::wstring> names;

  // Only those that are given by a name without a folder.
  std::vector<std::wstring> WithoutFolder() const;

 private:
  ImportRedirection load_{"LoadLibraryW", [this](LPCWSTR name) -> HMODULE {
                            names.emplace_back(name);
                            return load_.Original<decltype(&::LoadLibraryW)>()(name);
                          }};
};

}  // namespace TestSupport
