// The bytes of a log as entries.
#include <doctest/doctest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "logreader/Entries.h"
#include "tests/support/TextLines.h"

using namespace LogReader;
using TestSupport::Lines;

namespace {

std::vector<Entry> Read(std::string_view log, std::size_t partSize) {
  std::vector<Entry> entries;
  EntryReader reader([&](Entry&& entry) { entries.push_back(std::move(entry)); });
  for (std::size_t at = 0; at < log.size(); at += partSize) {
    reader.Feed(log.substr(at, partSize));
  }
  reader.Finish();
  return entries;
}

// "2 LOG_INFO : text|3 breaks"; "+" after the number: it shares its line. '\n' is shown as "/".
Lines Summary(const std::vector<Entry>& entries) {
  Lines summary;
  for (const Entry& entry : entries) {
    std::string text = entry.text;
    std::replace(text.begin(), text.end(), '\n', '/');
    summary.push_back(std::to_string(entry.line) + (entry.beginsLine ? " " : "+ ") +
                      std::string(PrefixOf(entry.level)) + text + "|" + std::to_string(entry.breaks) +
                      (entry.isCut ? " cut" : ""));
  }
  return summary;
}

// The entries are the same for every size of the parts, and have all bytes.
Lines Entries(std::string_view log) {
  const std::vector<Entry> whole = Read(log, std::max<std::size_t>(log.size(), 1));
  long long size = 0;
  for (const Entry& entry : whole) {
    size += entry.size;
  }
  CHECK(size == static_cast<long long>(log.size()));
  for (std::size_t part = 1; part < std::min<std::size_t>(log.size(), 40); ++part) {
    CAPTURE(part);
    const std::vector<Entry> parted = Read(log, part);
    CHECK_LINES(Summary(parted), (Summary(whole)));
  }
  return Summary(whole);
}

TEST_CASE("an empty log has no entry") {
  CHECK_LINES(Entries(""), {});
}

TEST_CASE("a run as the program writes it") {
  CHECK_LINES(
      Entries("\r\nLOG_INFO :  cmd:-e\r\n src:C:\\a b\r\ndest:C:\\c\r\nLOG_INFO : ======== Enable ==========\r\n\r\n"
              "LOG_ERROR: one\r\nLOG_WARN : two \r\nLOG_EVENT :three\r\n"
              "LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:0"),
      {"1 |1", "2 LOG_INFO :  cmd:-e/ src:C:\\a b/dest:C:\\c|1", "5 LOG_INFO : ======== Enable ==========|2",
       "7 LOG_ERROR: one|1", "8 LOG_WARN : two |1", "9 LOG_EVENT :three|1",
       "10 LOG_INFO : [2026/11/21 17:26:24] VELA END!!! RetrunCode:0|0"});
}

TEST_CASE("the next run begins with the line break that the closing line lacks") {
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:0\r\nLOG_INFO :  cmd:-s"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:0|1", "2 LOG_INFO :  cmd:-s|0"});
}

TEST_CASE("an entry of another run on the line of a closing line") {
  CHECK_LINES(
      Entries("LOG_INFO : [t] VELA END!!! RetrunCode:0LOG_INFO : CopyFile(a, b) successed.\r\nLOG_INFO : x"),
      {"1 LOG_INFO : [t] VELA END!!! RetrunCode:0|0", "1+ LOG_INFO : CopyFile(a, b) successed.|1", "2 LOG_INFO : x|0"});
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:0LOG_INFO : [u] VELA END!!! RetrunCode:1"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:0|0", "1+ LOG_INFO : [u] VELA END!!! RetrunCode:1|0"});
}

TEST_CASE("the rest of an overwritten entry behind a closing line") {
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:0est\\a.dll) successed.\r\n"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:0|0", "1+ est\\a.dll) successed.|1"});
  // A whole exit code of the program is not continued by digits. Another number is.
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:02026"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:0|0", "1+ 2026|0"});
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:12"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:1|0", "1+ 2|0"});
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:-5201592317"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:-520159231|0", "1+ 7|0"});
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:-5201592307"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:-520159230|0", "1+ 7|0"});
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:-1073741819-"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:-1073741819|0", "1+ -|0"});
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:x"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:|0", "1+ x|0"});
}

TEST_CASE("only a closing line ends at its number") {
  CHECK_LINES(Entries("LOG_INFO : t] VELA END!!! RetrunCode:0x"), {"1 LOG_INFO : t] VELA END!!! RetrunCode:0x|0"});
  CHECK_LINES(Entries("LOG_ERROR: [t] VELA END!!! RetrunCode:0x"), {"1 LOG_ERROR: [t] VELA END!!! RetrunCode:0x|0"});
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode;0x"), {"1 LOG_INFO : [t] VELA END!!! RetrunCode;0x|0"});
  CHECK_LINES(Entries("LOG_INFO : [t] VELA END!!! RetrunCode:0\r\n1"),
              {"1 LOG_INFO : [t] VELA END!!! RetrunCode:0|1", "2 1|0"});
}

