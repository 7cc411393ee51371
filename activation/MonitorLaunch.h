// Starting the monitors in the console user's session.
#pragma once

#include <string>

namespace VELAUtility {

// Starts the clients' monitors below `installPath` and "\VELA" with the console user's token, except those of clients
// that IsLeftOut, and does not wait for them. `flag` is not used. False if a monitor could not be started; true even if
// there is no console user. Every start is logged.
bool VELA_LaunchMonProcess(const std::wstring& installPath, int flag);

}  // namespace VELAUtility
