// The folders in which a client's plug-in and monitor keep one user's data.
#pragma once

#include <string>

#include "settings/MailClients.h"

namespace VELAUtility {

// The Outlook Express identity of the user with the security identifier `userSid`: "Last User ID", or "Default User ID"
// if that cannot be read; empty if neither can. Always true.
bool GetCurrentUserID(const std::wstring& userSid, std::wstring& userId);

// Creates the user's folders of one client below the common data folder: "Orvane Labs", the client's short name,
// "Users", the user's identity, "log". A missing level is created open to everyone; an existing one is opened to
// everyone again, with everything below it. If a level cannot be created, for example because a file or a reparse point
// has its name, the next level is created in the common data folder. So is the level after an identity that is not a
// plain name. From there on existing folders keep their access control lists. `userId` receives the identity as it is
// stored.
void BuildUserDataTree(MailClient client, const std::wstring& userSid, std::wstring& userId);

}  // namespace VELAUtility
