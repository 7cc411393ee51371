// Registering and removing the plug-in of any mail client, whoever asks for it.
#pragma once

#include <string>

#include "settings/MailClients.h"

namespace VELAUtility {

// `clientFolder` is where the client's files lie. A failure is logged.

// Registers the plug-in of `client`. A client that runs cannot be switched on at once: the log says so, and its plug-in
// is registered as if `enable` were false.
void RegisterClient(MailClient client, const std::wstring& clientFolder, bool enable);

// Takes the plug-in of `client` off. If the client runs the log says so; Outlook Express then keeps its plug-in, and
// Windows Live Mail its modules.
void UnregisterClient(MailClient client, const std::wstring& clientFolder);

}  // namespace VELAUtility
