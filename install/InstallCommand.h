// "-I": puts the plug-ins in place for all mail clients.
#pragma once

namespace VELAWrapper {

// 0xE0FF0001 (-520159231 as the signed number that it is): the anti-spam switch could neither be read nor written.
inline constexpr int kSwitchNotStored = static_cast<int>(0xE0FF0001U);

// Stages the files, records the base folder, settles the anti-spam switch and registers each client's plug-in; best
// effort, every failure is logged and the next step is tried. 0, or kSwitchNotStored, which is the one failure that
// ends the command.
int Install();

}  // namespace VELAWrapper
