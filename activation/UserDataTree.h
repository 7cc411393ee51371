// The folders in which a client's plug-in and monitor keep one user's data.
#pragma once

#include <string>

#include "settings/MailClients.h"

namespace VELAUtility {

// The Outlook Express identity of the user with the security identifier `userSid`: "Last User ID", or "Default User ID"
// where that cannot be read; empty where neither can. Always true.
bool GetCurrentUserID(const std::wstring& userSid, std::wstring& userId);

// Makes or re-opens the user's folders of one client below the common data folder:
// "Orvane Labs", the client's short name, "Users", the user's identity, "log". A level that is missing is made open to
// everyone; one that is there is opened again with everything below it. Where a level cannot be made, because a file or
// a link has its name for instance, the next one goes below the root; the same for an identity that is not a plain
// name. From there on what exists already is used as it is, and not opened. `userId` receives the identity as it is
// stored.
void BuildUserDataTree(MailClient client, const std::wstring& userSid, std::wstring& userId);

}  // namespace VELAUtility
