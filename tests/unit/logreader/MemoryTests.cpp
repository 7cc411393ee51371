// A log may be larger than the memory of the machine.
#include <doctest/doctest.h>

#include <algorithm>
#include <istream>
#include <string>

#include "logreader/Log.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/logreader/RepeatedText.h"
#include "tests/unit/logreader/SmallLogs.h"

using namespace LogReader;
using namespace SmallLogs;

namespace {

struct Read {
  long long blocks;       // of the heap, at most, when more of the log was read
  long long blocksOfRun;  // at most, when a run was passed on
  int runs;
};

Read ReadLog(const std::string& text, int times) {
  const long long before = TestSupport::LiveBlocks();
  RepeatedText bytes(text, times);
  std::istream log(&bytes);
  Read read = {};
  ReadRuns(log, [&](Run&, const Verdict&) {
    read.blocksOfRun = std::max(read.blocksOfRun, TestSupport::LiveBlocks() - before);
    ++read.runs;
  });
  read.blocks = bytes.MostBlocks() - before;
  return read;
}

TEST_CASE("a log of thousands of runs needs as much memory as one of hundreds") {
  std::string lives;
  for (const Command command : kCommands) {
    lives += LogOf(GoodRun(command));
  }
  const Read small = ReadLog(lives, 50);
  const Read large = ReadLog(lives, 500);
  CHECK(small.runs == 50 * 7);
  CHECK(large.runs == 500 * 7);
  CHECK(large.blocksOfRun <= small.blocksOfRun);
}

TEST_CASE("a run that never ends needs a limited part of the memory") {
  const std::string run = LogOf({"LOG_INFO : CopyFile ( C:\\a ) to ( C:\\b )  successed !"});
  const std::string other = LogOf({"LOG_ERROR: a text that nobody knows"});
  const Read small = ReadLog(run + other, 3000);
  const Read large = ReadLog(run + other, 20000);
  CHECK(small.runs == 1);
  CHECK(large.runs == 1);
  CHECK(large.blocks <= small.blocks);
}

TEST_CASE("a line that never ends is read in parts") {
  const Read small = ReadLog(std::string(65536, 'x'), 20);
  const Read large = ReadLog(std::string(65536, 'x'), 200);
  CHECK(large.blocks <= small.blocks);
}

}  // namespace
