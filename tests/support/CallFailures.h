// Counts calls of Windows functions and makes chosen calls fail.
//
//   FailCall open{"CreateFileW", 2, ERROR_SHARING_VIOLATION};      // the second call and no other
//   FailCall write{"WriteFile", Calls::From(1), ERROR_DISK_FULL};  // every one
//   CountCalls closes{"RegCloseKey"};
//
// A failing call does not reach Windows. It returns what that function returns at a failure (FailureReturns.h) and sets
// the last-error code. Its out parameters are unchanged. To count several functions as one sequence, as a fault sweep
// does, use FailNthOf.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/FailureReturns.h"
#include "tests/support/ImportRedirection.h"

namespace TestSupport {

// Which calls fail. The first call is 1.
struct Calls {
  std::int64_t first;
  std::int64_t last;

  static Calls None() { return {1, 0}; }
  static Calls Only(unsigned call) { return {call, call}; }
  static Calls From(unsigned call) { return {call, INT64_MAX}; }
  static Calls Between(unsigned first, unsigned last) { return {first, last}; }
};

// A count and the calls in it that fail. Several functions may share it. Machine code reads it: see CallFailures.cpp.
struct CallSequence {
  std::int64_t calls = 0;
  std::int64_t failFirst = 1;
  std::int64_t failLast = 0;
  std::vector<std::string> failed = {};  // the names of the functions whose calls failed, in order
};

// One function that is counted in a sequence. Works for every signature: it never touches the arguments.
class CountedFunction {
 public:
  CountedFunction(const char* function, const char* library, std::shared_ptr<CallSequence> sequence,
                  FailureReturn failure);
  CountedFunction(const CountedFunction&) = delete;
  CountedFunction& operator=(const CountedFunction&) = delete;
  ~CountedFunction();

  unsigned Calls() const;   // of this function
  unsigned Failed() const;  // of this function

 private:
  struct Stub;
  std::unique_ptr<Stub> stub_;
  std::unique_ptr<ImportLayer> layer_;
};

class CountCalls {
 public:
  explicit CountCalls(const char* function, const char* library = nullptr);
  unsigned Calls() const { return function_.Calls(); }

 private:
  CountedFunction function_;
};

class FailCall {
 public:
  // Throws std::logic_error if it is unknown how the function reports a failure.
  FailCall(const char* function, unsigned call, DWORD error) : FailCall(function, Calls::Only(call), error) {}
  FailCall(const char* function, TestSupport::Calls calls, DWORD error)
      : FailCall(function, calls, FailureReturn::Of(function, error)) {}
  // For a function, or a way to fail, that is not in the table.
  FailCall(const char* function, TestSupport::Calls calls, FailureReturn failure);

  unsigned Calls() const { return function_.Calls(); }
  unsigned Failed() const { return function_.Failed(); }

 private:
  using Range = TestSupport::Calls;
  CountedFunction function_;
};

// Counts the calls of all the functions as one sequence and fails the chosen ones. Names that the program does not
// import are ignored, because the list of a sweep is longer than what one command uses. At least one must be imported.
class FailNthOf {
 public:
  FailNthOf(const std::vector<std::string>& functions, TestSupport::Calls calls, DWORD error);

  unsigned Calls() const { return static_cast<unsigned>(sequence_->calls); }
  const std::vector<std::string>& Failed() const { return sequence_->failed; }

 private:
  std::shared_ptr<CallSequence> sequence_;
  std::vector<std::unique_ptr<CountedFunction>> functions_;
};

}  // namespace TestSupport
