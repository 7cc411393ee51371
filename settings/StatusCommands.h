// "-s", "-e" and "-d": the anti-spam switch of the machine.
#pragma once

// Each always returns 0; only the run log shows the result.

// Logs "VELAEnable" of the product's settings.
int GetStatus();

// Switch filtering on or off for the console user, then store it in "VELAEnable"; a failed switch does not change that
// value.
int Enable();
int Disable();
