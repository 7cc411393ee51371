// The two folders of the command line.
#pragma once

// The source of the new plug-in files (second argument) and the product's install folder (third argument). The
// dispatcher sets them once before any command runs. Both point into the process's arguments and are never copied or
// freed. Only code that runs without the dispatcher sees the initial values.
extern const wchar_t* SrcPath;
extern const wchar_t* DestPath;
