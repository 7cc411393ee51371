#include "tests/facts/Page.h"

#include <windows.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <vector>

#include "tests/facts/Asking.h"
#include "tests/facts/System.h"
#include "tests/support/TextLines.h"

namespace Facts {
namespace {

constexpr std::string_view kSeparator = " | ";

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

std::string ReadText(const std::wstring& path) {
  std::ifstream stream(path.c_str(), std::ios_base::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  std::string unified;
  for (const char character : text) {
    if (character != '\r') {
      unified += character;
    }
  }
  return unified;
}

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = text.find('\n', from);
    lines.push_back(text.substr(from, end - from));
    from = end == std::string::npos ? text.size() : end + 1;
  }
  return lines;
}

bool IsAsked(const std::string& sentence) {
  for (const Group* const group : kGroups) {
    for (std::size_t index = 0; index < group->count; ++index) {
      if (group->facts[index].sentence == sentence) {
        return true;
      }
    }
  }
  return false;
}

Record ReadRecord(const std::wstring& path) {
  Record record;
  for (const std::string& line : Split(ReadText(path))) {
    const std::size_t end = line.find(kSeparator);
    if (record.system.empty()) {
      record.system = line;
    } else if (end == std::string::npos || !IsAsked(line.substr(end + kSeparator.size()))) {
      throw std::runtime_error(TestSupport::ToUtf8(path) + ": no such fact: " + line);
    } else {
      record.answers[line.substr(end + kSeparator.size())] = line.substr(0, end);
    }
  }
  return record;
}

std::vector<Record> ReadRecords(const std::wstring& folder) {
  std::map<std::wstring, Record> records;  // by file name: the order of a listing is not said
  WIN32_FIND_DATAW found = {};
  const OrCommon::FindHandle search(::FindFirstFileW((folder + L"\\*.txt").c_str(), &found));
  for (BOOL more = search ? TRUE : FALSE; more; more = ::FindNextFileW(search.Get(), &found)) {
    records[found.cFileName] = ReadRecord(folder + L"\\" + found.cFileName);
  }
  std::vector<Record> ordered;
  for (auto& [name, record] : records) {
    ordered.push_back(std::move(record));
  }
  return ordered;
}

// One cell for all systems: "as expected", or each answer with the systems that gave it.
std::string WindowsCell(const Fact& fact, const std::vector<Record>& records) {
  std::map<std::string, std::string> systems;  // by answer
  for (const Record& record : records) {
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

std::string Needs(const Fact& fact) {
  const std::string build = BuildText(fact.since);
  const std::string need = NeedText(fact.need);
  return build + (build.empty() || need.empty() ? "" : ", ") + need;
}

std::string Row(const Fact& fact, const std::vector<Record>& records) {
  const auto text = [](std::string_view part) { return std::string(part); };
  return "| " + text(fact.sentence) + " | " + text(fact.expected) + " | " + text(fact.source) + " | " + Needs(fact) +
         " | " + text(fact.wine8) + " | " + text(fact.wine10) + " | " + WindowsCell(fact, records) + " |\n";
}

std::string MakePage(const std::wstring& folder) {
  const std::vector<Record> records = ReadRecords(folder);
  constexpr std::string_view kMark = "%WINDOWS%";
  std::string page(kHead);
  page.replace(page.find(kMark), kMark.size(),
               records.empty() ? "none has been asked yet" : "answers of " + std::to_string(records.size()) + " runs");
  for (const Group* const group : kGroups) {
    page += "\n## " + std::string(group->subject) + "\n\n";
    page +=
        "| Fact | Expected on Windows | Whence | Needs | Wine 8 | Wine 10 | Windows |\n|---|---|---|---|---|---|---|\n";
    for (std::size_t index = 0; index < group->count; ++index) {
      page += Row(group->facts[index], records);
    }
  }
  return page;
}

}  // namespace

std::string RecordLine(const std::string& found, const Fact& fact) {
  return found + std::string(kSeparator) + std::string(fact.sentence) + "\n";
}

int WritePage(const std::wstring& records, const std::wstring& page) {
  if (!(std::ofstream(page.c_str(), std::ios_base::binary) << MakePage(records))) {
    std::fputs("facts: cannot write the page\n", stderr);
    return 1;
  }
  return 0;
}

int CheckPage(const std::wstring& records, const std::wstring& page) {
  const std::string difference = TestSupport::Difference(Split(MakePage(records)), Split(ReadText(page)));
  if (!difference.empty()) {
    std::puts("docs/windows-facts.md is not what facts.exe --page writes (- wanted, + there):");
    for (const std::string& line : Split(difference)) {
      if (line.rfind("  ", 0) != 0) {
        std::puts(line.c_str());
      }
    }
  }
  return difference.empty() ? 0 : 1;
}

}  // namespace Facts
