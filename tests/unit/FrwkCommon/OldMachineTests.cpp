// The settings area on a machine that has only one registry.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "Common/FrwkCommon/Frwk_CoreAgentRegistry.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/LibraryAnswers.h"
#include "tests/support/TextLines.h"

using Frwk::Storage::CoreAgentRegistry;
using TestSupport::ImportRedirection;

namespace {

void WINAPI AnswerIntel(SYSTEM_INFO* info) {
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_INTEL;
}

TEST_CASE("on a system that is not a 64-bit one no view is asked for") {
  const TestSupport::AnswerProcAddress processor{"GetNativeSystemInfo", &AnswerIntel};
  std::vector<std::string> openings;
  const ImportRedirection open{"RegOpenKeyExW", [&](HKEY root, LPCWSTR path, DWORD, REGSAM access, PHKEY) -> LSTATUS {
                                 openings.push_back((root == HKEY_LOCAL_MACHINE ? "machine " : "elsewhere ") +
                                                    TestSupport::ToUtf8(path) + ' ' + std::to_string(access));
                                 return ERROR_FILE_NOT_FOUND;
                               }};
  CoreAgentRegistry registry(1700);
  CHECK_FALSE(registry.OpenForReading(L"VELA"));
  CHECK_FALSE(registry.OpenForWriting(L"VELA"));
  CHECK(processor.Asked() == 1);
  CHECK_LINES(openings, {"machine Software\\OrvaneLabs\\CoreAgent\\VELA " + std::to_string(0x1),
                         "machine Software\\OrvaneLabs\\CoreAgent\\VELA " + std::to_string(0x10002)});
}

}  // namespace
