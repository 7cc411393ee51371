// One run of the subject: its orders, the count of the product's calls, and the list of what it took and gave back.
//
// Two environment variables control it:
//   VELA_FAULTS_ORDER  "count"             nothing fails, and every call is noted
//                      "plain"             nothing fails
//                      "fail <k> <e>"      only call k fails, with error number e (from 0) of its row
//                      "lasting <k>"       call k and every later one fails, each with its first error
//                      "die-before <c>"    the process ends instead of making change number c
//                      "die-after <c>"     the process ends after change number c
//                      followed by " shell": no session has a token, so the product looks for the shell's owner;
//                      followed by " register": modules are registered (see AnsweredCalls.h);
//                      followed by " forget": nothing that is given back is recorded
//   VELA_FAULTS_NOTES  the file for the notes, see WriteNotes
// Calls and changes are counted from 1. Only calls that can fail are counted.
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

  // The next call. True if it must fail; then `failure` is its result. Ends the process if that is ordered.
  bool Begins(ProductCall call, const void* returnAddress, bool changes, TestSupport::FailureReturn& failure);
  // The end of the same call. Ends the process if that is ordered.
  void Ended();

  void Took(Owned kind, ULONG_PTR value);
  void GaveBack(Owned kind, ULONG_PTR value);
  // A path that the call changes. It is noted if it is outside the product's trees.
  void Changes(const wchar_t* path);
  // Something that is in no file and not in the registry: a process that was started, an event that was set; or that
  // the command returned, so that no abort ended it.
  void Did(const std::string& what) { Note(what); }
  // A function was bound by name that is not in ProductCalls.h.
  void BoundUnknown(const char* name);

  bool Registers() const { return registers_; }

 private:
  enum class Order { kCount, kPlain, kFail, kLasting, kDieBefore, kDieAfter };
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
  int made_ = 0;     // those of them that were not made to fail
  bool failed_ = false;
  bool sessionFailed_ = false;
  Call current_ = {};
  std::multimap<std::pair<Owned, ULONG_PTR>, Call> owned_;
  std::string notes_;
};

}  // namespace Faults
