#pragma once

#include <string>

class ILog;

namespace tessel {

// Sites the user allowed "always": $XDG_CONFIG_HOME/com.norva.Tollbridge/preferences.json,
// one member "AlwaysAllow_" + host name with the value true per site. Safe
// against other host processes writing at the same time.
class ClientAuthWhitelist {
public:
    static bool isSiteWhitelisted(const std::wstring& site, ILog* log);
    static void whitelistSite(const std::wstring& site, ILog* log);
    static void unWhitelistSite(const std::wstring& site, ILog* log);
    // The preferences file path (for tests and the README).
    static std::string getPreferencesPath();
};

}  // namespace tessel
