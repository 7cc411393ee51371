// Names of processes (Common/OrCommon/OrComn_System.h): what is the name part of a path, which names are equal, and
// which process of a list is found.
#include <algorithm>

#include "Common/OrCommon/OrComn_String.h"
#include "Common/OrCommon/OrComn_System.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/host/HostWindows.h"

using Fuzz::Require;
using HostWindows::machine;
namespace System = OrCommon::System;

namespace {

// The same said with loops.
std::wstring NamePart(const std::wstring& path) {
  std::size_t begin = 0;
  for (std::size_t index = 0; index < path.size(); ++index) {
    if (path[index] == L'\\' || path[index] == L'/' || path[index] == L':') {
      begin = index + 1;
    }
  }
  std::size_t end = path.size();
  for (std::size_t index = begin; index < path.size(); ++index) {
    if (path[index] == L'.') {
      end = index;
    }
  }
  return path.substr(begin, end - begin);
}

std::wstring Lower(std::wstring text) {
  for (wchar_t& character : text) {
    if (character >= L'A' && character <= L'Z') {
      character = static_cast<wchar_t>(character | 0x20);
    }
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  HostWindows::Reset();
  const std::wstring wanted = input.Text();
  DWORD expectedId = 0;
  int expected = 0;
  for (DWORD id = 4; !input.AtEnd(); id += 4) {
    std::wstring name = input.Text();
    machine.processes.emplace_back(id, name);
    name.resize(std::min<std::size_t>(name.size(), MAX_PATH - 1));
    Require(System::GetProcessBaseName(name) == NamePart(name), "the name part of a path");
    const bool equal = Lower(NamePart(name)) == Lower(wanted);
    Require(String::EqualsIgnoringAsciiCase(NamePart(name), wanted) == equal, "equal but for the case of A to Z");
    if (equal && expected == 0) {
      expected = 1;
      expectedId = id;
    }
  }
  DWORD found = ~DWORD{0};
  Require(System::FindProcessByName(wanted, found) == expected && found == expectedId, "the first match is found");
  Require(System::IsProcessRunning(wanted) == (expected == 1), "running where one is found");
  Require(machine.openHandles == 0, "every handle is given back");
  return 0;
}
