// facts.exe [--record <file>]
// facts.exe --page <folder of records> <page> [--check]
//
// Asks the system at hand what the program takes for granted of it, and prints a table: the verdict, what is expected,
// what was found, the fact. Exits with 0 where every fact that was asked is as expected, or as declared of this Wine,
// and nothing is left behind.
// `--record` writes the answers to a file as well. `--page` asks nothing: it writes docs/windows-facts.md from the
// table and the records, or compares the two.
//
// It changes nothing outside a folder and a registry key of its own and removes both, so it may run on any Windows.
#include <windows.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"
#include "tests/facts/Page.h"
#include "tests/facts/System.h"

int wmain(int argumentCount, wchar_t* arguments[]);  // no header of the toolchain declares it

namespace {

using namespace Facts;

std::string Answer(const Fact& fact) {
  try {
    return fact.ask();
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

// True of the Wines that have a column of their own.
bool IsDeclared(const System& system) {
  return system.wine == 8 || system.wine == 10;
}

std::string_view Declared(const System& system, const Fact& fact) {
  return system.wine == 8 ? fact.wine8 : system.wine == 10 ? fact.wine10 : std::string_view();
}

void PrintRow(const std::string& verdict, const std::string& expected, const std::string& found,
              std::string_view sentence) {
  std::printf("%-11s | %-26s | %-36s | %.*s\n", verdict.c_str(), expected.c_str(), found.c_str(),
              static_cast<int>(sentence.size()), sentence.data());
}

// What was asked so far, by verdict, and the answers as they are recorded.
struct Tally {
  std::map<std::string, unsigned> verdicts;
  std::string record;
};

void AskOne(const System& system, const Fact& fact, Tally& tally) {
  const std::string expected(fact.expected);
  const std::string lack = Lacks(system, fact);
  const std::string_view declared = Declared(system, fact);
  if (!lack.empty()) {
    const std::string verdict = declared == kNotAsked || !IsDeclared(system) ? "not asked" : "DROPPED";
    ++tally.verdicts[verdict];
    PrintRow(verdict, expected, "needs " + lack, fact.sentence);
    return;
  }
  const std::string found = Answer(fact);
  // A declaration that no longer holds is wrong even where Wine has come to answer as Windows does.
  const std::string verdict = declared.empty()    ? found == expected ? "as expected" : "DIFFERS"
                              : found == declared ? "as declared"
                              : found == expected ? "STALE"
                                                  : "DIFFERS";
  ++tally.verdicts[verdict];
  PrintRow(verdict, expected, found, fact.sentence);
  tally.record += RecordLine(found, fact);
}

int AskAll(const wchar_t* recordFile) {
  const System system = System::Ask();
  Tally tally;
  tally.record = system.name + "\n";
  std::printf("%s\n", system.name.c_str());
  bool clean = false;
  {
    Place place;
    for (const Group* const group : kGroups) {
      std::printf("\n%.*s\n", static_cast<int>(group->subject.size()), group->subject.data());
      PrintRow("", "expected on Windows", "found", "fact");
      for (std::size_t index = 0; index < group->count; ++index) {
        AskOne(system, group->facts[index], tally);
      }
    }
    clean = place.Remove();
  }
  std::printf("\n");
  for (const auto& [verdict, count] : tally.verdicts) {
    std::printf("%u %s\n", count, verdict.c_str());
  }
  if (recordFile != nullptr && !(std::ofstream(recordFile, std::ios_base::binary) << tally.record)) {
    std::fprintf(stderr, "facts: cannot write the record\n");
    return 1;
  }
  const bool asked = tally.verdicts["as expected"] != 0;
  const bool wrong = tally.verdicts["DIFFERS"] + tally.verdicts["STALE"] + tally.verdicts["DROPPED"] != 0;
  return asked && clean && !wrong ? 0 : 1;
}

}  // namespace

int wmain(int argumentCount, wchar_t* arguments[]) {
  const std::wstring first = argumentCount > 1 ? arguments[1] : L"";
  try {
    if (first == L"--child" && argumentCount > 2) {
      return static_cast<int>(Facts::DoChildTask(arguments[2], argumentCount > 3 ? arguments[3] : L""));
    }
    ::SetErrorMode(SEM_FAILCRITICALERRORS);  // after the child's part: children tell what they inherited
    if (argumentCount == 1 || (first == L"--record" && argumentCount == 3)) {
      return AskAll(argumentCount == 3 ? arguments[2] : nullptr);
    }
    if (first == L"--page" &&
        (argumentCount == 4 || (argumentCount == 5 && arguments[4] == std::wstring(L"--check")))) {
      return argumentCount == 4 ? Facts::WritePage(arguments[2], arguments[3])
                                : Facts::CheckPage(arguments[2], arguments[3]);
    }
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "facts: %s\n", failure.what());
    return 1;
  }
  std::fputs("usage: facts.exe [--record <file>] | --page <folder of records> <page> [--check]\n", stderr);
  return 2;
}
