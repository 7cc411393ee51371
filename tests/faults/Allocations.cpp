#include "tests/faults/Allocations.h"

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>

extern "C" {
extern IMAGE_DOS_HEADER __ImageBase;
using AtExit = int(__cdecl*)();
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
AtExit __real__onexit(AtExit function);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
AtExit __wrap__onexit(AtExit function);
}

namespace Faults::Allocations {
namespace {

constexpr USHORT kPlaces = 16;

// No object here has a constructor: the first allocations come before any.
bool g_hasOrder = false;
bool g_lasts = false;
int g_wanted = 0;
int g_aside = 0;
int g_count = 0;
int g_beforeProduct = -1;
int g_refused = 0;
void* g_places[kPlaces] = {};
USHORT g_placeCount = 0;

void ReadOrder() noexcept {
  wchar_t text[64] = {};
  ::GetEnvironmentVariableW(L"VELA_FAULTS_MEMORY", text, 64);
  g_hasOrder = true;
  g_lasts = text[0] == L'l';
  const wchar_t* const number = std::wcschr(text, L' ');
  g_wanted = number != nullptr ? static_cast<int>(std::wcstol(number, nullptr, 10)) : 0;
}

}  // namespace

Aside::Aside() noexcept {
  ++g_aside;
}

Aside::~Aside() {
  --g_aside;
}

bool Fails() noexcept {
  if (g_aside != 0) {
    return false;
  }
  if (!g_hasOrder) {
    ReadOrder();
  }
  ++g_count;
  if (g_wanted == 0 || (g_lasts ? g_count < g_wanted : g_count != g_wanted)) {
    return false;
  }
  if (g_refused == 0) {
    g_refused = g_count;
    g_placeCount = ::RtlCaptureStackBackTrace(1, kPlaces, g_places, nullptr);
  }
  return true;
}

std::string Notes() {
  std::string notes = "allocations " + std::to_string(g_count) + " " + std::to_string(g_beforeProduct);
  if (g_refused != 0) {
    notes += "\nrefused " + std::to_string(g_refused);
    const auto image = reinterpret_cast<std::uintptr_t>(&__ImageBase);
    const auto* const header =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(image + static_cast<DWORD>(__ImageBase.e_lfanew));
    for (USHORT index = 0; index < g_placeCount; ++index) {
      const auto offset = reinterpret_cast<std::uintptr_t>(g_places[index]) - image;
      if (offset < header->OptionalHeader.SizeOfImage) {
        char text[20] = {};
        std::snprintf(text, sizeof text, " %llx", static_cast<unsigned long long>(offset));
        notes += text;
      }
    }
  }
  return notes;
}

void BeginProduct() noexcept {
  if (g_beforeProduct < 0) {
    g_beforeProduct = g_count;
  }
}

}  // namespace Faults::Allocations

using Faults::Allocations::Fails;

void* __wrap_malloc(std::size_t size) {
  return Fails() ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, std::size_t size) {
  return Fails() ? nullptr : __real_realloc(block, size);
}

AtExit __wrap__onexit(AtExit function) {
  return Fails() ? nullptr : __real__onexit(function);
}
