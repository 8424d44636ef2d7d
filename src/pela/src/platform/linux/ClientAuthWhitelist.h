#pragma once

#include <string>

#include "clients/SiteWhitelist.h"

class ILog;

namespace tessel {

// Sites the user allowed "always": $XDG_CONFIG_HOME/com.norva.Tollbridge/preferences.json,
// one member "AlwaysAllow_" + host name with the value true per site. Safe
// against other host processes writing at the same time.
// The whitelist in the user's preferences file; SiteWhitelist::createDesktopWhitelist
// gives it to the client registry.
class ClientAuthWhitelist {
public:
    static bool isSiteWhitelisted(const std::wstring& site, ILog* log);
    static void whitelistSite(const std::wstring& site, ILog* log);
    static void unWhitelistSite(const std::wstring& site, ILog* log);
    // The preferences file path (for tests and the README).
    static std::string getPreferencesPath();
};

}  // namespace tessel
