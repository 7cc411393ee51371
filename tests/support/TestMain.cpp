// The entry point of every test program.
//
// In addition to doctest's own rules, a program fails here in two cases: it ran no test case at all (a filter that
// matches nothing), or a test case ended without any check.
#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>

#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/TextLines.h"

namespace {

constexpr int kNotHere = 77;
constexpr int kNothingTested = 78;

// Tests write to the machine's registry and Windows folder, set Windows versions and end processes. This is allowed
// only on a disposable machine: a Wine prefix, or a Windows that was declared as one.
bool MayRunHere() {
  const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
  if (ntdll != nullptr && ::GetProcAddress(ntdll, "wine_get_version") != nullptr) {
    return true;
  }
  wchar_t answer[4] = {};
  return ::GetEnvironmentVariableW(L"VELA_TEST_ON_WINDOWS", answer, 4) == 1 && answer[0] == L'1';
}

unsigned testCasesRun = 0;
unsigned testCasesWithoutChecks = 0;

struct EmptyTestWatch : doctest::IReporter {
  explicit EmptyTestWatch(const doctest::ContextOptions& options) : options_(options) {}

  void report_query(const doctest::QueryData&) override {}
  void test_run_start() override {}
  void test_run_end(const doctest::TestRunStats&) override {}
  void test_case_start(const doctest::TestCaseData& testCase) override { name_ = testCase.m_name; }
  void test_case_reenter(const doctest::TestCaseData&) override {}
  void test_case_end(const doctest::CurrentTestCaseStats& stats) override {
    ++testCasesRun;
    if (stats.numAssertsCurrentTest == 0) {
      ++testCasesWithoutChecks;
      *options_.cout << "test case \"" << name_ << "\" has no checks\n";
    }
  }
  void test_case_exception(const doctest::TestCaseException&) override {}
  void subcase_start(const doctest::SubcaseSignature&) override {}
  void subcase_end() override {}
  void log_assert(const doctest::AssertData&) override {}
  void log_message(const doctest::MessageData&) override {}
  void test_case_skipped(const doctest::TestCaseData&) override {}

 private:
  const doctest::ContextOptions& options_;
  const char* name_ = "";
};

REGISTER_LISTENER("empty test watch", 1, EmptyTestWatch);

}  // namespace

int wmain(int argumentCount, wchar_t* arguments[]);  // no header of the toolchain declares it

int wmain(int argumentCount, wchar_t* arguments[]) {
  if (!MayRunHere()) {
    std::fputs(
        "This program changes the registry, files and processes of the machine it runs on. It runs under Wine. To run\n"
        "it on a Windows machine that you can throw away afterwards, set VELA_TEST_ON_WINDOWS=1.\n",
        stderr);
    return kNotHere;
  }
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);

  std::vector<std::string> texts;
  for (int i = 0; i < argumentCount; ++i) {
    texts.push_back(TestSupport::ToUtf8(arguments[i]));
  }
  std::vector<const char*> pointers;
  for (const std::string& text : texts) {
    pointers.push_back(text.c_str());
  }

  doctest::Context context;
  context.setOption("no-version", true);
  context.setOption("no-path-filenames", false);
  context.setOption("duration", false);
  context.applyCommandLine(argumentCount, pointers.data());
  const int result = context.run();
  if (context.shouldExit()) {  // a query such as --list-test-cases
    return result;
  }
  if (testCasesRun == 0) {
    std::puts("no test case ran");
  }
  std::fflush(stdout);
  return result != 0 ? result : testCasesRun == 0 || testCasesWithoutChecks != 0 ? kNothingTested : 0;
}
