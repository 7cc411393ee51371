// From the command line to the exit code.
#pragma once

// The result of a run that ended in the middle of its command: memory ran out (-520159230 as a signed number).
inline constexpr int kBrokenOff = static_cast<int>(0xE0FF0002U);

// To be called first. From here on, abort() writes the closing line and ends the process with kBrokenOff. The runtime
// calls it if there is not even the memory to throw.
void EndProperlyAtAbort();

// Runs the command in `arguments` (program, switch, source folder, destination folder). Logs the arguments, the
// command's banner and the closing line. Returns the exit code of the process: the command's result, or 0 if the switch
// is unknown ("Pn error." is then logged instead of a banner). 0 also if the number of arguments is not four: the log
// then gets only the closing line. kBrokenOff if the command throws. Needs no memory itself, nor does the closing line.
int RunCommand(int count, wchar_t* const arguments[]);
