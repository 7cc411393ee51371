// From the command line to the exit code.
#pragma once

// Runs the command in `arguments` (program, switch, source folder, destination folder). Logs the arguments, the
// command's banner and the closing line. Returns the exit code of the process: the command's result, or 0 if the switch
// is unknown ("Pn error." is then logged instead of a banner). 0 also if the number of arguments is not four: the log
// then gets only the closing line.
int RunCommand(int count, wchar_t* const arguments[]);
