#include "tests/support/ImportTables.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace TestSupport {
namespace {

// A program in memory, as its headers describe it.
class LoadedImage {
 public:
  explicit LoadedImage(HMODULE image)
      : base_(reinterpret_cast<const char*>(image)),
        headers_(At<IMAGE_NT_HEADERS64>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew))) {}

  template <class T>
  const T* At(DWORD offset) const {
    return reinterpret_cast<const T*>(base_ + offset);
  }

  // The slots are the only part of an image that is meant to be written.
  void** SlotAt(DWORD offset) const { return reinterpret_cast<void**>(const_cast<char*>(base_ + offset)); }

  // Null if the program has no such table.
  template <class T>
  const T* Directory(unsigned index) const {
    const DWORD offset = headers_->OptionalHeader.DataDirectory[index].VirtualAddress;
    return offset != 0 ? At<T>(offset) : nullptr;
  }

 private:
  const char* base_;
  const IMAGE_NT_HEADERS64* headers_;
};

void AddSlots(const LoadedImage& image, const char* library, DWORD nameTable, DWORD addressTable,
              std::vector<ImportSlot>& slots) {
  const auto* names = image.At<IMAGE_THUNK_DATA64>(nameTable);
  void** addresses = image.SlotAt(addressTable);
  for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
    if (!IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal)) {
      const auto* byName = image.At<IMAGE_IMPORT_BY_NAME>(static_cast<DWORD>(names->u1.AddressOfData));
      slots.push_back({library, reinterpret_cast<const char*>(byName->Name), addresses, nullptr});
    }
  }
}

// What the product binds by name at the first call and keeps (Common/OrCommon/OrComn_Shell.cpp).
struct LateFunction {
  const char* dll;
  const char* function;
};
constexpr LateFunction kLateFunctions[] = {
    {"shell32.dll", "SHCreateDirectoryExW"},    {"shell32.dll", "SHGetFolderPathW"},
    {"shell32.dll", "SHGetSpecialFolderPathW"}, {"shlwapi.dll", "PathAppendW"},
    {"shlwapi.dll", "PathFileExistsW"},         {"shlwapi.dll", "PathFindFileNameA"},
    {"shlwapi.dll", "PathRemoveFileSpecW"},
};

// A jump to the address in its slot.
struct Jump {
  unsigned char code[8];
  void* slot;
};
constexpr unsigned char kJumpCode[sizeof Jump::code] = {0xFF, 0x25, 2, 0, 0, 0};  // jmp [rip+2]

void AddLateSlots(std::vector<ImportSlot>& slots) {
  void* const memory = ::VirtualAlloc(nullptr, sizeof(Jump) * std::size(kLateFunctions), MEM_COMMIT | MEM_RESERVE,
                                      PAGE_EXECUTE_READWRITE);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  auto* jump = static_cast<Jump*>(memory);  // permanently: the product keeps the addresses
  for (const LateFunction& late : kLateFunctions) {
    std::memcpy(jump->code, kJumpCode, sizeof kJumpCode);
    FARPROC address = nullptr;
    std::memcpy(&address, &jump, sizeof jump);
    slots.push_back({late.dll, late.function, &jump->slot, address});
    ++jump;
  }
}

// The linker's symbol: GetModuleHandleW is an import as well, and may be redirected already.
HMODULE Program() {
  return reinterpret_cast<HMODULE>(&__ImageBase);
}

}  // namespace

std::vector<ImportSlot> ReadImports(HMODULE program) {
  const LoadedImage image(program);
  std::vector<ImportSlot> slots;
  if (const auto* entry = image.Directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT)) {
    for (; entry->Name != 0; ++entry) {
      AddSlots(image, image.At<char>(entry->Name), entry->OriginalFirstThunk, entry->FirstThunk, slots);
    }
  }
  return slots;
}

const std::vector<ImportSlot>& ProgramImports() {
  static const std::vector<ImportSlot> slots = [] {
    std::vector<ImportSlot> all = ReadImports(Program());
    AddLateSlots(all);
    return all;
  }();
  return slots;
}

bool StaysLoaded(HMODULE library) {
  return std::any_of(std::begin(kLateFunctions), std::end(kLateFunctions),
                     [&](const LateFunction& late) { return library == ::GetModuleHandleA(late.dll); });
}

}  // namespace TestSupport
