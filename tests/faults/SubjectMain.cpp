// The program whose Windows calls and allocations can be made to fail: see SubjectRun.h and Allocations.h.
#include <windows.h>

#include "cli/CommandDispatcher.h"
#include "tests/faults/Allocations.h"
#include "tests/faults/SubjectRun.h"

int wmain(int count, wchar_t* arguments[]);  // the runtime's entry point for wide arguments

int wmain(int count, wchar_t* arguments[]) {
  EndProperlyAtAbort();
  const int result = RunCommand(count, arguments);
  const Faults::Allocations::Aside aside;
  Faults::SubjectRun::Get().Did("returned");
  return result;
}
