// Registering and unregistering the plug-in of any mail client.
#pragma once

#include <string>

#include "settings/MailClients.h"

namespace VELAUtility {

// `clientFolder`: the folder of the client's files. A failure is logged.

// Registers the plug-in of `client`. A running client cannot be switched on at once: this is logged, and its plug-in is
// registered as if `enable` were false.
void RegisterClient(MailClient client, const std::wstring& clientFolder, bool enable);

// Unregisters the plug-in of `client`. If the client runs, this is logged; depending on the client, its
// plug-in or the plug-in's modules then stay registered.
void UnregisterClient(MailClient client, const std::wstring& clientFolder);

}  // namespace VELAUtility
