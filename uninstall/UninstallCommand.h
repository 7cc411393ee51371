// "-U": uninstalls the product.
#pragma once

// Switches filtering off, unregisters the plug-ins and deletes the product's folders; files in use are deleted at the
// next restart. Never stops a mail client; a running one is logged. See UnregisterClient. The product's settings key
// stays. Always 0: every failure is logged only.
int plugVELA_Uninstall();
