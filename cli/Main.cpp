// VELAutil <switch> <source folder> <destination folder>
#include "cli/CommandDispatcher.h"

#if defined(__MINGW32__)
// The runtime of mingw-w64 would expand wildcards in the arguments; the program needs them unchanged.
extern "C" {
extern int _dowildcard;  // declared here because no header of the runtime does
int _dowildcard = 0;
}
#endif

int wmain(int count, wchar_t* arguments[]);  // the runtime's entry point for wide arguments

int wmain(int count, wchar_t* arguments[]) {
  EndProperlyAtAbort();
  return RunCommand(count, arguments);
}
