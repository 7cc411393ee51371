#include "tests/support/ImportTables.h"

#include <windows.h>

#include <cctype>
#include <cstddef>
#include <string_view>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace TestSupport {
namespace {

// A program in memory, as its own headers describe it.
class LoadedImage {
 public:
  explicit LoadedImage(HMODULE image)
      : base_(reinterpret_cast<const char*>(image)),
        headers_(At<IMAGE_NT_HEADERS64>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew))) {}

  DWORD Size() const { return headers_->OptionalHeader.SizeOfImage; }

  template <class T>
  const T* At(DWORD offset) const {
    return reinterpret_cast<const T*>(base_ + offset);
  }

  // The slots are the one thing in an image that is meant to be written.
  void** SlotAt(DWORD offset) const { return reinterpret_cast<void**>(const_cast<char*>(base_ + offset)); }

  bool Contains(const void* address) const {
    const auto* place = static_cast<const char*>(address);
    return place >= base_ && place < base_ + Size();
  }

  // Null where the program has no such table.
  template <class T>
  const T* Directory(unsigned index) const {
    const DWORD offset = headers_->OptionalHeader.DataDirectory[index].VirtualAddress;
    return offset != 0 ? At<T>(offset) : nullptr;
  }

  const IMAGE_SECTION_HEADER* Sections() const {  // they follow the headers; IMAGE_FIRST_SECTION casts in C's way
    const auto* optional = reinterpret_cast<const char*>(&headers_->OptionalHeader);
    return reinterpret_cast<const IMAGE_SECTION_HEADER*>(optional + headers_->FileHeader.SizeOfOptionalHeader);
  }
  unsigned SectionCount() const { return headers_->FileHeader.NumberOfSections; }

 private:
  const char* base_;
  const IMAGE_NT_HEADERS64* headers_;
};

void AddSlots(const LoadedImage& image, const char* library, DWORD nameTable, DWORD addressTable, bool delayed,
              std::vector<ImportSlot>& slots) {
  const auto* names = image.At<IMAGE_THUNK_DATA64>(nameTable);
  void** addresses = image.SlotAt(addressTable);
  for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
    if (!IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal)) {
      const auto* byName = image.At<IMAGE_IMPORT_BY_NAME>(static_cast<DWORD>(names->u1.AddressOfData));
      slots.push_back({library, reinterpret_cast<const char*>(byName->Name), addresses, delayed});
    }
  }
}

void AddDelayedSlots(const LoadedImage& image, const IMAGE_DELAYLOAD_DESCRIPTOR& entry,
                     std::vector<ImportSlot>& slots) {
  AddSlots(image, image.At<char>(entry.DllNameRVA), entry.ImportNameTableRVA, entry.ImportAddressTableRVA, true, slots);
}

// Whether a text that ends within 64 characters stands at the offset.
bool IsName(const LoadedImage& image, DWORD offset, std::string_view ending) {
  if (offset == 0 || offset >= image.Size() - 64) {
    return false;
  }
  const char* const text = image.At<char>(offset);
  std::size_t length = 0;
  while (length < 64 && std::isgraph(static_cast<unsigned char>(text[length]))) {
    ++length;
  }
  return length > ending.size() && length < 64 && text[length] == '\0' &&
         std::string_view(text, length).substr(length - ending.size()) == ending;
}

bool IsDelayDescriptor(const LoadedImage& image, const IMAGE_DELAYLOAD_DESCRIPTOR& entry) {
  const DWORD lastTable = image.Size() - DWORD{sizeof(IMAGE_THUNK_DATA64)};
  if (entry.Attributes.AllAttributes != 1 || entry.BoundImportAddressTableRVA != 0 ||
      entry.UnloadInformationTableRVA != 0 || entry.TimeDateStamp != 0 || entry.ModuleHandleRVA == 0 ||
      entry.ModuleHandleRVA > lastTable || entry.ImportAddressTableRVA == 0 ||
      entry.ImportAddressTableRVA > lastTable || entry.ImportNameTableRVA == 0 ||
      entry.ImportNameTableRVA > lastTable || !IsName(image, entry.DllNameRVA, ".dll")) {
    return false;
  }
  const ULONGLONG firstName = image.At<IMAGE_THUNK_DATA64>(entry.ImportNameTableRVA)->u1.AddressOfData;
  return firstName < image.Size() &&
         IsName(image, static_cast<DWORD>(firstName + offsetof(IMAGE_IMPORT_BY_NAME, Name)), "");
}

// The descriptors that dlltool makes lie among the program's code, and the linker (binutils 2.40) enters them in no
// directory. They can be told by their shape.
void SearchDelayedSlots(const LoadedImage& image, std::vector<ImportSlot>& slots) {
  constexpr DWORD kDescriptorSize = sizeof(IMAGE_DELAYLOAD_DESCRIPTOR);
  for (unsigned i = 0; i < image.SectionCount(); ++i) {
    const IMAGE_SECTION_HEADER& section = image.Sections()[i];
    if (section.Misc.VirtualSize < kDescriptorSize) {
      continue;
    }
    const DWORD end = section.VirtualAddress + section.Misc.VirtualSize - kDescriptorSize;
    for (DWORD offset = section.VirtualAddress; offset <= end; offset += sizeof(DWORD)) {
      const auto& entry = *image.At<IMAGE_DELAYLOAD_DESCRIPTOR>(offset);
      if (IsDelayDescriptor(image, entry)) {
        AddDelayedSlots(image, entry, slots);
      }
    }
  }
}

// Asked of the linker: GetModuleHandleW is an import as well, and may be redirected already.
HMODULE Program() {
  return reinterpret_cast<HMODULE>(&__ImageBase);
}

}  // namespace

std::vector<ImportSlot> ReadImports(HMODULE program) {
  const LoadedImage image(program);
  std::vector<ImportSlot> slots;
  if (const auto* entry = image.Directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT)) {
    for (; entry->Name != 0; ++entry) {
      AddSlots(image, image.At<char>(entry->Name), entry->OriginalFirstThunk, entry->FirstThunk, false, slots);
    }
  }
  if (const auto* entry = image.Directory<IMAGE_DELAYLOAD_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT)) {
    for (; entry->DllNameRVA != 0; ++entry) {
      AddDelayedSlots(image, *entry, slots);
    }
  } else {
    SearchDelayedSlots(image, slots);
  }
  return slots;
}

const std::vector<ImportSlot>& ProgramImports() {
  static const std::vector<ImportSlot> slots = ReadImports(Program());
  return slots;
}

bool LiesInProgram(const void* address) {
  static const LoadedImage program(Program());
  return program.Contains(address);
}

}  // namespace TestSupport
