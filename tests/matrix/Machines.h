// The machines of the matrix and what is done on them, a chapter each.
#pragma once

#include "tests/matrix/Chapter.h"
#include "tests/scenarios/WindowsSystems.h"

namespace Matrix {

// Every command in the life of the product, with clients running and without: by an administrator.
Chapter Life(const Expected::WindowsSystem& system);

// An Outlook that one edition of Windows is too old for.
Chapter Outlook2002(const Expected::WindowsSystem& system);

// Destinations that the plug-ins could not handle, as far as the code page of this program tells.
Chapter ForeignDestinations(const Expected::WindowsSystem& system);

// What an administrator has installed and switched on, in the hands of a user who may write to none of it. Session and
// shell tell this user nothing about the console. What another user has in his hive cannot be read. The run log is this
// user's own. This program itself must run without root's rights over files.
Chapter OrdinaryUser(const Expected::WindowsSystem& system);

}  // namespace Matrix
