// One file, copied with its times and attributes.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/FileCallTrace.h"

using namespace TestSupport;

namespace {

TEST_CASE("a copy has the contents, the times and the attributes of its source") {
  CopiedFile file("anti-spam rules");
  SetTimes(file.source, TimeOf(77), TimeOf(5));
  ::SetFileAttributesW(file.source.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
  const LogCapture log;
  file.Copy();
  CHECK(file.copied);
  CHECK(SameTime(LastAccessOf(file.destination), TimeOf(77)));  // before anything reads it
  CHECK(SameTime(LastWriteOf(file.destination), TimeOf(5)));
  CHECK(FileContent(file.destination) == "anti-spam rules");
  constexpr DWORD kLookedAt = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY;
  CHECK((::GetFileAttributesW(file.destination.c_str()) & kLookedAt) == kLookedAt);
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("a destination is up to date only if its last-write time equals that of the source") {
  FILETIME unitLater = TimeOf(3);
  ++unitLater.dwLowDateTime;
  struct Row {
    FILETIME destination;
    const char* left;
  };
  for (const Row& row : {Row{TimeOf(3), "old, and longer"}, Row{unitLater, "new"}, Row{TimeOf(4), "new"}}) {
    CopiedFile file("new", 3);
    file.folder.MakeFile(L"destination.txt", "old, and longer");
    SetTimes(file.destination, TimeOf(1000), row.destination);
    file.Copy();
    CHECK(file.copied);
    CHECK(FileContent(file.destination) == row.left);
    CHECK(SameTime(LastWriteOf(file.destination), TimeOf(3)));
  }
}

TEST_CASE("the calls of a copy, and of a second one that finds the file up to date, in order") {
  CopiedFile file("12345");
  file.Copy();
  CHECK_LINES(file.calls,
              {"CreateFileW source.txt for reading -> 1", "GetFileTime 1 created accessed written",
               "GetFileAttributesW source.txt", "CreateFileW destination.txt for reading -> none",
               "CreateFileW destination.txt anew for writing -> 2", "ReadFile 1 16383 bytes -> 5",
               "WriteFile 2 5 bytes", "ReadFile 1 16383 bytes -> 0", "CloseHandle 1", "CloseHandle 2",
               "CreateFileW destination.txt for reading and writing -> 3", "SetFileTime 3 created accessed written",
               "CloseHandle 3", "SetFileAttributesW destination.txt 00000020"});
  file.Copy();
  CHECK_LINES(file.calls, {"CreateFileW source.txt for reading -> 1", "GetFileTime 1 created accessed written",
                           "GetFileAttributesW source.txt", "CreateFileW destination.txt for reading -> 2",
                           "GetFileTime 2 written", "CompareFileTime", "CloseHandle 2", "CloseHandle 1"});
}

TEST_CASE("a copy gets the times that were read from its source") {
  CopiedFile file("x");
  FILETIME set[3] = {};
  {
    const ImportRedirection get("GetFileTime", [](HANDLE, LPFILETIME c, LPFILETIME a, LPFILETIME w) -> BOOL {
      *c = TimeOf(100);
      *a = TimeOf(200);
      *w = TimeOf(300);
      return TRUE;
    });
    const OnCall put("SetFileTime", &::SetFileTime,
                     [&](HANDLE, const FILETIME* c, const FILETIME* a, const FILETIME* w) {
                       set[0] = *c;
                       set[1] = *a;
                       set[2] = *w;
                     });
    file.Copy();
  }
  for (int time = 0; time < 3; ++time) {
    CHECK(SameTime(set[time], TimeOf(100 * (time + 1))));
  }
}

TEST_CASE("files are copied in blocks of 16,383 bytes") {
  struct Row {
    std::size_t size;
    Lines blocks;
  };
  const Row rows[] = {
      {0, {}},
      {16382, {"WriteFile 2 16382 bytes"}},
      {16383, {"WriteFile 2 16383 bytes"}},
      {16384, {"WriteFile 2 16383 bytes", "WriteFile 2 1 bytes"}},
      {40000, {"WriteFile 2 16383 bytes", "WriteFile 2 16383 bytes", "WriteFile 2 7234 bytes"}},
  };
  for (const Row& row : rows) {
    CAPTURE(row.size);
    std::string content(row.size, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
      content[i] = static_cast<char>(i * 31 + i / 251);
    }
    CopiedFile file(content);
    file.Copy();
    CHECK_LINES(LinesWith(file.calls, "WriteFile"), (row.blocks));
    CHECK(FileContent(file.destination) == content);
  }
}

TEST_CASE("if the source or the destination cannot be opened, the copy fails with that error and changes nothing") {
  for (const DWORD wanted : {DWORD{ERROR_FILE_NOT_FOUND}, DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_SHARING_VIOLATION}}) {
    for (const bool sourceFails : {true, false}) {
      CopiedFile file("new", 2);
      file.folder.MakeFile(L"destination.txt", "kept", 1);
      {
        // The source, the destination for its time, and the destination again: access denied has a second try.
        const FailCall open("CreateFileW", sourceFails ? Calls::Only(1) : Calls::From(3), wanted);
        file.Copy();
      }
      CHECK_FALSE(file.copied);
      CHECK(file.error == wanted);
      CHECK(FileContent(file.destination) == "kept");
      CHECK(SameTime(LastWriteOf(file.destination), TimeOf(1)));
    }
  }
}

TEST_CASE("a read error after the first block counts as the end of the file") {
  CopiedFile file(std::string(20000, 'a'), 8);
  {
    const FailCall read("ReadFile", 2, ERROR_CRC);
    file.Copy();
  }
  CHECK(file.copied);
  CHECK(FileContent(file.destination) == std::string(16383, 'a'));
  CHECK(SameTime(LastWriteOf(file.destination), TimeOf(8)));
}

TEST_CASE("a source that cannot be read at all leaves an empty file, which the next run copies again") {
  CopiedFile file("contents", 8);
  {
    const FailCall read("ReadFile", 1, ERROR_CRC);
    file.Copy();
  }
  CHECK(file.copied);
  CHECK_LINES(LinesWith(file.calls, "SetFile"), {});
  CHECK(FileContent(file.destination).empty());
  file.Copy();
  CHECK(FileContent(file.destination) == "contents");
  CHECK(SameTime(LastWriteOf(file.destination), TimeOf(8)));
}

TEST_CASE("a write that fails, or writes less than was read, fails the copy") {
  for (const bool isShort : {true, false}) {
    CAPTURE(isShort);
    CopiedFile file(std::string(20000, 'a'), 8);
    {
      unsigned writes = 0;
      ImportRedirection write(
          "WriteFile", [&](HANDLE to, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED) -> BOOL {
            if (!isShort && ++writes == 2) {
              ::SetLastError(ERROR_DISK_FULL);
              return FALSE;
            }
            return write.Original<decltype(&::WriteFile)>()(to, data, isShort ? size - 1 : size, written, nullptr);
          });
      file.Copy();
    }
    CHECK_FALSE(file.copied);
    CHECK(file.error == ERROR_DISK_FULL);  // a short write has no separate code
    CHECK(file.closed);
    CHECK(FileContent(file.destination) == std::string(isShort ? 16382 : 16383, 'a'));
    // Neither times nor attributes: with equal times, the incomplete file would always count as up to date.
    CHECK_LINES(LinesWith(file.calls, "SetFile"), {});
  }
}

TEST_CASE("times and attributes that cannot be carried over do not fail the copy") {
  for (const auto& [function, call] :
       {std::pair{"CreateFileW", 4U}, std::pair{"SetFileTime", 1U}, std::pair{"SetFileAttributesW", 1U}}) {
    CopiedFile file("contents", 8);
    {
      const FailCall failing(function, call, ERROR_ACCESS_DENIED);
      file.Copy();
      CHECK(failing.Failed() == 1);
    }
    CHECK(file.copied);
    CHECK(FileContent(file.destination) == "contents");
  }
}

TEST_CASE("every handle is closed, whichever call fails") {
  CopiedFile file(std::string(20000, 'a'), 8);
  const std::vector<std::string> functions = {"CreateFileW", "GetFileTime", "GetFileAttributesW", "ReadFile",
                                              "WriteFile",   "SetFileTime", "SetFileAttributesW"};
  unsigned failing = 0;
  for (bool failed = true; failed;) {
    ++failing;
    CAPTURE(failing);
    ::DeleteFileW(file.destination.c_str());
    {
      const FailNthOf fault(functions, Calls::Only(failing), ERROR_GEN_FAILURE);
      file.Copy();
      failed = !fault.Failed().empty();
    }
    CHECK(file.closed);
  }
  CHECK(failing == 14);  // thirteen calls, and one copy after the last call that can fail
}

}  // namespace
