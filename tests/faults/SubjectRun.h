// One run of the subject: its orders, the count of the product's calls, and the ledger of what it took and gave back.
//
// Two environment variables steer it:
//   VELA_FAULTS_ORDER  "count"             nothing fails, and every call is noted
//                      "fail <k> <e>"      only call k fails, with the error that stands at place e (from 0) in its row
//                      "lasting <k>"       call k and every later one fails, each with its first error
//                      "die-before <c>"    the process ends instead of making its c-th change
//                      "die-after <c>"     the process ends when it has made its c-th change
//                      with " shell" behind it: no session has a token, so that the shell's owner is looked for;
//                      with " register" behind it: modules are registered (see AnsweredCalls.h);
//                      with " forget" behind it: nothing that is given back is written down
//   VELA_FAULTS_NOTES  the file for the notes, see WriteNotes
// Calls and changes are counted from 1. A call is counted where it can fail.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/faults/ProductCalls.h"
#include "tests/support/FailureReturns.h"

namespace Faults {

// What the product owns until it gives it back.
enum class Owned {
  kHandle,
  kSearch,
  kKey,
  kModule,
  kEnvironment,
  kProfile,
  kSid,
  kMemory,
  kImpersonation,
  kSection,
  kPrivilege,
  kCount
};

class SubjectRun {
 public:
  static SubjectRun& Get();
  SubjectRun(const SubjectRun&) = delete;
  SubjectRun& operator=(const SubjectRun&) = delete;
  ~SubjectRun();

  // The next call. True where it is to fail, with what it answers in `failure`. Ends the process where that is ordered.
  bool Begins(ProductCall call, const void* returnAddress, bool changes, TestSupport::FailureReturn& failure);
  // The same call is over. Ends the process where that is ordered.
  void Ended();

  void Took(Owned kind, ULONG_PTR value);
  void GaveBack(Owned kind, ULONG_PTR value);
  // A path that the call changes; noted where it lies outside the product's trees.
  void Changes(const wchar_t* path);
  // A function was bound by name that ProductCalls.h does not know.
  void BoundUnknown(const char* name);

  bool Registers() const { return registers_; }

 private:
  enum class Order { kCount, kFail, kLasting, kDieBefore, kDieAfter };
  struct Call {
    ProductCall call;
    const void* site;
    int change;  // its number, 0 where it changes nothing
  };

  SubjectRun();
  void ReadOrder();
  bool MustFail(const std::vector<DWORD>& errors, DWORD& error) const;
  std::string CallText(const Call& call) const;
  void Note(const std::string& line) { notes_ += line + "\n"; }
  void WriteNotes();

  Order order_ = Order::kCount;
  int number_ = 0;
  unsigned errorPlace_ = 0;
  bool withoutSessionToken_ = false;
  bool registers_ = false;
  bool forgets_ = false;
  int calls_ = 0;
  int changes_ = 0;  // asked for
  int made_ = 0;     // of these, not made to fail
  bool failed_ = false;
  bool sessionFailed_ = false;
  Call current_ = {};
  std::multimap<std::pair<Owned, ULONG_PTR>, Call> owned_;
  std::string notes_;
};

}  // namespace Faults
