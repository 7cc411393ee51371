// Libraries: which library exports an imported function, and how texts become bytes.
#include <windows.h>

#include <iterator>
#include <set>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"
#include "tests/support/ImportTables.h"
#include "tests/support/TextLines.h"

namespace Facts {
namespace {

std::string Lower(std::string text) {
  for (char& letter : text) {
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return text;
}

template <class T>
const T* At(HMODULE library, DWORD offset) {
  return reinterpret_cast<const T*>(reinterpret_cast<const char*>(library) + offset);
}

// The forward target of a library's function: "NTDLL.RtlAllocateHeap"; empty if the library contains the function.
std::string Forwarder(HMODULE library, const std::string& function) {
  const auto* headers = At<IMAGE_NT_HEADERS64>(library, static_cast<DWORD>(At<IMAGE_DOS_HEADER>(library, 0)->e_lfanew));
  const IMAGE_DATA_DIRECTORY& place = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  const auto* exports = At<IMAGE_EXPORT_DIRECTORY>(library, place.VirtualAddress);
  for (DWORD index = 0; index < exports->NumberOfNames; ++index) {
    if (function == At<char>(library, At<DWORD>(library, exports->AddressOfNames)[index])) {
      const WORD ordinal = At<WORD>(library, exports->AddressOfNameOrdinals)[index];
      const DWORD address = At<DWORD>(library, exports->AddressOfFunctions)[ordinal];
      const bool forwarded = address >= place.VirtualAddress && address < place.VirtualAddress + place.Size;
      return forwarded ? At<char>(library, address) : "";
    }
  }
  return "";
}

// "kernel32" from "KERNEL32.dll" and from "KERNEL32.HeapAlloc".
std::string NameOf(const std::string& text) {
  return Lower(text.substr(0, text.find('.')));
}

// True for a library that is always loaded from the system: a KnownDLL, a library that every process has before any
// search, and an API set, which is a name for a library that the system chooses.
bool IsSystems(const std::set<std::string>& known, const std::string& name) {
  return name == "ntdll" || name == "kernelbase" || name.rfind("api-ms-", 0) == 0 || name.rfind("ext-ms-", 0) == 0 ||
         known.count(name) != 0;
}

// The KnownDLLs, which are always the system's own: "kernel32".
std::set<std::string> KnownLibraries() {
  std::set<std::string> known;
  OrCommon::RegistryKey key;
  ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KnownDLLs", 0, KEY_READ,
                  key.Receive());
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];
    wchar_t value[256] = {};
    DWORD nameLength = 256;
    DWORD size = sizeof value - sizeof(wchar_t);
    if (::RegEnumValueW(key.Get(), index, name, &nameLength, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size) !=
        ERROR_SUCCESS) {
      return known;
    }
    known.insert(NameOf(TestSupport::ToUtf8(value)));
  }
}

std::string CheckImports() {
  const std::set<std::string> known = KnownLibraries();
  if (known.empty()) {
    return "no KnownDLLs";
  }
  const OrCommon::Module program(::LoadLibraryExW(ProgramPath().c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES));
  for (const TestSupport::ImportSlot& import : TestSupport::ReadImports(program.Get())) {
    const std::string forwarder = Forwarder(::LoadLibraryA(import.dll.c_str()), import.function);
    const std::string library = NameOf(forwarder.empty() ? import.dll : forwarder);
    if (!IsSystems(known, NameOf(import.dll)) || !IsSystems(known, library)) {
      return import.function + " of " + library;
    }
  }
  return "all known";
}

template <UINT page>
std::string Convert(const wchar_t* text) {
  char bytes[16] = {};
  ::WideCharToMultiByte(page, 0, text, -1, bytes, sizeof bytes, nullptr, nullptr);
  std::string answer;
  for (const char* byte = bytes; *byte != '\0'; ++byte) {
    answer += (answer.empty() ? "" : " ") + Hex(static_cast<unsigned char>(*byte));
  }
  return answer;
}

constexpr Fact kFacts[] = {
    {"Every function that VELAutil.exe imports comes from a library that is always the system's own.", CheckImports,
     "all known", "Dynamic-link library search order", "no KnownDLLs", kProgram},
    {"advapi32 forwards SystemFunction036 to cryptbase, which is searched in the folder of the program first.",
     [] {
       const std::string forwarder = Forwarder(::LoadLibraryW(L"advapi32.dll"), "SystemFunction036");
       return forwarder.empty() ? "its own" : NameOf(forwarder);
     },
     "cryptbase", "no page says so; the program imports no such function for that reason", "its own", kWindows7},
    {"In code page 932, an accented letter becomes the plain letter.", [] { return Convert<932>(L"\u00E9"); }, "0x65",
     "WideCharToMultiByte function"},
    {"In code page 1252, a Japanese character becomes a question mark.", [] { return Convert<1252>(L"\u65E5"); },
     "0x3F", "WideCharToMultiByte function"},
};
static_assert(AreSound(kFacts));

}  // namespace

const Group kLibraryFacts = {"Libraries and texts", kFacts, std::size(kFacts)};

}  // namespace Facts
