// From the command line to the exit code.
#pragma once

// Runs the one command that `arguments` name (program, switch, source folder, destination folder) and logs what was
// asked, the command's banner and the closing line. Returns the exit code of the process: the command's own result; 0
// where the number of arguments is not four (the log then gets the closing line only) or the switch is unknown.
int RunCommand(int count, wchar_t* const arguments[]);
