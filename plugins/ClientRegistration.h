// Registering the plug-in of any mail client, whoever asks for it.
#pragma once

#include <string>

#include "settings/MailClients.h"

namespace VELAUtility {

// Registers the plug-in of `client` from `clientFolder`. A client that runs cannot be switched on at once: it is told
// of in the log and its plug-in is registered as if `enable` were false. A failure is logged.
void RegisterClient(MailClient client, const std::wstring& clientFolder, bool enable);

}  // namespace VELAUtility
