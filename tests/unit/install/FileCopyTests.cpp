// One file, copied with its times and attributes.
#include "install/FileCopy.h"

#include <doctest/doctest.h>

#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/install/FileCallTrace.h"
#include "tests/support/ScratchFolder.h"

using namespace TestSupport;
using VELAUtility::CopyFileKeepingTimes;

namespace {

struct Copy {
  ScratchFolder folder{L"FileCopy"};
  std::wstring destination = folder.Path(L"destination.txt");

  std::wstring MakeSource(const std::string& content, int seconds = 0) const {
    return folder.MakeFile(L"source.txt", content, seconds);
  }
};

TEST_CASE("a copy has the contents, the times and the attributes of its source") {
  const Copy copy;
  const std::wstring source = copy.MakeSource("anti-spam rules");
  SetTimes(source, TimeOf(77), TimeOf(5));
  ::SetFileAttributesW(source.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
  const LogCapture log;

  CHECK(CopyFileKeepingTimes(source, copy.destination));

  CHECK(SameTime(LastAccessOf(copy.destination), TimeOf(77)));  // before anything reads it
  CHECK(SameTime(LastWriteOf(copy.destination), TimeOf(5)));
  CHECK(FileContent(copy.destination) == "anti-spam rules");
  constexpr DWORD kLookedAt = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY;
  CHECK((::GetFileAttributesW(copy.destination.c_str()) & kLookedAt) == kLookedAt);
  CHECK_LINES(log.Lines(), {});
}

TEST_CASE("equal last-write times alone make a destination up to date") {
  const Copy copy;
  const std::wstring source = copy.MakeSource("new", 3);
  copy.folder.MakeFile(L"destination.txt", "old, and longer", 3);
  SetTimes(copy.destination, TimeOf(1000), TimeOf(3));
  CHECK(CopyFileKeepingTimes(source, copy.destination));
  CHECK(FileContent(copy.destination) == "old, and longer");

  SUBCASE("one unit of 100 ns apart is not equal") {
    FILETIME later = TimeOf(3);
    ++later.dwLowDateTime;
    SetTimes(copy.destination, later, later);
    CHECK(CopyFileKeepingTimes(source, copy.destination));
    CHECK(FileContent(copy.destination) == "new");
  }
  SUBCASE("an older source replaces a newer destination") {
    SetTimes(copy.destination, TimeOf(4), TimeOf(4));
    CHECK(CopyFileKeepingTimes(source, copy.destination));
    CHECK(FileContent(copy.destination) == "new");
    CHECK(SameTime(LastWriteOf(copy.destination), TimeOf(3)));
  }
}

TEST_CASE("the calls of a copy, one after the other") {
  const Copy copy;
  const std::wstring source = copy.MakeSource("12345");
  Lines calls;
  bool closed = false;
  {
    const FileCallTrace trace;
    CopyFileKeepingTimes(source, copy.destination);
    calls = trace.Calls();
    closed = trace.AllClosed();
  }
  CHECK_LINES(
      calls, {"CreateFileW source.txt for reading -> 1", "GetFileTime 1 created accessed written",
              "GetFileAttributesW source.txt", "CreateFileW destination.txt for reading -> none",
              "CreateFileW destination.txt anew for writing -> 2", "ReadFile 1 16383 bytes -> 5", "WriteFile 2 5 bytes",
              "ReadFile 1 16383 bytes -> 0", "CloseHandle 1", "CloseHandle 2",
              "CreateFileW destination.txt for reading and writing -> 3", "SetFileTime 3 created accessed written",
              "CloseHandle 3", "SetFileAttributesW destination.txt 00000020"});
  CHECK(closed);

  SUBCASE("and of one that is up to date") {
    {
      const FileCallTrace trace;
      CopyFileKeepingTimes(source, copy.destination);
      calls = trace.Calls();
      closed = trace.AllClosed();
    }
    CHECK_LINES(calls, {"CreateFileW source.txt for reading -> 1", "GetFileTime 1 created accessed written",
                        "GetFileAttributesW source.txt", "CreateFileW destination.txt for reading -> 2",
                        "GetFileTime 2 written", "CompareFileTime", "CloseHandle 2", "CloseHandle 1"});
    CHECK(closed);
  }
}

TEST_CASE("the times that are set are those that were read") {
  const Copy copy;
  const std::wstring source = copy.MakeSource("x");
  const FILETIME created = TimeOf(100);
  const FILETIME accessed = TimeOf(200);
  const FILETIME written = TimeOf(300);
  FILETIME set[3] = {};
  {
    const ImportRedirection get("GetFileTime", [&](HANDLE, LPFILETIME c, LPFILETIME a, LPFILETIME w) -> BOOL {
      *c = created;
      *a = accessed;
      *w = written;
      return TRUE;
    });
    const ImportRedirection put("SetFileTime",
                                [&](HANDLE, const FILETIME* c, const FILETIME* a, const FILETIME* w) -> BOOL {
                                  set[0] = *c;
                                  set[1] = *a;
                                  set[2] = *w;
                                  return TRUE;
                                });
    CopyFileKeepingTimes(source, copy.destination);
  }
  CHECK(SameTime(set[0], created));
  CHECK(SameTime(set[1], accessed));
  CHECK(SameTime(set[2], written));
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
    const Copy copy;
    std::string content(row.size, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
      content[i] = static_cast<char>(i * 31 + i / 251);
    }
    const std::wstring source = copy.MakeSource(content);
    Lines calls;
    {
      const FileCallTrace trace;
      CopyFileKeepingTimes(source, copy.destination);
      calls = trace.Calls();
    }
    CHECK_LINES(LinesWith(calls, "WriteFile"), (row.blocks));
    CHECK(FileContent(copy.destination) == content);
  }
}

TEST_CASE("a source or a destination that cannot be opened fails the copy with the error, and nothing is touched") {
  for (const DWORD wanted : {DWORD{ERROR_FILE_NOT_FOUND}, DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_SHARING_VIOLATION}}) {
    for (const bool sourceFails : {true, false}) {
      const Copy copy;
      const std::wstring source = copy.MakeSource("new", 2);
      copy.folder.MakeFile(L"destination.txt", "kept", 1);
      DWORD error = ERROR_SUCCESS;
      {
        // The source, the destination for its time, and the destination anew, where access denied has a second try.
        const FailCall open("CreateFileW", sourceFails ? Calls::Only(1) : Calls::From(3), wanted);
        CHECK_FALSE(CopyFileKeepingTimes(source, copy.destination, &error));
      }
      CHECK(error == wanted);
      CHECK(FileContent(copy.destination) == "kept");
      CHECK(SameTime(LastWriteOf(copy.destination), TimeOf(1)));
    }
  }
}

