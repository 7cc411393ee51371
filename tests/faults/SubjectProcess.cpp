#include "tests/faults/SubjectProcess.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "tests/faults/ProductTrees.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"

namespace Faults {
namespace {

constexpr wchar_t kNotesFile[] = L"C:\\VelaFaultsNotes.txt";
constexpr wchar_t kLogFolder[] = L"C:\\windows\\Temp\\QRTX_Debug";
constexpr DWORD kLongestRun = 20000;  // milliseconds; a normal run takes about 30

void ReadNote(const std::string& line, SubjectOutcome& outcome) {
  std::istringstream fields(line);
  std::string kind;
  fields >> kind;
  NotedCall call;
  if (kind == "call") {
    fields >> call.number >> call.change >> call.function >> call.place;
    outcome.list.push_back(call);
  } else if (kind == "failed") {
    unsigned error = 0;
    fields >> call.number >> error >> call.function >> call.place;
    outcome.failed.push_back(call);
  } else if (kind == "started" || kind == "set") {
    outcome.started.push_back(line);
  } else if (kind == "calls") {
    std::string word;
    int made = -1;
    fields >> outcome.calls >> word >> outcome.changes >> word >> made;
    outcome.noted = true;
    outcome.changedNothing = made == 0;
  } else if (kind == "returned") {
    outcome.returned = true;
  } else if (kind == "allocations") {
    fields >> outcome.allocations >> outcome.allocationsAtStart;
  } else if (kind == "refused") {
    fields >> outcome.refused;
    for (std::string place; fields >> place;) {
      outcome.refusedIn.push_back(place);
    }
  } else {
    outcome.remarks.push_back(line);
  }
}

void ReadLog(SubjectOutcome& outcome) {
  outcome.logPossible = TestSupport::Exists(kLogFolder);
  if (TestSupport::Exists(TestSupport::LogFilePath())) {
    outcome.logText = TestSupport::FileContent(TestSupport::LogFilePath());
    outcome.log = TestSupport::Split(outcome.logText);
  }
}

// Reads the start addresses of the subject's functions from the linker map. It has two kinds of lines:
//    .text$_ZN11VELAUtility7InstallEv
//                   0x0000000140001234      0x1ab libvela_install.a(InstallCommand.cpp.obj)
// If the name is short, both are in one line.
std::map<unsigned long long, std::string> ReadMap() {
  std::map<unsigned long long, std::string> names;
  std::ifstream map((TestSupport::BuildFolder() + L"\\tests\\faults.subject.map").c_str());
  std::string section;
  for (std::string line; std::getline(map, line);) {
    std::istringstream fields(line);
    std::string first;
    fields >> first;
    if (first.compare(0, 5, ".text") == 0) {
      section = first.size() > 6 ? first.substr(6) : std::string();
      first.clear();
      fields >> first;
    }
    if (first.compare(0, 4, "0x00") == 0) {
      std::string size;
      std::string file;
      fields >> size >> file;
      if (size.compare(0, 2, "0x") == 0 && !file.empty()) {
        const std::size_t slash = file.find_last_of("/(");
        names[std::strtoull(first.c_str(), nullptr, 16)] =
            section.empty() ? file.substr(slash == std::string::npos ? 0 : slash + 1) : section;
      }
      section.clear();
    }
  }
  if (names.size() < 100) {
    throw std::runtime_error("the linker map faults.subject.map cannot be read");
  }
  return names;
}

std::string Demangled(const std::string& name) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status),
                                                         &std::free);
  if (status != 0 || text == nullptr) {
    return name;
  }
  // Without its parameter list, which is long because of the string types.
  const std::string full = text.get();
  const std::size_t begin = full.find("(anonymous namespace)::");
  const std::size_t from = begin == std::string::npos ? 0 : begin + 23;
  return full.substr(0, full.find('(', from));
}

}  // namespace

SubjectOutcome RunSubject(const std::wstring& commandSwitch, const std::string& order, const std::string& memory) {
  TestSupport::RemoveTree(kLogFolder);
  TestSupport::RemoveTree(kNotesFile);
  ::SetEnvironmentVariableW(L"VELA_FAULTS_ORDER", std::wstring(order.begin(), order.end()).c_str());
  ::SetEnvironmentVariableW(L"VELA_FAULTS_MEMORY", std::wstring(memory.begin(), memory.end()).c_str());
  ::SetEnvironmentVariableW(L"VELA_FAULTS_NOTES", kNotesFile);
  TestSupport::TestProcess process(TestSupport::BuildFolder() + L"\\tests\\faults.subject.exe",
                                   {commandSwitch, kSourceFolder, kDestinationFolder}, L"C:\\");
  const TestSupport::ProcessOutcome ended = process.Finish(kLongestRun);
  SubjectOutcome outcome;
  outcome.exitCode = ended.exitCode;
  outcome.timedOut = ended.timedOut;
  if (TestSupport::Exists(kNotesFile)) {
    std::istringstream notes(TestSupport::FileContent(kNotesFile));
    for (std::string line; std::getline(notes, line);) {
      ReadNote(line, outcome);
    }
  }
  ReadLog(outcome);
  return outcome;
}

std::string PlaceName(const std::string& place) {
  static const std::map<unsigned long long, std::string> names = ReadMap();
  constexpr unsigned long long kImageBase = 0x140000000ULL;
  const unsigned long long address = kImageBase + std::strtoull(place.c_str(), nullptr, 16);
  const auto above = names.upper_bound(address);
  if (above == names.begin()) {
    return place;
  }
  const auto& [start, name] = *std::prev(above);
  char offset[20] = {};
  std::snprintf(offset, sizeof offset, "+0x%llx", address - start);
  return Demangled(name) + offset;
}

}  // namespace Faults
