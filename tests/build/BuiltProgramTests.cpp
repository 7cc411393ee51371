// Checks the shipped programs as files: their target systems, what they need to start, and their hardening.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/build/Windows52Functions.h"
#include "tests/support/ImportTables.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TextLines.h"

namespace {

struct Program {
  std::wstring path;
  std::wstring name;
  std::vector<std::string> libraries;
  DWORD mostBytes;
};
const std::vector<Program>& Programs() {
  static const std::vector<Program> programs = {
      {TestSupport::ProductPath(), L"VELAutil.exe", {"advapi32.dll", "kernel32.dll", "msvcrt.dll"}, 1U << 20U},
      {TestSupport::ReaderPath(), L"VELAlog.exe", {"kernel32.dll", "msvcrt.dll"}, 3U << 19U}};
  return programs;
}

// A program mapped as an image. It is not started, and its libraries are not loaded.
class MappedProgram {
 public:
  explicit MappedProgram(const Program& program)
      : module_(::LoadLibraryExW(program.path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES)) {
    if (module_ == nullptr) {
      throw std::runtime_error("cannot map " + TestSupport::ToUtf8(program.path));
    }
  }
  MappedProgram(const MappedProgram&) = delete;
  MappedProgram& operator=(const MappedProgram&) = delete;
  ~MappedProgram() { ::FreeLibrary(module_); }

  HMODULE Module() const { return module_; }
  const IMAGE_NT_HEADERS64& Headers() const {
    const auto* const base = reinterpret_cast<const char*>(module_);
    const auto* const dosHeader = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    return *reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dosHeader->e_lfanew);
  }
  std::string Resource(const wchar_t* type) const {
    const HRSRC found = ::FindResourceW(module_, MAKEINTRESOURCEW(1), type);
    if (found == nullptr) {
      return {};
    }
    const auto* const data = static_cast<const char*>(::LockResource(::LoadResource(module_, found)));
    return {data, ::SizeofResource(module_, found)};
  }

 private:
  HMODULE module_;
};

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
  return text;
}

std::vector<std::string> Libraries(const Program& shipped) {
  const MappedProgram program(shipped);
  std::set<std::string> libraries;
  for (const auto& import : TestSupport::ReadImports(program.Module())) {
    libraries.insert(LowerCase(import.dll));
  }
  return {libraries.begin(), libraries.end()};
}

#if defined(__MINGW32__)  // Visual C++ makes programs for Windows 7 and later
TEST_CASE("each program is a console program for 64-bit Windows 5.2 and later") {
  for (const Program& shipped : Programs()) {
    CAPTURE(TestSupport::ToUtf8(shipped.name));
    const MappedProgram program(shipped);
    const IMAGE_NT_HEADERS64& headers = program.Headers();
    CHECK(headers.FileHeader.Machine == IMAGE_FILE_MACHINE_AMD64);
    CHECK(headers.OptionalHeader.Magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC);
    CHECK(headers.OptionalHeader.Subsystem == IMAGE_SUBSYSTEM_WINDOWS_CUI);
    const auto oldest =
        std::pair(headers.OptionalHeader.MajorSubsystemVersion, headers.OptionalHeader.MinorSubsystemVersion);
    CHECK(oldest <= std::pair(WORD{5}, WORD{2}));
  }
}
#endif

TEST_CASE("each program's header has the flags for ASLR, DEP and terminal server awareness") {
  for (const Program& shipped : Programs()) {
    CAPTURE(TestSupport::ToUtf8(shipped.name));
    const MappedProgram program(shipped);
    const IMAGE_NT_HEADERS64& headers = program.Headers();
    constexpr WORD kHighEntropy = 0x0020;  // IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA
#if defined(_MSC_VER)
    constexpr WORD kOfTheCompiler = 0x4000;  // IMAGE_DLLCHARACTERISTICS_GUARD_CF
#else
    constexpr WORD kOfTheCompiler = 0;
#endif
    CHECK(headers.OptionalHeader.DllCharacteristics ==
          (kHighEntropy | IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_NX_COMPAT |
           IMAGE_DLLCHARACTERISTICS_TERMINAL_SERVER_AWARE | kOfTheCompiler));
    CHECK((headers.FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED) == 0);
    CHECK(headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size > 0);
  }
}

#if defined(__MINGW32__)
TEST_CASE("the files have no build time and import from a fixed list of libraries") {
  for (const Program& shipped : Programs()) {
    CAPTURE(TestSupport::ToUtf8(shipped.name));
    CHECK(MappedProgram(shipped).Headers().FileHeader.TimeDateStamp == 0);
    CHECK_LINES(Libraries(shipped), (shipped.libraries));
  }
}

