// "-p", first half: newer files in place of older ones.
#pragma once

namespace VELAWrapper {

// Stages the files of all clients again. Changes neither settings nor registrations, and does not check for running
// clients: a file in use is replaced at the next restart. Always 1; each step's result is logged.
int Upgrade();

}  // namespace VELAWrapper
