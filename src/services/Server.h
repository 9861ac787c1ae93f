#pragma once

#include <string>

#include "core/Status.h"

namespace ombrel::services {

// The maker's server: the "ServerURL" preference, overridden by $OMBREL_SERVER_URL; a build may
// set a default. Empty when there is none. Always ends with "/" when set.
std::string ServerURL();

// "Offline" (the preference, or $OMBREL_OFFLINE=1): no event and no download leaves the machine.
bool Offline();

// A download location: one with "://" stands as it is; any other is relative to the server,
// and fails with a message when no server is configured.
Status ResolveLocation(const std::string& location, std::string* url);

// The maker's download page ("Download/download_file.aspx?software_id=1"), with an "email" key
// when `withEmail`; empty without a server.
std::string DownloadPageURL(bool withEmail = false);

// Every byte but A-Z a-z 0-9 and -._~!$&'()*+,;=:@/? as %XX (upper case).
std::string PercentEscape(const std::string& text);

// The running version ("0.1.0"), and a version text as a double by its leading number:
// "1.10" is 1.1, so it is below "1.9"; a text that is no number is 0.
std::string ApplicationVersion();
double VersionAsDouble(const std::string& text);

}  // namespace ombrel::services
