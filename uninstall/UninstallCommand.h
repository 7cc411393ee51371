// "-U": takes the product off the machine.
#pragma once

// Switches filtering off, unregisters the plug-ins and deletes the product's folders; what is held goes at the next
// restart. Never stops a mail client: the log names a running one. See UnregisterClient.
// The product's settings key stays. Always 0: every failure is logged only.
int plugVELA_Uninstall();
