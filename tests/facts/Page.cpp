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

What the program assumes about Windows, one fact per row, with the expected answer. The column "Source" has the title of
a page of Microsoft's documentation, or says that no page states the fact. The column "Windows" has the answers of a
real Windows: **%WINDOWS%**. The columns of Wine (8 on Debian 12, 10 on Debian 13) are empty if Wine
answers as expected of Windows. Otherwise they show Wine's answer, or "not asked" if Wine lacks what the fact needs. The
tests cannot show such a fact.

`facts.exe` writes this page from the table in `tests/facts` and the records beside it. The test `facts.page` checks
that the page is current. The test `facts` checks that Wine still gives each declared answer, and that each other fact
can still be checked.

## Checking a Windows

`facts.exe` is one file. It is built with the other tests in `build/<preset>/tests`, and a cross build's runs on
Windows, too. Copy `VELAutil.exe` into its folder and run it twice, in an ordinary prompt and in an elevated one:

```
facts.exe --record windows-11-24h2-ordinary.txt
facts.exe --record windows-11-24h2-elevated.txt
```

It needs no installation and no `VELA_TEST_ON_WINDOWS`. It changes only a folder of its own in the temporary folder
(which must be on NTFS) and a registry key of its own below `HKEY_CURRENT_USER\Software`, and removes both. If a fact
needs more than the process has (elevation, no elevation, a session host), its verdict is "not asked". The exit code is
0 if every answer is as expected and everything was removed, otherwise 1.

To fill in the column "Windows", put the records into `tests/facts/records`, write this page again and commit both:

```
tests/support/run_in_prefix.sh build/release/tests/prefix build/release/tests/facts.exe --page tests/facts/records docs/windows-facts.md
```

On Windows: `facts.exe --page tests\facts\records docs\windows-facts.md`. An answer that is not as expected is a
finding. Correct the program if it relied on the fact, then correct the row.

Two facts are not checked, because undoing the check would need write access to the machine's part of the registry: what
`MOVEFILE_DELAY_UNTIL_REBOOT` does with a missing path, and a moved common data folder (`SHGetSpecialFolderPathW`).
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
  page.replace(
      page.find(kMark), kMark.size(),
      records.empty() ? "none has been checked yet" : "answers of " + std::to_string(records.size()) + " runs");
  for (const Group* const group : kGroups) {
    page += "\n## " + std::string(group->subject) + "\n\n";
    page +=
        "| Fact | Expected on Windows | Source | Needs | Wine 8 | Wine 10 | Windows |\n|---|---|---|---|---|---|---|\n";
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
    std::puts("docs/windows-facts.md differs from what facts.exe --page writes (- expected, + in the file):");
    for (const std::string& line : TestSupport::Split(difference)) {
      if (line.rfind("  ", 0) != 0) {
        std::puts(line.c_str());
      }
    }
  }
  return difference.empty() ? 0 : 1;
}

}  // namespace Facts
