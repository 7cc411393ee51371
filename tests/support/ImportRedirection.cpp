#include "tests/support/ImportRedirection.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "tests/support/SystemCalls.h"

namespace TestSupport {
namespace {

// One slot with all redirections that it has at the moment.
struct RedirectedSlot {
  void* before;    // the slot's contents without redirections; restored at the end
  void* function;  // where the contents lead to; filled when it is needed
  std::vector<ImportLayer*> layers;
};

std::map<void**, RedirectedSlot>& RedirectedSlots() {
  static auto* const slots = new std::map<void**, RedirectedSlot>;  // outlives every redirection
  return *slots;
}

std::vector<const ImportSlot*> FindSlots(const char* function, const char* library) {
  std::vector<const ImportSlot*> found;
  for (const ImportSlot& slot : ProgramImports()) {
    if (slot.function == function && (library == nullptr || ::_stricmp(slot.dll.c_str(), library) == 0)) {
      found.push_back(&slot);
    }
  }
  if (found.empty()) {
    throw std::logic_error(std::string("this program does not import ") + function +
                           (library != nullptr ? std::string(" from ") + library : std::string()));
  }
  return found;
}

const ImportSlot& DescriptionOf(void** address) {
  const auto& imports = ProgramImports();
  return *std::find_if(imports.begin(), imports.end(), [&](const ImportSlot& slot) { return slot.slot == address; });
}

void Write(void** slot, void* value) {
  const SystemCalls& system = SystemCalls::Get();
  DWORD protection = 0;
  if (!system.virtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection)) {
    throw std::runtime_error("cannot make the import table writable");
  }
  *slot = value;
  system.virtualProtect(slot, sizeof *slot, protection, &protection);
}

// The lookup of a function that the product has not bound yet comes here.
void* FunctionBehind(const ImportSlot& slot, void* contents) {
  if (contents != nullptr) {
    return contents;
  }
  const SystemCalls& system = SystemCalls::Get();
  const HMODULE library = system.loadLibraryA(slot.dll.c_str());
  const FARPROC function = library != nullptr ? system.getProcAddress(library, slot.function.c_str()) : nullptr;
  if (function == nullptr) {
    throw std::runtime_error(slot.dll + " has no " + slot.function);
  }
  return reinterpret_cast<void*>(function);
}

void* FunctionBehind(void** address, RedirectedSlot& redirected) {
  if (redirected.function == nullptr) {
    redirected.function = FunctionBehind(DescriptionOf(address), redirected.before);
  }
  return redirected.function;
}

// Replaces GetProcAddress for the program, permanently. A pointer that the product bound before a redirection and kept
// would bypass it. So for a function in the list of ImportTables.cpp the answer is a jump through its slot.
FARPROC WINAPI AnswerBinding(HMODULE module, const char* name) {
  const FARPROC function = SystemCalls::Get().getProcAddress(module, name);
  const bool byName = reinterpret_cast<ULONG_PTR>(name) > 0xFFFF;  // otherwise the argument is a number, not a pointer
  if (function == nullptr || !byName) {
    return function;
  }
  for (const ImportSlot& slot : ProgramImports()) {
    if (slot.jump != nullptr && slot.function == name) {
      void* const address = reinterpret_cast<void*>(function);
      const auto redirected = RedirectedSlots().find(slot.slot);
      if (redirected != RedirectedSlots().end()) {
        redirected->second.before = address;
      } else {
        Write(slot.slot, address);
      }
      return slot.jump;
    }
  }
  return function;
}

// Runs before the product binds anything: it binds in its commands, not during the construction of static objects.
[[maybe_unused]] const bool g_answersBindings = [] {
  SystemCalls::Get();  // reads the slot as well
  for (const ImportSlot* slot : FindSlots("GetProcAddress", nullptr)) {
    Write(slot->slot, reinterpret_cast<void*>(&AnswerBinding));
  }
  return true;
}();

}  // namespace

namespace {

template <class Function>
Function Imported(const char* function) {
  return reinterpret_cast<Function>(*FindSlots(function, nullptr).front()->slot);
}

}  // namespace

const SystemCalls& SystemCalls::Get() {
  // Read from the slots once, before the first redirection. `&::VirtualProtect` would not work: the compiler may use
  // the address of a jump through the slot.
  static const SystemCalls calls = {
      Imported<decltype(&::VirtualProtect)>("VirtualProtect"), Imported<decltype(&::LoadLibraryA)>("LoadLibraryA"),
      Imported<decltype(&::GetProcAddress)>("GetProcAddress"), Imported<decltype(&::SetLastError)>("SetLastError")};
  return calls;
}

bool IsImported(const char* function, const char* library) {
  const auto& imports = ProgramImports();
  return std::any_of(imports.begin(), imports.end(), [&](const ImportSlot& slot) {
    return slot.function == function && (library == nullptr || ::_stricmp(slot.dll.c_str(), library) == 0);
  });
}

ImportLayer::ImportLayer(const char* function, const char* library, void* replacement) : replacement_(replacement) {
  for (const ImportSlot* slot : FindSlots(function, library)) {
    slots_.push_back(slot->slot);
    auto& redirected =
        RedirectedSlots().try_emplace(slot->slot, RedirectedSlot{*slot->slot, nullptr, {}}).first->second;
    redirected.layers.push_back(this);
    Write(slot->slot, replacement_);
  }
}

ImportLayer::~ImportLayer() {
  for (void** slot : slots_) {
    const auto place = RedirectedSlots().find(slot);
    auto& layers = place->second.layers;
    const auto above = layers.erase(std::find(layers.begin(), layers.end(), this));
    if (above != layers.end()) {
      (*above)->NextHasChanged();
    } else {
      Write(slot, layers.empty() ? place->second.before : layers.back()->Replacement());
    }
    if (layers.empty()) {
      RedirectedSlots().erase(place);
    }
  }
}

void* ImportLayer::Next() const {
  auto& redirected = RedirectedSlots().at(slots_.front());
  const auto own = std::find(redirected.layers.begin(), redirected.layers.end(), this);
  return own != redirected.layers.begin() ? (*(own - 1))->Replacement() : FunctionBehind(slots_.front(), redirected);
}

void ImportLayer::WhenNextChanges(std::function<void(void*)> listener) {
  listener_ = std::move(listener);
  NextHasChanged();
}

void ImportLayer::NextHasChanged() const {
  if (listener_) {
    listener_(Next());
  }
}

void* OriginalImport(const char* function, const char* library) {
  const ImportSlot& slot = *FindSlots(function, library).front();
  const auto place = RedirectedSlots().find(slot.slot);
  return place != RedirectedSlots().end() ? FunctionBehind(slot.slot, place->second) : FunctionBehind(slot, *slot.slot);
}

}  // namespace TestSupport
