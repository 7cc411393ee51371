// "-s", "-e" and "-d": the anti-spam switch of the machine.
#pragma once

// Each returns 0 whatever happens; how it went is in the run log only.

// Logs "VELAEnable" of the product's settings.
int GetStatus();

// Switch filtering on or off for the console user, then record it in "VELAEnable"; a failed switch leaves that value.
int Enable();
int Disable();
