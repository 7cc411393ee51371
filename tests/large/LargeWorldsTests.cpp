// A command meets a world of many items. For each item it asks Windows as often as in a small world, and its memory
// stays as it is.
#include <doctest/doctest.h>

#include <windows.h>

#include <cwchar>
#include <memory>
#include <string>
#include <vector>

#include "cli/CommandDispatcher.h"
#include "tests/faults/RequestCount.h"
#include "tests/large/AnsweredEntries.h"
#include "tests/large/Rows.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/install/InstallWorld.h"

using namespace TestSupport;

namespace Large {
namespace {

constexpr wchar_t kProductData[] = L"C:\\ProgramData\\Orvane Labs";
constexpr wchar_t kAddin[] = L"Software\\Microsoft\\Office\\Outlook\\Addins\\VELA_OLA.OLAgent";

struct Machine {
  Machine() { RemoveTree(kProductData); }
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine() {
    entries.reset();  // only real files can be removed
    RemoveTree(kProductData);
    for (const std::wstring& hive : hives) {
      RemoveKey(UsersKey(hive));
    }
  }

  InstallWorld world;
  std::vector<std::wstring> hives;
  std::unique_ptr<ImportRedirection> profile;
  std::unique_ptr<AnsweredEntries> entries = std::make_unique<AnsweredEntries>();
};

// Real keys, each with the add-in's key.
void AddHives(Machine& machine, unsigned count) {
  MakeKey(MachineKey64(kAddin), {{L"LoadBehavior", 3}});
  for (unsigned number = 0; number < count; ++number) {
    machine.hives.push_back(L"S-1-5-21-7-7-7-" + std::to_wstring(100000 + number));
    MakeKey(UsersKey(machine.hives.back() + L"\\" + kAddin));
  }
}

// Real keys; the one of Outlook comes last. No name contains its number.
void AddOfficeSubkeys(Machine& machine, unsigned count) {
  machine.world.outlook.Name(L"Outlook.Application.14");
  machine.world.outlook.Release(L"z14.0");
  for (unsigned number = 0; number < count; ++number) {
    std::wstring name = std::to_wstring(100000 + number);
    for (wchar_t& digit : name) {
      digit = static_cast<wchar_t>(L'a' + (digit - L'0'));
    }
    machine.world.outlook.office32.MakeSubkey(name);
  }
}

void AddProcesses(Machine& machine, unsigned count) {
  machine.world.StoreSwitch(1);
  machine.world.running.Become(std::vector<std::wstring>(count, L"another program.exe"));
}

void AddSourceFiles(Machine& machine, unsigned count) {
  machine.world.folder.MakeFolder(L"src\\OL\\large");
  machine.entries->count = count;
}

void AddUserData(Machine& machine, unsigned count) {
  MakeFolder(std::wstring(kProductData) + L"\\OL\\Users\\large");
  machine.entries->count = count;
}

// Beside the caller's own.
void AddProfiles(Machine& machine, unsigned count) {
  const auto name = [](HWND, int, HANDLE, DWORD, wchar_t* path) -> HRESULT {
    std::wcscpy(path, L"C:\\VelaTest\\large\\own");
    return S_OK;
  };
  machine.profile = std::make_unique<ImportRedirection>("SHGetFolderPathW", name);
  machine.entries->count = count;
  machine.entries->attributes = FILE_ATTRIBUTE_DIRECTORY;
}

struct LargeWorld {
  const char* name;
  const char* answers;  // who answers for the items
  const wchar_t* command;
  unsigned items;       // the full form; the small world has a hundredth
  const char* witness;  // a function that the command calls for each item,
  unsigned calls;       // this often
  unsigned bytes;       // of the heap that the command may keep for each item
  void (*prepare)(Machine& machine, unsigned count);
};

// The command lists the names of all profiles before it deletes in the first one.
constexpr unsigned kBytesOfName = 128;

constexpr LargeWorld kWorlds[] = {
    {"files to copy", "test", L"-I", 200000, "SetFileTime", 1, 0, AddSourceFiles},
    {"files up to date", "test", L"-p", 200000, "GetFileTime", 2, 0, AddSourceFiles},
    {"user hives", "Windows", L"-I", 2000, "RegSetValueExW", 4, 0, AddHives},
    {"user hives", "Windows", L"-d", 2000, "RegSetValueExW", 4, 0, AddHives},
    {"user hives", "Windows", L"-U", 2000, "RegDeleteKeyW", 1, 0, AddHives},
    {"subkeys of Office", "Windows", L"-I", 10000, "RegEnumKeyW", 2, 0, AddOfficeSubkeys},
    {"processes", "test", L"-I", 10000, "Process32NextW", 6, 0, AddProcesses},
    {"processes", "test", L"-U", 10000, "Process32NextW", 4, 0, AddProcesses},
    {"entries of the users' data", "test", L"-e", 100000, "SetFileSecurityW", 5, 0, AddUserData},
    {"entries of the users' data", "test", L"-U", 100000, "DeleteFileW", 1, 0, AddUserData},
    {"profiles", "test", L"-U", 10000, "CreateFileW", 1, kBytesOfName, AddProfiles},
};

struct Cost {
  long long requests;
  long long witnessed;
  long long bytes;  // of the heap, at most
};

Cost Measure(const LargeWorld& row, unsigned count) {
  Machine machine;
  row.prepare(machine, count);
  std::wstring arguments[] = {L"VELAutil.exe", row.command, machine.world.folder.Path(L"src"),
                              machine.world.folder.Path(L"dest")};
  wchar_t* const pointers[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), arguments[3].data()};
  machine.entries->areCopied = arguments[1] == L"-p";  // all of them are up to date
  int exitCode = 0;
  Cost cost = {};
  {
    const Faults::RequestCount requests;
    const HeapPeak heap;
    exitCode = RunCommand(4, pointers);
    cost = {requests.All(), requests.Of(row.witness), heap.Bytes()};
  }
  CHECK(exitCode == (arguments[1] == L"-p" ? 1 : 0));
  return cost;
}

TEST_CASE("each item of a large world costs what it costs in a small one, and no memory") {
  std::string table =
      "| World | Answered by | Command | Items | Requests for each of 1 % | Requests for each of all | Heap with 1 % | "
      "Heap with all |\n|---|---|---|--:|--:|--:|--:|--:|\n";
  for (const LargeWorld& row : kWorlds) {
    const std::string command = ToUtf8(row.command);
    CAPTURE(std::string(row.name));
    CAPTURE(command);
    const unsigned few = row.items / 100;
    const unsigned many = IsFullForm() ? row.items : row.items / 10;
    Measure(row, 0);  // binds what the product binds only once
    const Cost empty = Measure(row, 0);
    const Cost small = Measure(row, few);
    const Cost large = Measure(row, many);
    const double ofFew = static_cast<double>(small.requests - empty.requests) / few;
    const double ofMany = static_cast<double>(large.requests - empty.requests) / many;
    CHECK(small.witnessed - empty.witnessed == static_cast<long long>(row.calls) * few);
    CHECK(large.witnessed - empty.witnessed == static_cast<long long>(row.calls) * many);
    CHECK(ofMany <= ofFew * 1.02);
    CHECK(large.bytes <= small.bytes + 512 + static_cast<long long>(row.bytes) * (many - few));
    table += std::string("| ") + row.name + " | " + row.answers + " | `" + command + "` | " + Grouped(many) + " | " +
             Decimal(ofFew) + " | " + Decimal(ofMany) + " | " + Grouped(small.bytes) + " | " + Grouped(large.bytes) +
             " |\n";
  }
  Report(table);
}

}  // namespace
}  // namespace Large
