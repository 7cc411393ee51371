#include "settings/CommandLineFolders.h"

const wchar_t* SrcPath = L"C:\\MyVELA\\src\\install";
const wchar_t* DestPath = L"C:\\MyVELA\\dest";
