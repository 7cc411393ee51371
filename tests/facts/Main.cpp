// facts.exe [--record <file>]
// facts.exe --page <folder of records> <page> [--check]
//
// Checks the facts about this system that the program relies on, and prints a table: the verdict, what is expected,
// what was found, the fact. Exits with 0 if every answer is as expected, or as declared for this Wine, and if nothing
// is left behind. `--record` also writes the answers to a file. `--page` asks nothing: it writes docs/windows-facts.md
// from the table and the records, or compares them.
//
// It changes nothing outside its own folder and registry key and removes both. So it may run on any Windows.
#include <windows.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <map>
#include <string>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"

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

void PrintRow(const std::string& verdict, std::string_view expected, const std::string& found,
              std::string_view sentence) {
  std::printf("%-11s | %-26s | %-36s | %s\n", verdict.c_str(), std::string(expected).c_str(), found.c_str(),
              std::string(sentence).c_str());
}

// The number of answers by verdict, and the answers in record form.
struct Tally {
  std::map<std::string, unsigned> verdicts;
  std::string record;
};

// The reason why the fact cannot be asked here; empty if it can.
std::string Lacks(const System& system, const Fact& fact) {
  for (const Need& need : {fact.need, fact.second}) {
    if (system.build < need.build || (need.met != nullptr && !(system.*need.met))) {
      return "needs " + std::string(need.text);
    }
  }
  return {};
}

void AskOne(const System& system, const Fact& fact, Tally& tally) {
  const bool isDeclared = system.wine == 8 || system.wine == 10;  // these have a column of their own
  const std::string_view declared = !isDeclared ? kAsWindows : system.wine == 8 ? fact.wine8 : fact.Wine10();
  std::string found = Lacks(system, fact);
  std::string verdict = declared == kNotAsked || !isDeclared ? "not asked" : "DROPPED";
  if (found.empty()) {
    found = Answer(fact);
    // A declaration that no longer holds is wrong, also if Wine now answers as Windows does.
    verdict = declared.empty()         ? found == fact.expected ? "as expected" : "DIFFERS"
              : found == declared      ? "as declared"
              : found == fact.expected ? "STALE"
                                       : "DIFFERS";
    tally.record += found + std::string(kSeparator) + std::string(fact.sentence) + "\n";
  }
  ++tally.verdicts[verdict];
  PrintRow(verdict, fact.expected, found, fact.sentence);
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
      std::printf("\n%s\n", std::string(group->subject).c_str());
      PrintRow("", "expected on Windows", "found", "fact");
      for (const Fact& fact : *group) {
        AskOne(system, fact, tally);
      }
    }
    clean = place.Remove();
  }
  std::printf("\n");
  for (const auto& [verdict, count] : tally.verdicts) {
    std::printf("%u %s\n", count, verdict.c_str());
  }
  if (recordFile != nullptr && !(std::ofstream(recordFile, std::ios_base::binary) << tally.record)) {
    std::fprintf(stderr, "facts: cannot write the file of --record\n");
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
    ::SetErrorMode(SEM_FAILCRITICALERRORS);  // after the child's part, because children report what they inherited
    if (argumentCount == 1 || (first == L"--record" && argumentCount == 3)) {
      return AskAll(argumentCount == 3 ? arguments[2] : nullptr);
    }
    const bool compare = argumentCount == 5 && arguments[4] == std::wstring(L"--check");
    if (first == L"--page" && (argumentCount == 4 || compare)) {
      return Facts::MakePage(arguments[2], arguments[3], compare);
    }
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "facts: %s\n", failure.what());
    return 1;
  }
  std::fputs("usage: facts.exe [--record <file>] | --page <folder of records> <page> [--check]\n", stderr);
  return 2;
}
