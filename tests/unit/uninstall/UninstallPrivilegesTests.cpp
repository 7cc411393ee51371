// The uninstall command passes over access lists while it deletes the product's folders, and at no other time.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/support/ImportRedirection.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tests/unit/uninstall/UninstallWorld.h"
#include "uninstall/UninstallCommand.h"

using namespace TestSupport;

namespace {

TEST_CASE("the privileges are asked for after the registrations, and given back when the folders are gone") {
  const UninstallWorld world;
  world.RegisterAll();
  WriteTestFile(UninstallWorld::kCommonBase + std::wstring(L"\\OL\\a.txt"), "data");
  Lines events;
  const auto note = [&](const std::string& event) {
    if (events.empty() || events.back() != event) {
      events.push_back(event);
    }
  };
  {
    const LogCapture log;
    const ImportRedirection adjust{"AdjustTokenPrivileges",
                                   [&](HANDLE token, BOOL none, PTOKEN_PRIVILEGES wanted, DWORD size,
                                       PTOKEN_PRIVILEGES before, PDWORD needed) -> BOOL {
                                     const DWORD enabled = wanted->Privileges[0].Attributes & SE_PRIVILEGE_ENABLED;
                                     note(enabled != 0 ? "enable" : "put back");
                                     return adjust.Original<decltype(&::AdjustTokenPrivileges)>()(token, none, wanted,
                                                                                                  size, before, needed);
                                   }};
    const ImportRedirection key{"RegDeleteKeyW", [&](HKEY parent, LPCWSTR name) -> LSTATUS {
                                  note("delete a key");
                                  return key.Original<decltype(&::RegDeleteKeyW)>()(parent, name);
                                }};
    const ImportRedirection remove{
        "RemoveDirectoryW", [&](LPCWSTR path) -> BOOL {
          note(ToUtf8(path).find("ProgramData") == std::string::npos ? "product folder" : "data of all users");
          return remove.Original<decltype(&::RemoveDirectoryW)>()(path);
        }};
    plugVELA_Uninstall();
  }
  CHECK_LINES(events, {"delete a key", "enable", "product folder", "data of all users", "put back"});
  RemoveTree(UninstallWorld::kCommonBase);
}

}  // namespace