TEST_CASE("a read error behind the first block counts as the end of the file") {
  const Copy copy;
  const std::wstring source = copy.MakeSource(std::string(20000, 'a'), 8);
  bool copied = false;
  {
    const FailCall read("ReadFile", 2, ERROR_CRC);
    copied = CopyFileKeepingTimes(source, copy.destination);
  }
  CHECK(copied);
  CHECK(FileContent(copy.destination) == std::string(16383, 'a'));
  CHECK(SameTime(LastWriteOf(copy.destination), TimeOf(8)));
}

TEST_CASE("a source that cannot be read at all leaves an empty file, which the next run copies again") {
  const Copy copy;
  const std::wstring source = copy.MakeSource("contents", 8);
  ::SetFileAttributesW(source.c_str(), FILE_ATTRIBUTE_READONLY);
  bool copied = false;
  Lines calls;
  {
    const FailCall read("ReadFile", 1, ERROR_CRC);
    const FileCallTrace trace;
    copied = CopyFileKeepingTimes(source, copy.destination);
    calls = trace.Calls();
  }
  CHECK(copied);
  CHECK_LINES(LinesWith(calls, "SetFile"), {});
  CHECK(FileContent(copy.destination).empty());
  CHECK_FALSE(SameTime(LastWriteOf(copy.destination), TimeOf(8)));
  CHECK(CopyFileKeepingTimes(source, copy.destination));
  CHECK(FileContent(copy.destination) == "contents");
  CHECK(SameTime(LastWriteOf(copy.destination), TimeOf(8)));
}

