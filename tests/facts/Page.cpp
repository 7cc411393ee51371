// docs/windows-facts.md.
#include <windows.h>

#include <cstdio>
#include <map>

#include "Common/OrCommon/OrComn_Handles.h"
#include "tests/facts/Facts.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TextLines.h"

namespace Facts {
namespace {

constexpr std::string_view kHead = R"(# Windows facts

What the program takes for granted of Windows, one fact a row, with the answer that is expected and whence it is known: the
title of a page of Microsoft's documentation, or that none says so and the program relies on it. The column "Windows" tells
what a real Windows answered: **%WINDOWS%**. The columns of Wine (8 on Debian 12, 10 on Debian 13) are empty
where it answers as Windows is expected to; elsewhere they tell how Wine differs, or that it lacks what the question needs, and
so what the tests cannot show.

This page is made by `facts.exe` from the table in `tests/facts` and the records beside it; the test `facts.page` holds that
it is current, and the test `facts` that each declared answer of Wine is still given, and each other question still asked.

## Asking a Windows

`facts.exe` is one file, made with the other tests in `build/<preset>/tests`; a cross build's will do. Lay `VELAutil.exe`
beside it and run it twice, in an ordinary prompt and in an elevated one:

```
facts.exe --record windows-11-24h2-ordinary.txt
facts.exe --record windows-11-24h2-elevated.txt
```

It needs neither an installation nor the variable that the other tests ask for: it changes nothing outside a folder of its
own below the temporary folder (which must lie on NTFS) and a registry key of its own below `HKEY_CURRENT_USER\Software`, and
removes both. A question that needs more than it has (elevation, an ordinary process, a session host) is told as "not asked",
never passed over. It ends with 0 if every answer is as expected and nothing is left behind, else with 1.

To fill in the column, put the records into `tests/facts/records`, write this page anew and commit both:

```
tests/support/run_in_prefix.sh build/release/tests/prefix build/release/tests/facts.exe --page tests/facts/records docs/windows-facts.md
```

On Windows: `facts.exe --page tests\facts\records docs\windows-facts.md`. An answer that is not as expected is a finding: mend
the program if it relied on the fact, then the row.

Not asked, because it could not be taken back without writing to the machine's part of the registry: what
`MOVEFILE_DELAY_UNTIL_REBOOT` answers to a missing path; a moved common data folder
(`SHGetSpecialFolderPathW`).
)";

struct Record {
  std::string system;
  std::map<std::string, std::string> answers;  // by sentence
};

// A sentence of a record that is not in the table appears in no row.
Record ReadRecord(const std::wstring& path) {
  Record record;
  for (const std::string& line : TestSupport::Split(TestSupport::FileContent(path))) {
    const std::size_t end = line.find(kSeparator);
    if (record.system.empty()) {
      record.system = line;
    } else if (end != std::string::npos) {
      record.answers[line.substr(end + kSeparator.size())] = line.substr(0, end);
    }
  }
  return record;
}

using Records = std::map<std::wstring, Record>;  // by file name, because a listing has no fixed order

Records ReadRecords(const std::wstring& folder) {
  Records records;
  WIN32_FIND_DATAW found = {};
  const OrCommon::FindHandle search(::FindFirstFileW((folder + L"\\*.txt").c_str(), &found));
  for (BOOL more = search ? TRUE : FALSE; more; more = ::FindNextFileW(search.Get(), &found)) {
    records[found.cFileName] = ReadRecord(folder + L"\\" + found.cFileName);
  }
  return records;
}

// One cell for all systems: "as expected", or each answer with the systems that gave it.
std::string WindowsCell(const Fact& fact, const Records& records) {
  std::map<std::string, std::string> systems;  // by answer
  for (const auto& [file, record] : records) {
    const auto answer = record.answers.find(std::string(fact.sentence));
    if (answer != record.answers.end()) {
      std::string& names = systems[answer->second == fact.expected ? "as expected" : "**" + answer->second + "**"];
      names += (names.empty() ? "" : "; ") + record.system;
    }
  }
  std::string cell;
  for (const auto& [answer, names] : systems) {
    cell += (cell.empty() ? "" : "<br>") + answer + " (" + names + ")";
  }
  return cell.empty() ? "not asked yet" : cell;
}

std::string Row(const Fact& fact, const Records& records) {
  std::string needs(fact.need.text);
  needs += (fact.second.text.empty() ? "" : ", ") + std::string(fact.second.text);
  std::string row = "|";
  for (const std::string& cell :
       {std::string(fact.sentence), std::string(fact.expected), std::string(fact.source), needs,
        std::string(fact.wine8), std::string(fact.Wine10()), WindowsCell(fact, records)}) {
    row += " " + cell + " |";
  }
  return row + "\n";
}

std::string PageText(const std::wstring& folder) {
  const Records records = ReadRecords(folder);
  constexpr std::string_view kMark = "%WINDOWS%";
  std::string page(kHead);
  page.replace(page.find(kMark), kMark.size(),
               records.empty() ? "none has been asked yet" : "answers of " + std::to_string(records.size()) + " runs");
  for (const Group* const group : kGroups) {
    page += "\n## " + std::string(group->subject) + "\n\n";
    page +=
        "| Fact | Expected on Windows | Whence | Needs | Wine 8 | Wine 10 | Windows |\n|---|---|---|---|---|---|---|\n";
    for (const Fact& fact : *group) {
      page += Row(fact, records);
    }
  }
  return page;
}

}  // namespace

int MakePage(const std::wstring& records, const std::wstring& page, bool compare) {
  const std::string text = PageText(records);
  if (!compare) {
    TestSupport::WriteTestFile(page, text);
    return 0;
  }
  const TestSupport::Lines wanted = TestSupport::Split(text);
  const std::string difference = TestSupport::Difference(wanted, TestSupport::Split(TestSupport::FileContent(page)));
  if (!difference.empty()) {
    std::puts("docs/windows-facts.md is not what facts.exe --page writes (- wanted, + there):");
    for (const std::string& line : TestSupport::Split(difference)) {
      if (line.rfind("  ", 0) != 0) {
        std::puts(line.c_str());
      }
    }
  }
  return difference.empty() ? 0 : 1;
}

}  // namespace Facts
