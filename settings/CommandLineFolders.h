// The two folders of the command line.
#pragma once

// Where the new plug-in files come from (second argument) and the product's install folder (third argument). Set once
// by the dispatcher before any command runs; both point into the process's arguments and are never copied or freed.
// The initial values are only ever seen by code that runs without the dispatcher.
extern const wchar_t* SrcPath;
extern const wchar_t* DestPath;
