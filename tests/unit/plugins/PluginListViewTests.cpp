// In which view of the registry the plug-in is listed depends on the processor, which the program asks for once: every
// run of this program has one processor, named by the environment.
#include <windows.h>

#include <doctest/doctest.h>

#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "plugins/WindowsLiveMailPlugin.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/unit/plugins/RegistryPlaces.h"

using TestSupport::AnswerProcAddress;
using TestSupport::ImportRedirection;
using VELAUtility::KeyMode;

namespace {

struct Processor {
  const char* name;
  WORD architecture;
  REGSAM view;
};

constexpr Processor kProcessors[] = {
    {"intel", PROCESSOR_ARCHITECTURE_INTEL, 0},
    {"amd64", PROCESSOR_ARCHITECTURE_AMD64, KEY_WOW64_64KEY},
    {"ia64", PROCESSOR_ARCHITECTURE_IA64, KEY_WOW64_64KEY},
    {"arm64", 12, KEY_WOW64_64KEY},
};

const Processor& ThisProcessor() {
  const char* const wanted = std::getenv("VELA_TEST_PROCESSOR");
  for (const Processor& processor : kProcessors) {
    if (wanted != nullptr && std::string_view(wanted) == processor.name) {
      return processor;
    }
  }
  throw std::runtime_error("VELA_TEST_PROCESSOR does not name a processor");
}

void WINAPI AnswerSystemInfo(SYSTEM_INFO* info) {
  *info = {};
  info->wProcessorArchitecture = ThisProcessor().architecture;
}

TEST_SUITE_BEGIN("processors");

TEST_CASE("the plug-in is listed and delisted in the view of the system's own programs") {
  const OwnKey nektra(TestSupport::MachineKey64(L"Software\\Nektra"));
  const AnswerProcAddress processor{"GetNativeSystemInfo", &AnswerSystemInfo};
  REGSAM createRights = 0;
  REGSAM openRights = 0;
  DWORD error = 0;
  {
    ImportRedirection create{"RegCreateKeyExW",
                             [&](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options, REGSAM rights,
                                 LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition) -> LSTATUS {
                               createRights = rights;
                               return create.Original<decltype(&::RegCreateKeyExW)>()(
                                   root, path, reserved, type, options, rights, security, key, disposition);
                             }};
    ImportRedirection open{"RegOpenKeyExW",
                           [&](HKEY root, LPCWSTR path, DWORD options, REGSAM rights, PHKEY key) -> LSTATUS {
                             openRights = rights;
                             return open.Original<decltype(&::RegOpenKeyExW)>()(root, path, options, rights, key);
                           }};
    CHECK(VELAUtility::SetNektraPluginValue(HKEY_LOCAL_MACHINE, L"Software\\Nektra", L"Name", L"Data", KeyMode::kCreate,
                                            error));
    CHECK(VELAUtility::DeleteNektraPluginValue(HKEY_LOCAL_MACHINE, L"Software\\Nektra", L"Name", KeyMode::kOpen));
  }
  CHECK((createRights & (KEY_WOW64_64KEY | KEY_WOW64_32KEY)) == ThisProcessor().view);
  CHECK((openRights & (KEY_WOW64_64KEY | KEY_WOW64_32KEY)) == ThisProcessor().view);
  CHECK((openRights & KEY_SET_VALUE) == KEY_SET_VALUE);
}

TEST_SUITE_END();

}  // namespace
