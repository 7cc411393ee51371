#include "tests/faults/SubjectRun.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "tests/faults/Allocations.h"
#include "tests/faults/ProductTrees.h"
#include "tests/fixtures/OwnFiles.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace Faults {
namespace {

constexpr UINT kOrderedEnd = 0xDEAD;
constexpr UINT kNotPossible = 0xBAD;

constexpr const char* kOwnedNames[] = {"handle",   "search", "key",    "module",        "environment block",
                                       "profile",  "sid",    "memory", "impersonation", "critical section",
                                       "privilege"};
static_assert(sizeof kOwnedNames / sizeof kOwnedNames[0] == static_cast<std::size_t>(Owned::kCount));

std::wstring Variable(const wchar_t* name) {
  wchar_t text[1024] = {};
  ::GetEnvironmentVariableW(name, text, 1024);
  return text;
}

[[noreturn]] void GiveUp(const char* reason) {
  std::fprintf(stderr, "faults.subject: %s\n", reason);
  std::fflush(stderr);
  ::TerminateProcess(::GetCurrentProcess(), kNotPossible);
  std::abort();
}

// The place in the program as in the linker map, relative to the start of the program.
std::string Offset(const void* address) {
  const auto offset = reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(&__ImageBase);
  char text[20] = {};
  std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(offset));
  return text;
}

}  // namespace

// Created at the product's first call, before the product's first static object is complete. So it is destroyed after
// the last of them, when the product gives nothing back any more.
SubjectRun& SubjectRun::Get() {
  static SubjectRun run;
  return run;
}

SubjectRun::SubjectRun() {
  ReadOrder();
}

SubjectRun::~SubjectRun() {
  const Allocations::Aside aside;
  WriteNotes();
}

void SubjectRun::ReadOrder() {
  const std::wstring text = Variable(L"VELA_FAULTS_ORDER");
  wchar_t verb[32] = {};
  unsigned place = 0;
  const int fields = std::swscanf(text.c_str(), L"%31ls %d %u", verb, &number_, &place);
  struct Verb {
    const wchar_t* name;
    Order order;
    int fields;
  };
  constexpr Verb kVerbs[] = {
      {L"count", Order::kCount, 1},     {L"plain", Order::kPlain, 1},          {L"fail", Order::kFail, 3},
      {L"lasting", Order::kLasting, 2}, {L"die-before", Order::kDieBefore, 2}, {L"die-after", Order::kDieAfter, 2}};
  bool known = false;
  for (const Verb& row : kVerbs) {
    if (std::wcscmp(verb, row.name) == 0 && fields >= row.fields) {
      order_ = row.order;
      known = true;
    }
  }
  if (!known) {
    GiveUp("VELA_FAULTS_ORDER has no known value");
  }
  errorPlace_ = place;
  withoutSessionToken_ = text.find(L" shell") != std::wstring::npos;
  forgets_ = text.find(L" forget") != std::wstring::npos;
  registers_ = text.find(L" register") != std::wstring::npos;
}

bool SubjectRun::MustFail(const std::vector<DWORD>& errors, DWORD& error) const {
  if (order_ == Order::kFail && calls_ == number_) {
    if (errorPlace_ >= errors.size()) {
      GiveUp("ProductCalls.h has no such error for this call");
    }
    error = errors[errorPlace_];
    return true;
  }
  error = errors.front();
  return (order_ == Order::kLasting && calls_ >= number_) ||
         (withoutSessionToken_ && current_.call == ProductCall::kWTSQueryUserToken);
}

