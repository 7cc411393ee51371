#include "tests/support/CallFailures.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "tests/support/SystemCalls.h"

namespace TestSupport {
namespace {

// The data of the machine code below. The code contains the offsets.
struct StubState {
  CallSequence* sequence;               // 0
  void* original;                       // 8
  ULONG_PTR(WINAPI* fail)(StubState*);  // 16
  std::int64_t calls;                   // 24
  FailureReturn failure;
  unsigned failed;
  std::string name;
};
static_assert(offsetof(CallSequence, calls) == 0 && offsetof(CallSequence, failFirst) == 8 &&
              offsetof(CallSequence, failLast) == 16);

ULONG_PTR WINAPI FailNow(StubState* state) {
  ++state->failed;
  state->sequence->failed.push_back(state->name);
  if (state->failure.setsLastError) {
    SystemCalls::Get().setLastError(state->failure.error);
  }
  return state->failure.value;
}

// Counts the call, then jumps to the original or to FailNow. Registers and stack of the arguments stay as the caller
// left them, for every signature. Only rax, r10 and r11 are used: they hold no argument.
constexpr unsigned char kStubCode[] = {
    0x49, 0xBB, 0,    0,  0, 0, 0, 0, 0, 0,  // mov r11, <StubState>
    0x49, 0xFF, 0x43, 24,                    // inc qword [r11+24]      its own calls
    0x4D, 0x8B, 0x13,                        // mov r10, [r11]          the sequence
    0x49, 0x8B, 0x02,                        // mov rax, [r10]
    0x48, 0xFF, 0xC0,                        // inc rax
    0x49, 0x89, 0x02,                        // mov [r10], rax
    0x49, 0x3B, 0x42, 8,                     // cmp rax, [r10+8]
    0x7C, 13,                                // jl original
    0x49, 0x3B, 0x42, 16,                    // cmp rax, [r10+16]
    0x7F, 7,                                 // jg original
    0x4C, 0x89, 0xD9,                        // mov rcx, r11
    0x41, 0xFF, 0x63, 16,                    // jmp [r11+16]            FailNow
    0x41, 0xFF, 0x63, 8,                     // original: jmp [r11+8]
};
constexpr std::size_t kStateOffset = 2;

std::shared_ptr<CallSequence> MakeSequence(TestSupport::Calls failing) {
  auto sequence = std::make_shared<CallSequence>();
  sequence->failFirst = failing.first;
  sequence->failLast = failing.last;
  return sequence;
}

}  // namespace

struct CountedFunction::Stub {
  explicit Stub(StubState initial) : state(std::move(initial)) {
    void* const memory = ::VirtualAlloc(nullptr, sizeof kStubCode, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
    if (memory == nullptr) {
      throw std::bad_alloc();
    }
    code = static_cast<unsigned char*>(memory);
    std::memcpy(code, kStubCode, sizeof kStubCode);
    const StubState* const address = &state;
    std::memcpy(code + kStateOffset, &address, sizeof address);
  }
  Stub(const Stub&) = delete;
  Stub& operator=(const Stub&) = delete;
  ~Stub() { ::VirtualFree(code, 0, MEM_RELEASE); }

  StubState state;
  std::shared_ptr<CallSequence> sequence;
  unsigned char* code;
};

CountedFunction::CountedFunction(const char* function, const char* library, std::shared_ptr<CallSequence> sequence,
                                 FailureReturn failure)
    : stub_(std::make_unique<Stub>(StubState{sequence.get(), nullptr, &FailNow, 0, failure, 0, function})) {
  stub_->sequence = std::move(sequence);
  // The code needs its jump targets before the first call can come.
  stub_->state.original = OriginalImport(function, library);
  layer_ = std::make_unique<ImportLayer>(function, library, stub_->code);
  layer_->WhenNextChanges([state = &stub_->state](void* next) { state->original = next; });
}

CountedFunction::~CountedFunction() = default;

unsigned CountedFunction::Calls() const {
  return static_cast<unsigned>(stub_->state.calls);
}
unsigned CountedFunction::Failed() const {
  return stub_->state.failed;
}

CountCalls::CountCalls(const char* function, const char* library)
    : function_(function, library, MakeSequence(Calls::None()), FailureReturn{}) {}

FailCall::FailCall(const char* function, TestSupport::Calls calls, FailureReturn failure)
    : function_(function, nullptr, MakeSequence(calls), failure) {}

FailNthOf::FailNthOf(const std::vector<std::string>& functions, TestSupport::Calls calls, DWORD error)
    : sequence_(MakeSequence(calls)) {
  for (const std::string& function : functions) {
    if (IsImported(function.c_str())) {
      functions_.push_back(std::make_unique<CountedFunction>(function.c_str(), nullptr, sequence_,
                                                             FailureReturn::Of(function.c_str(), error)));
    }
  }
  if (functions_.empty()) {
    throw std::logic_error("this program imports none of the functions that should fail");
  }
}

}  // namespace TestSupport
