// The plug-in of Outlook Express (Windows Mail).
#pragma once

#include <string>

namespace VELAUtility {

// Registers the four modules in `clientFolder`. Stops at the first that cannot be registered, and returns false.
// `enable` is not used: the modules load whenever they are registered.
bool RegisterOEPlugin(const std::wstring& clientFolder, bool enable);

// Unregisters all four, then deletes the monitor's start-up value. False if any module's unregistration could not be
// started; the start-up value does not count.
bool UnregisterOEPlugin(const std::wstring& clientFolder);

}  // namespace VELAUtility