TEST_CASE("a level begins an entry wherever it is") {
  CHECK_LINES(Entries("LOG_INFO : CopyFile(C:\\aLOG_ERROR: x"), {"1 LOG_INFO : CopyFile(C:\\a|0", "1+ LOG_ERROR: x|0"});
  CHECK_LINES(Entries("xLOG_INFO : y"), {"1 x|0", "1+ LOG_INFO : y|0"});
  CHECK_LINES(Entries("LLOG_LOG_INFO : y"), {"1 LLOG_|0", "1+ LOG_INFO : y|0"});
  CHECK_LINES(Entries("LOG_INFO : LOG_WARN : "), {"1 LOG_INFO : |0", "1+ LOG_WARN : |0"});
}

TEST_CASE("what only resembles a level is text") {
  for (const std::string text : {"LOG_INFO: x", "LOG_INFO :x", "LOG_ERROR : x", "log_info : x", "LOG_DEBUG: x", "LOG_",
                                 "LOG_INFO :", "LO\rG_INFO : x"}) {
    CHECK_LINES(Entries(text), {"1 " + text + "|0"});
    CHECK_LINES(Entries("LOG_WARN : " + text), {"1 LOG_WARN : " + text + "|0"});
  }
}

TEST_CASE("a line without a level is a piece of its own") {
  CHECK_LINES(Entries("before\r\nand more\r\nLOG_INFO : a\r\nrest\r\n\r\nrest 2\r\nLOG_INFO : b"),
              {"1 before|1", "2 and more|1", "3 LOG_INFO : a|1", "4 rest|2", "6 rest 2|1", "7 LOG_INFO : b|0"});
}

TEST_CASE("the lines of a header") {
  CHECK_LINES(Entries("LOG_INFO :  cmd:-I\r\n src:\r\ndest:"), {"1 LOG_INFO :  cmd:-I/ src:/dest:|0"});
  // Only in this order, at the beginning of a line, and once each.
  CHECK_LINES(Entries("LOG_INFO :  cmd:-I\r\ndest:a\r\n src:b"),
              {"1 LOG_INFO :  cmd:-I|1", "2 dest:a|1", "3  src:b|0"});
  CHECK_LINES(Entries("LOG_INFO :  cmd:-I src:a\r\n src:b\r\n src:c\r\ndest:d"),
              {"1 LOG_INFO :  cmd:-I src:a/ src:b|1", "3  src:c|1", "4 dest:d|0"});
  CHECK_LINES(Entries("LOG_INFO :  cmd:-I\r\n src:a\r\ndest:b\r\ndest:c"),
              {"1 LOG_INFO :  cmd:-I/ src:a/dest:b|1", "4 dest:c|0"});
  CHECK_LINES(Entries("LOG_INFO :  cmd:-I\r\n sr"), {"1 LOG_INFO :  cmd:-I|1", "2  sr|0"});
  CHECK_LINES(Entries("LOG_INFO :  cmd:-I\r\n\r\n src:a"), {"1 LOG_INFO :  cmd:-I/ src:a|0"});
  // Of a header only.
  CHECK_LINES(Entries("LOG_INFO : x\r\n src:a"), {"1 LOG_INFO : x|1", "2  src:a|0"});
  CHECK_LINES(Entries("LOG_WARN :  cmd:-I\r\n src:a"), {"1 LOG_WARN :  cmd:-I|1", "2  src:a|0"});
  CHECK_LINES(Entries(" src:a\r\ndest:b"), {"1  src:a|1", "2 dest:b|0"});
}

TEST_CASE("line breaks of other systems, and carriage returns in a text") {
  CHECK_LINES(Entries("\nLOG_INFO :  cmd:-s\n src:a\ndest:b\nLOG_INFO : x\n"),
              {"1 |1", "2 LOG_INFO :  cmd:-s/ src:a/dest:b|1", "5 LOG_INFO : x|1"});
  CHECK_LINES(Entries("LOG_INFO : a\rb\r\r\nLOG_INFO : c\r"), {"1 LOG_INFO : a\rb\r|1", "2 LOG_INFO : c\r|0"});
}

TEST_CASE("every byte can occur") {
  std::string all = "LOG_INFO : ";
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
  }
  CHECK(Entries(all).size() == 2);
  CHECK(Entries(std::string(100, '\0')).size() == 1);
  CHECK(Entries(std::string(100, '\n')).size() == 1);
  CHECK(Entries(std::string(100, '\r')).size() == 1);
}

TEST_CASE("of a text that never ends only the beginning is kept") {
  const std::string text(EntryReader::kLongestText, 'x');
  const std::vector<Entry> fits = Read("LOG_INFO : " + text + "\r\n", 1000);
  REQUIRE(fits.size() == 1);
  CHECK(fits[0].text == text);
  CHECK_FALSE(fits[0].isCut);
  const std::vector<Entry> cut = Read("LOG_INFO : " + text + "y:LOG_INFO : z", 1000);
  REQUIRE(cut.size() == 2);
  CHECK(cut[0].text == text);
  CHECK(cut[0].isCut);
  CHECK(cut[0].size == static_cast<long long>(text.size()) + 13);
  CHECK(cut[1].text == "z");
  // A header whose folder is too long is still one entry.
  const std::vector<Entry> header = Read("LOG_INFO :  cmd:-I\r\n src:" + text + "\r\ndest:b\r\nLOG_INFO : x", 1000);
  REQUIRE(header.size() == 2);
  CHECK(header[0].isCut);
  CHECK(header[0].size == static_cast<long long>(text.size()) + 35);
  CHECK(header[1].line == 4);
}

}  // namespace
