// The machines of the matrix and the runs on them, one chapter each.
#pragma once

#include "tests/matrix/Chapter.h"
#include "tests/scenarios/WindowsSystems.h"

namespace Matrix {

// Every command in the life of the product, with and without running clients: by an administrator.
Chapter Life(const Expected::WindowsSystem& system);

// An Outlook for which one edition of Windows is too old.
Chapter Outlook2002(const Expected::WindowsSystem& system);

// Destinations that the plug-ins cannot handle, in the code page of this program.
Chapter ForeignDestinations(const Expected::WindowsSystem& system);

// An administrator has installed the product and switched it on. Now a user works with it who may not write to any of
// it. Session and shell give this user no information about the console. Other users' hives cannot be read. The user
// has his own run log. This program itself must run without root's rights over files.
Chapter OrdinaryUser(const Expected::WindowsSystem& system);

}  // namespace Matrix