TEST_CASE("a write that fails, or writes less than was read, fails the copy") {
  const Copy copy;
  const std::wstring source = copy.MakeSource(std::string(20000, 'a'), 8);
  bool copied = true;
  Lines calls;
  bool closed = false;
  SUBCASE("a full disk") {
    const FailCall write("WriteFile", 2, ERROR_DISK_FULL);
    {
      const FileCallTrace trace;
      DWORD error = ERROR_SUCCESS;
      copied = CopyFileKeepingTimes(source, copy.destination, &error);
      CHECK(error == ERROR_DISK_FULL);
      calls = trace.Calls();
      closed = trace.AllClosed();
    }
    CHECK(FileContent(copy.destination) == std::string(16383, 'a'));
  }
  SUBCASE("one byte short") {
    ImportRedirection write(
        "WriteFile", [&](HANDLE file, LPCVOID buffer, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) -> BOOL {
          return write.Original<decltype(&::WriteFile)>()(file, buffer, size - 1, written, overlapped);
        });
    {
      const FileCallTrace trace;
      ::SetLastError(ERROR_SUCCESS);
      DWORD error = ERROR_SUCCESS;
      copied = CopyFileKeepingTimes(source, copy.destination, &error);
      CHECK(error == ERROR_DISK_FULL);  // what the log will tell; the write itself has succeeded
      calls = trace.Calls();
      closed = trace.AllClosed();
    }
    CHECK(FileContent(copy.destination) == std::string(16382, 'a'));
  }
  CHECK_FALSE(copied);
  CHECK(closed);
  // Neither times nor attributes: equal times would make the torn file count as up to date ever after.
  CHECK_LINES(LinesWith(calls, "SetFile"), {});
  CHECK_FALSE(SameTime(LastWriteOf(copy.destination), TimeOf(8)));
}

TEST_CASE("times and attributes that cannot be carried over do not fail the copy") {
  for (const auto& [function, call] :
       {std::pair{"CreateFileW", 4U}, std::pair{"SetFileTime", 1U}, std::pair{"SetFileAttributesW", 1U}}) {
    const char* const name = function;
    CAPTURE(name);
    const Copy copy;
    const std::wstring source = copy.MakeSource("contents", 8);
    {
      const FailCall failing(function, call, ERROR_ACCESS_DENIED);
      CHECK(CopyFileKeepingTimes(source, copy.destination));
      CHECK(failing.Failed() == 1);
    }
    CHECK(FileContent(copy.destination) == "contents");
  }
}

TEST_CASE("every handle is given back, whichever call fails") {
  const Copy copy;
  const std::wstring source = copy.MakeSource(std::string(20000, 'a'), 8);
  const std::vector<std::string> functions = {"CreateFileW", "GetFileTime", "GetFileAttributesW", "ReadFile",
                                              "WriteFile",   "SetFileTime", "SetFileAttributesW"};
  unsigned failing = 0;
  bool failed = true;
  while (failed) {
    ++failing;
    ::DeleteFileW(copy.destination.c_str());
    bool closed = false;
    {
      const FailNthOf fault(functions, Calls::Only(failing), ERROR_GEN_FAILURE);
      const FileCallTrace trace;
      CopyFileKeepingTimes(source, copy.destination);
      closed = trace.AllClosed();
      failed = !fault.Failed().empty();
    }
    CAPTURE(failing);
    CHECK(closed);
  }
  CHECK(failing == 14);  // thirteen calls, and one copy in which none was left to fail
}

}  // namespace