TEST_CASE("every imported function exists on Windows 5.2") {
  for (const Program& shipped : Programs()) {
    CAPTURE(TestSupport::ToUtf8(shipped.name));
    const MappedProgram program(shipped);
    std::vector<std::string> unknown;
    for (const auto& import : TestSupport::ReadImports(program.Module())) {
      if (!IsInWindows52(LowerCase(import.dll), import.function)) {
        unknown.push_back(import.dll + " " + import.function);
      }
    }
    CHECK_LINES(unknown, {});
    CHECK_FALSE(IsInWindows52("kernel32.dll", "GetTickCount64"));
    CHECK_FALSE(IsInWindows52("kernel32.dll", "RegCloseKey"));
  }
}
#endif

// True for a function that its library forwards to a library that is not among the KnownDLLs of some Windows since 7:
// cryptbase, cryptsp, pcwum or sspicli. The loader searches those in the program's own folder first, before any guard
// of the process is active. (From the export tables of advapi32.dll.)
bool IsForwardedToPlantable(const std::string& function) {
  for (const char* const beginning : {"CheckSignatureInFile", "Crypt", "LogonUserExEx", "Perf", "SystemFunction"}) {
    if (function.rfind(beginning, 0) == 0) {
      return true;
    }
  }
  return false;
}

TEST_CASE("no imported function comes from a library that somebody could plant in the program's folder") {
  for (const Program& shipped : Programs()) {
    CAPTURE(TestSupport::ToUtf8(shipped.name));
    const MappedProgram program(shipped);
    std::vector<std::string> forwarded;
    for (const auto& import : TestSupport::ReadImports(program.Module())) {
      if (IsForwardedToPlantable(import.function)) {
        forwarded.push_back(import.dll + " " + import.function);
      }
    }
    CHECK_LINES(forwarded, {});
    CHECK(IsForwardedToPlantable("SystemFunction036"));  // the random number generator
    CHECK_FALSE(IsForwardedToPlantable("RegCloseKey"));
  }
}

// tests/faults/Allocations.h makes these fail. TlsAlloc takes an index, no memory.
constexpr std::string_view kKnownAllocations[] = {
    "AllocateAndInitializeSid", "LocalAlloc", "TlsAlloc", "_onexit", "calloc", "malloc", "realloc"};
constexpr std::string_view kPartsOfAllocations[] = {"alloc", "heap", "onexit", "atexit", "dup"};

TEST_CASE("the program allocates only by functions that the memory sweep makes fail") {
  const MappedProgram program(Programs().front());
  std::vector<std::string> unknown;
  std::size_t known = 0;
  for (const auto& import : TestSupport::ReadImports(program.Module())) {
    const std::string name = LowerCase(import.function);
    if (std::any_of(std::begin(kPartsOfAllocations), std::end(kPartsOfAllocations),
                    [&](std::string_view part) { return name.find(part) != std::string::npos; })) {
      const bool isKnown = std::find(std::begin(kKnownAllocations), std::end(kKnownAllocations), import.function) !=
                           std::end(kKnownAllocations);
      known += isKnown ? 1 : 0;
      if (!isKnown) {
        unknown.push_back(import.function);
      }
    }
  }
  CHECK_LINES(unknown, {});
  CHECK(known >= 3);
}

TEST_CASE("the manifests request the rights of the caller and name no newer Windows") {
  for (const Program& shipped : Programs()) {
    CAPTURE(TestSupport::ToUtf8(shipped.name));
    const MappedProgram program(shipped);
    const std::string manifest = program.Resource(RT_MANIFEST);
    CHECK(manifest.find("level=\"asInvoker\"") != std::string::npos);
    // With such a section, GetVersionExW would report the real version on Windows 8.1 and newer.
    CHECK(manifest.find("supportedOS") == std::string::npos);
  }
}

TEST_CASE("each file has a version resource") {
  for (const Program& shipped : Programs()) {
    CAPTURE(TestSupport::ToUtf8(shipped.name));
    const MappedProgram program(shipped);
    const std::string resource = program.Resource(RT_VERSION);
    const std::wstring wide(reinterpret_cast<const wchar_t*>(resource.data()), resource.size() / sizeof(wchar_t));
    CHECK(wide.find(L"VS_VERSION_INFO") != std::wstring::npos);
    CHECK(wide.find(std::wstring(VELA_PROGRAM_VERSION)) != std::wstring::npos);
    CHECK(wide.find(shipped.name) != std::wstring::npos);
  }
}

#if defined(VELA_AS_SHIPPED)
TEST_CASE("the file is not larger than it has to be") {
  for (const Program& shipped : Programs()) {
    CAPTURE(TestSupport::ToUtf8(shipped.name));
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    REQUIRE(::GetFileAttributesExW(shipped.path.c_str(), GetFileExInfoStandard, &data));
    CHECK(data.nFileSizeHigh == 0);
    CHECK(data.nFileSizeLow < shipped.mostBytes);
  }
}
#endif

}  // namespace