bool SubjectRun::Begins(ProductCall call, const void* returnAddress, bool changes,
                        TestSupport::FailureReturn& failure) {
  const std::vector<DWORD>* const errors = ErrorsOf(NameOf(call));
  if (errors == nullptr) {
    GiveUp((std::string("ProductCalls.h does not say how ") + NameOf(call) + " fails").c_str());
  }
  current_ = {call, returnAddress, changes ? ++changes_ : 0};
  if (changes && order_ == Order::kDieBefore && changes_ == number_) {
    ::TerminateProcess(::GetCurrentProcess(), kOrderedEnd);
  }
  if (changes && call != ProductCall::kCreateProcessAsUserW && owned_.count({Owned::kImpersonation, 1}) != 0) {
    Note("impersonating " + CallText(current_) + " change");
  }
  if (errors->empty()) {
    return false;
  }
  ++calls_;
  if (order_ == Order::kCount) {
    Note("call " + std::to_string(calls_) + " " + std::to_string(current_.change) + " " + CallText(current_));
  }
  DWORD error = 0;
  if (!MustFail(*errors, error)) {
    made_ += changes ? 1 : 0;
    return false;
  }
  const bool ordered = order_ == Order::kFail || order_ == Order::kLasting;
  if (ordered && calls_ >= number_ && !failed_) {
    failed_ = true;
    Note("failed " + std::to_string(calls_) + " " + std::to_string(error) + " " + CallText(current_));
  }
  if (call == ProductCall::kLoadLibraryW || call == ProductCall::kGetProcAddress ||
      call == ProductCall::kWideCharToMultiByte) {
    sessionFailed_ = true;
  }
  if (call == ProductCall::kWaitForSingleObject && error == kTimeIsUp) {
    failure = {WAIT_TIMEOUT, 0, false};
  } else if (call == ProductCall::kWriteFile && error == kWroteNothing) {
    failure = {TRUE, 0, false};
  } else {
    failure = TestSupport::FailureReturn::Of(NameOf(call), error);
  }
  return true;
}

void SubjectRun::Ended() {
  if (order_ == Order::kDieAfter && current_.change == number_) {
    ::TerminateProcess(::GetCurrentProcess(), kOrderedEnd);
  }
}

std::string SubjectRun::CallText(const Call& call) const {
  return std::string(NameOf(call.call)) + " " + Offset(call.site);
}

void SubjectRun::Took(Owned kind, ULONG_PTR value) {
  owned_.insert({{kind, value}, current_});
}

void SubjectRun::GaveBack(Owned kind, ULONG_PTR value) {
  if (forgets_) {
    return;
  }
  if (kind == Owned::kImpersonation) {  // there is one thread and one identity; a second revert does no harm
    owned_.erase({kind, value});
    return;
  }
  const auto found = owned_.find({kind, value});
  if (found != owned_.end()) {
    owned_.erase(found);
  } else if (value != 0 || (kind != Owned::kSid && kind != Owned::kMemory)) {
    Note("stray " + CallText(current_) + " " + kOwnedNames[static_cast<int>(kind)]);
  }
}

void SubjectRun::Changes(const wchar_t* path) {
  if (path == nullptr) {
    return;
  }
  wchar_t full[1024] = {};
  const DWORD length = ::GetFullPathNameW(path, 1024, full, nullptr);
  if (length == 0 || length >= 1024 || path[0] == L'\0' || !LiesInProductTrees(full)) {
    Note("outside " + CallText(current_) + " " + Fixtures::ToUtf8(path));
  } else if (::_wcsnicmp(path, full, 3) != 0) {
    Note("relative " + CallText(current_) + " " + Fixtures::ToUtf8(path));
  }
}

void SubjectRun::BoundUnknown(const char* name) {
  Note(std::string("unknown ") + name);
}

// One line for each: "call <number> <change> <function> <place>", "failed <number> <error> <function> <place>", "left
// <function> <place> <kind>", "stray <function> <place> <kind>", "outside <function> <place> <path>", "relative
// <function> <place> <path>", "unknown <function>", "impersonating <function> <place> change" for a change as the user,
// except the start of a monitor, "started <command line>", "set an event", "returned", "session failed" if a function
// that is bound by name was not available, and at the end "calls <number> changes <number> made <number>" and those of
// the allocations (Allocations.h).
void SubjectRun::WriteNotes() {
  for (const auto& [what, call] : owned_) {
    Note("left " + CallText(call) + " " + kOwnedNames[static_cast<int>(what.first)]);
  }
  if (sessionFailed_) {
    Note("session failed");
  }
  Note("calls " + std::to_string(calls_) + " changes " + std::to_string(changes_) + " made " + std::to_string(made_));
  Note(Allocations::Notes());
  const HANDLE file = ::CreateFileW(Variable(L"VELA_FAULTS_NOTES").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD written = 0;
  if (file == INVALID_HANDLE_VALUE ||
      !::WriteFile(file, notes_.data(), static_cast<DWORD>(notes_.size()), &written, nullptr) || !::CloseHandle(file)) {
    GiveUp("the notes cannot be written");
  }
}

}  // namespace Faults
