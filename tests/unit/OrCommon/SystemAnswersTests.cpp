// What a process asks Windows once and keeps: each answer needs a process of its own, the probe.
#include <doctest/doctest.h>

#include <windows.h>

#include <string>

#include "tests/unit/OrCommon/Probe.h"

using OrCommonTests::ProbeAnswers;
using OrCommonTests::RunProbe;

namespace {

struct Answers {
  std::string codes;
  std::string architecture;
  std::string is64Bit;
  std::string isAmd64;
  std::string view;
};

Answers Ask(const wchar_t* version, const wchar_t* processor) {
  const ProbeAnswers probe = RunProbe(std::wstring(L"windows ") + version + L' ' + processor);
  REQUIRE(probe.exitCode == 0);
  const auto& answers = probe.answers;
  CHECK(answers.at("version calls") == "1");
  CHECK(answers.at("record size") == std::to_string(sizeof(OSVERSIONINFOEXW)));
  CHECK(answers.at("error") == "0");
  CHECK(answers.at("later codes") == answers.at("codes"));
  return {answers.at("codes"), answers.at("architecture"), answers.at("64-bit"), answers.at("AMD64"),
          answers.at("view")};
}

TEST_CASE("the version record reaches the tests field by field") {
  CHECK(Ask(L"4.90,1,0,0", L"9").codes == "1 2");
  CHECK(Ask(L"5.0,2,4,1", L"9").codes == "3 101 102");
  CHECK(Ask(L"5.1,2,3,1", L"9").codes == "5 7 101 102 103 104 105");
  CHECK(Ask(L"5.2,2,2,1", L"9").codes == "6 7 101 102 103 104 105");
  CHECK(Ask(L"5.2,2,2,3", L"9").codes == "4 101 102 103 104 105 112");
  CHECK(Ask(L"6.0,2,1,1", L"9").codes == "9 10 101 102 103 104 105 106 107");
  CHECK(Ask(L"6.1,2,1,1", L"9").codes == "12 13 101 102 103 104 105 106 107 108 109 110");
  CHECK(Ask(L"6.2,2,0,1", L"9").codes == "15 16 101 102 103 104 105 106 107 108 109 110 111");
  CHECK(Ask(L"10.0,2,0,1", L"9").codes == "101 102 103 104 105 106 107 108 110 111");
}

TEST_CASE("each version test that asks for the processor, on both kinds") {
  CHECK(Ask(L"6.0,2,0,1", L"0").codes == "8 10 101 102 103 104 105 106");
  CHECK(Ask(L"6.0,2,0,1", L"9").codes == "9 10 101 102 103 104 105 106");
  CHECK(Ask(L"6.1,2,0,1", L"0").codes == "11 13 101 102 103 104 105 106 107 108 109");
  CHECK(Ask(L"6.1,2,0,1", L"9").codes == "12 13 101 102 103 104 105 106 107 108 109");
  CHECK(Ask(L"6.2,2,0,1", L"0").codes == "14 16 101 102 103 104 105 106 107 108 109 110 111");
  CHECK(Ask(L"6.2,2,0,1", L"9").codes == "15 16 101 102 103 104 105 106 107 108 109 110 111");
}

TEST_CASE("processors: any 64-bit one decides the view and the version tests, AMD64 alone decides the files") {
  const auto check = [](const wchar_t* processor, const std::string& is64Bit, const std::string& isAmd64) {
    const Answers answers = Ask(L"6.0,2,0,1", processor);
    CAPTURE(answers.architecture);
    CHECK(std::stoul(answers.architecture) == std::stoul(processor));
    CHECK(answers.is64Bit == is64Bit);
    CHECK(answers.isAmd64 == isAmd64);
    CHECK(answers.view == (is64Bit == "1" ? "2" : "0"));
    CHECK(answers.codes.substr(0, 4) == (is64Bit == "1" ? "9 10" : "8 10"));
  };
  check(L"9", "1", "1");      // AMD64
  check(L"6", "1", "0");      // IA64
  check(L"12", "1", "0");     // ARM64
  check(L"0", "0", "0");      // Intel, 32 bits
  check(L"5", "0", "0");      // ARM, 32 bits
  check(L"65535", "0", "0");  // unknown
}

TEST_CASE("a system that cannot tell its processor is a 32-bit one") {
  for (const wchar_t* const lack : {L"noentry", L"nolibrary"}) {
    const Answers answers = Ask(L"6.0,2,0,1", lack);
    CHECK(answers.architecture == "0");
    CHECK(answers.is64Bit == "0");
    CHECK(answers.isAmd64 == "0");
    CHECK(answers.view == "0");
    CHECK(answers.codes.substr(0, 4) == "8 10");
  }
}

TEST_CASE("the library of the processor query is released as often as it is loaded") {
  const auto loadsAndFrees = [](const wchar_t* processor) {
    const auto answers = RunProbe(std::wstring(L"windows 6.1,2,0,1 ") + processor).answers;
    return answers.at("loads") + " " + answers.at("frees");
  };
  CHECK(loadsAndFrees(L"real") == "1 1");
  CHECK(loadsAndFrees(L"noentry") == "1 1");
  CHECK(loadsAndFrees(L"nolibrary") == "1 0");
}

TEST_CASE("a version that cannot be asked for: every test is false, the error is kept, nobody asks again") {
  const ProbeAnswers probe = RunProbe(L"windows fail:1359 9");
  REQUIRE(probe.exitCode == 0);
  CHECK(probe.answers.at("codes") == "none");
  CHECK(probe.answers.at("error") == "1359");
  CHECK(probe.answers.at("version calls") == "1");
  CHECK(probe.answers.at("later codes") == "none");
  CHECK(probe.answers.at("64-bit") == "1");
}

TEST_CASE("this machine, unanswered") {
  const ProbeAnswers probe = RunProbe(L"windows real real");
  REQUIRE(probe.exitCode == 0);
  CHECK(probe.answers.at("error") == "0");
  CHECK(probe.answers.at("AMD64") == "1");  // this program runs
  OSVERSIONINFOEXW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  REQUIRE(::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)));
  const std::string codes = " " + probe.answers.at("codes") + " ";
  CHECK((codes.find(" 106 ") != std::string::npos) == (version.dwMajorVersion >= 6));
  CHECK((codes.find(" 109 ") != std::string::npos) == (version.dwMajorVersion >= 6 && version.dwMinorVersion >= 1));
  CHECK((codes.find(" 112 ") != std::string::npos) == (version.wProductType == 3));
}

}  // namespace
