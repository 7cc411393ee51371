// "-I": puts the plug-ins in place for all mail clients.
#pragma once

namespace VELAWrapper {

// 0xE0FF0001 (-520159231 as a signed number): the anti-spam switch could be neither read nor written.
inline constexpr int kSwitchNotStored = static_cast<int>(0xE0FF0001U);

// Stores the base folder, stages the files and registers each client's plug-in. Switches filtering off if the stored
// switch cannot be read, or if it is on while a mail client runs. Best effort: every failure is logged and the next
// step is tried. Returns 0, or kSwitchNotStored, the only failure that ends the command.
int Install();

}  // namespace VELAWrapper
