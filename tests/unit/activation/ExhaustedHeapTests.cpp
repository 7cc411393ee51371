// A path that the heap cannot hold: the monitor that it would name is told of as one that cannot be started, and the
// run goes on.
#include <doctest/doctest.h>

#include "activation/ClientActivation.h"
#include "activation/MonitorLaunch.h"
#include "tests/support/LogCapture.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/activation/MonitorStarts.h"
#include "tests/unit/activation/SwitchedMachine.h"

using namespace TestSupport;
using OrCommonTests::HeapLimit;

namespace {

constexpr std::size_t kSmallestBuffer = 256;  // bytes; a formatted text begins with more

TEST_CASE("a start-up command that the heap cannot hold is told and not written") {
  const SwitchedMachine machine;
  Lines lines;
  bool result = false;
  unsigned refused = 0;
  const RegistrySnapshot before = machine.Registry();
  {
    const LogCapture log;
    {
      const HeapLimit limit(HeapLimit::kAnySize, kSmallestBuffer);
      result = VELAUtility::VELA_ActivateWLM(L"C:\\Program Files\\VELA", 7, SwitchedMachine::kUser);
      refused = limit.Refused();
    }
    lines = log.Lines();
  }
  CHECK(refused == 1);
  CHECK(result);
  CHECK_LINES(lines, {"LOG_ERROR: Failed to WriteRegStringValue of Run Key for WLMMon !!"});
  CHECK_LINES(RegistrySnapshot::Changes(before, machine.Registry()), {});
}

TEST_CASE("a monitor whose path the heap cannot hold is told with the error and not started") {
  ConsoleSession session;
  const MonitorStarts starts(session);
  Lines lines;
  bool result = true;
  {
    const LogCapture log;
    {
      const HeapLimit limit(HeapLimit::kAnySize, kSmallestBuffer);
      result = VELAUtility::VELA_LaunchMonProcess(L"C:\\X", 0);
    }
    lines = log.Lines();
  }
  CHECK_FALSE(result);
  CHECK_LINES(lines, {"LOG_ERROR: Failed to call CreateProcessAsUser() to launch VELA_WLMMon.exe 8 "});
  CHECK_LINES(starts.Starts(), {});
  CHECK_LINES(session.NotGivenBack(), {});
  CHECK_FALSE(ConsoleSession::ThreadActsAsUser());
}

}  // namespace
