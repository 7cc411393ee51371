// Logs that are larger than what 31 or 32 bits can count.
#include <doctest/doctest.h>

#include <cstdio>
#include <istream>
#include <memory>
#include <stdexcept>
#include <string>

#include "logreader/Log.h"
#include "tests/large/Rows.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/LogFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/logreader/RepeatedText.h"
#include "tests/unit/logreader/SmallLogs.h"

using namespace TestSupport;

namespace Large {
namespace {

constexpr long long kMegabyte = 1LL << 20U;
constexpr long long kGigabyte = 1LL << 30U;

struct Reading {
  int lives = 0;
  long long runs = 0;
  long long done = 0;      // runs whose verdict is "done"
  double allocations = 0;  // for each run
  long long heap = 0;      // at most, in bytes
};

Reading Read(const std::string& life, int lives) {
  SmallLogs::RepeatedText bytes(life, lives);
  std::istream log(&bytes);
  Reading reading = {lives};
  const long long before = Allocations();
  const HeapPeak heap;
  LogReader::ReadRuns(log, [&](LogReader::Run&, const LogReader::Verdict& verdict) {
    ++reading.runs;
    reading.done += verdict.outcome == LogReader::Outcome::kDone ? 1 : 0;
  });
  reading.allocations = static_cast<double>(Allocations() - before) / static_cast<double>(reading.runs);
  reading.heap = heap.Bytes();
  return reading;
}

TEST_CASE("a log of two gigabytes is read to its end, with the memory that one of a megabyte needs") {
  std::string life;
  for (const LogReader::Command command : SmallLogs::kCommands) {
    life += SmallLogs::LogOf(SmallLogs::GoodRun(command));
  }
  const auto size = static_cast<long long>(life.size());
  const Reading one = Read(life, 1);
  const Reading small = Read(life, static_cast<int>(kMegabyte / size));
  const Reading large = Read(life, static_cast<int>((IsFullForm() ? 2 * kGigabyte + kMegabyte : 4 * kMegabyte) / size));
  std::string table = "| Log that is read | Runs | Allocations for each run | Heap at most |\n|--:|--:|--:|--:|\n";
  for (const Reading& reading : {small, large}) {
    CHECK(reading.runs == reading.lives * 7LL);
    CHECK(reading.done == reading.lives * one.done);
    table += "| " + Grouped(reading.lives * size) + " | " + Grouped(reading.runs) + " | " +
             Decimal(reading.allocations) + " | " + Grouped(reading.heap) + " |\n";
  }
  CHECK(one.done > 0);
  CHECK(large.allocations <= small.allocations * 1.02);
  CHECK(large.heap <= small.heap + 512);
  Report(table);
}

// What is in the log at both ends before a run.
constexpr long long kEdgeSize = 65536;
const std::string kEdge = std::string(kEdgeSize - 2, '#') + "\r\n";

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File OpenLog(const wchar_t* mode, long long place) {
  File file(::_wfopen(LogFilePath().c_str(), mode), &std::fclose);
  if (file == nullptr || ::_fseeki64(file.get(), place, SEEK_SET) != 0) {
    throw std::runtime_error("cannot open the large log");
  }
  return file;
}

std::string Part(long long place) {
  std::string text = kEdge;
  text.resize(std::fread(text.data(), 1, text.size(), OpenLog(L"rb", place).get()));
  return text;
}

// Between the edges nothing is written: file systems with sparse files need no space for that.
void MakeLog(long long size) {
  WriteTestFile(LogFilePath(), size > 0 ? kEdge : "");
  if (size > 0 && std::fwrite(kEdge.data(), 1, kEdge.size(), OpenLog(L"r+b", size - kEdgeSize).get()) != kEdge.size()) {
    throw std::runtime_error("cannot write the large log");
  }
}

TEST_CASE("a run is appended to a log of more than two or four gigabytes as to an empty one") {
  std::string table = "| Log before `-s` | Appended | Exit code | Both ends of it |\n|--:|--:|--:|---|\n";
  std::string wanted;
  for (const long long before : {0LL, 2 * kGigabyte + 4096, 4 * kGigabyte + 4096}) {
    CAPTURE(before);
    MakeLog(before);
    const ProcessOutcome run = TestProcess(ProductPath(), {L"-s", L".", L"."}).Finish(60000);
    CHECK(run.exitCode == 0);
    std::string text = Part(before);
    CHECK(LogFileSize() == before + static_cast<long long>(text.size()));
    const std::size_t time = text.find('[');
    text.erase(time, text.find(']', time) - time);
    if (before == 0) {
      wanted = text;
      CHECK(text.find("VELA END!!! RetrunCode:0") != std::string::npos);
      continue;
    }
    CHECK(text == wanted);
    const bool unchanged = Part(0) == kEdge && Part(before - kEdgeSize) == kEdge;
    CHECK(unchanged);
    table += "| " + Grouped(before) + " | " + Grouped(LogFileSize() - before) + " | " + std::to_string(run.exitCode) +
             " | " + (unchanged ? "unchanged" : "changed") + " |\n";
  }
  RemoveTree(LogFilePath());
  Report(table);
}

}  // namespace
}  // namespace Large
