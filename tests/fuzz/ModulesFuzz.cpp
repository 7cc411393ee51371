// The command line of regsvr32 (plugins/ComModuleRunner.h): the whole path within quotes, or no process at all; and the
// entry points that are looked up by a name of any length (Common/OrCommon/OrComn_Library.h).
#include "Common/OrCommon/OrComn_Library.h"
#include "plugins/ComModuleRunner.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/host/HostWindows.h"

using Fuzz::Require;
using HostWindows::machine;

namespace {

constexpr std::size_t kCapacity = 260;  // characters

void Check(bool (*run)(const std::wstring&), const std::wstring& command, const std::wstring& path) {
  machine.commandLines.clear();
  ::SetLastError(ERROR_SUCCESS);
  const std::wstring whole = command + path + L"\"";
  const bool result = run(path);
  if (whole.size() > kCapacity) {
    Require(!result && machine.commandLines.empty(), "a command line that does not fit starts nothing");
    Require(::GetLastError() == ERROR_FILENAME_EXCED_RANGE, "and says so");
    return;
  }
  Require(machine.commandLines.size() == 1, "one process is started");
  Require(machine.commandLines[0] == whole.substr(0, kCapacity - 1), "with the path in quotes");
  Require(result == (machine.processStarts != FALSE), "the result is whether it was started");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  HostWindows::Reset();
  machine.processStarts = input.Flag() ? FALSE : TRUE;
  const std::uint32_t padding = input.Number() % 300;
  const std::wstring name = input.Text();
  const std::wstring path = L"C:\\" + std::wstring(padding, L'p') + name;
  Check(&VELAUtility::RegisterComModule, L"regsvr32.exe /s \"", path);
  Check(&VELAUtility::UnregisterComModule, L"regsvr32.exe /u /s \"", path);

  DWORD error = ERROR_SUCCESS;
  const FARPROC found = OrCommon::Library::FindEntryPoint(nullptr, path.c_str(), error);
  Require(found == nullptr && error == ERROR_PROC_NOT_FOUND, "a name that no library has");
  Require(machine.openHandles == 0, "every handle is given back");
  return 0;
}
