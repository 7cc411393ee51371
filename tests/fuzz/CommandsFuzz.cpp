// From the command line to the exit code (cli/CommandDispatcher.h): which command an argument names and what becomes of
// its result, with commands that only tell that they ran; and whether a folder is one that the plug-ins can handle.
#include <vector>

#include "activation/AntiSpamSwitch.h"
#include "cli/CommandDispatcher.h"
#include "install/DataFolder.h"
#include "install/InstallCommand.h"
#include "install/UpgradeCommand.h"
#include "notify/ReloadNotification.h"
#include "settings/CommandLineFolders.h"
#include "settings/StatusCommands.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/host/HostWindows.h"
#include "uninstall/UninstallCommand.h"

using Fuzz::Require;

namespace {

std::string g_ran;
int g_result = 0;

int Ran(char command) {
  g_ran += command;
  return g_result;
}

}  // namespace

namespace VELAWrapper {
int Install() {
  return Ran('I');
}
int Upgrade() {
  return Ran('p');
}
}  // namespace VELAWrapper
int Enable() {
  return Ran('e');
}
int Disable() {
  return Ran('d');
}
int GetStatus() {
  return Ran('s');
}
int plugVELA_Uninstall() {
  return Ran('U');
}
bool VELAUtility::NotifyReloadVELAEngine() {
  return Ran('r') != 0;
}

namespace {

// What has to have run, and the exit code.
std::pair<std::string, int> Expected(const std::vector<std::wstring>& arguments) {
  if (arguments.size() != 4 || arguments[1].size() < 2 || arguments[1][0] != L'-') {
    return {"", 0};
  }
  switch (arguments[1][1]) {
    case L'I':
      return {"I", g_result};
    case L'e':
      return {"e", g_result};
    case L'd':
      return {"d", g_result};
    case L'U':
      return {"U", g_result};
    case L's':
      return {"s", g_result};
    case L'r':
      return {"r", g_result != 0 ? 1 : 0};
    case L'p':
      return {"pr", g_result != 0 ? 1 : 0};
    default:
      return {"", 0};
  }
}

bool IsPlain(const std::wstring& text) {
  for (const wchar_t character : text) {
    if (character > 127) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  HostWindows::Reset();
  g_ran.clear();
  g_result = static_cast<int>(input.Number());
  std::vector<std::wstring> arguments = {L"VELAutil.exe"};
  while (!input.AtEnd() && arguments.size() < 8) {
    arguments.push_back(input.Text());
  }
  std::vector<wchar_t*> pointers;
  for (std::wstring& argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);

  const auto [ran, exitCode] = Expected(arguments);
  Require(RunCommand(static_cast<int>(arguments.size()), pointers.data()) == exitCode, "the exit code");
  Require(g_ran == ran, "the first two characters name the command");
  const std::wstring& log = HostWindows::machine.log;
  constexpr wchar_t kLastLine[] = L"LOG_INFO : [0000/00/00 00:00:00] VELA END!!! RetrunCode:";
  Require(log.rfind(L'\n') + 1 == log.rfind(kLastLine), "the closing line is the last");
  if (arguments.size() == 4) {
    Require(SrcPath == pointers[2] && DestPath == pointers[3], "the folders are those of the command line");
    Require(VELAUtility::HasDoubleByteCharacters() == !IsPlain(arguments[3]), "plain is what has no byte above 127");
  }
  // They point into the arguments, which end here.
  SrcPath = L"";
  DestPath = L"";
  return 0;
}
