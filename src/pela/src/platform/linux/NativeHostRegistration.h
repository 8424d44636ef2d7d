#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace tessel {

// Where each Chromium-family browser looks for native messaging hosts on
// Linux, and the host's manifest written there.
struct BrowserFolders {
    std::string id;         // as given to --browser: "chromium", "chrome", ...
    std::string label;      // for sentences: "Chromium"
    std::string configDir;  // the browser's per-user folder under $XDG_CONFIG_HOME
    std::string systemDir;  // its system-wide manifest folder
    std::string snapName;   // its snap, "" when it has none
    std::string flatpakId;  // its flatpak application id, "" when it has none
};

class NativeHostRegistration {
public:
    // The name the extension connects to, and the extension allowed to.
    static const char* const kHostName;
    static const char* const kExtensionId;
    static std::string extensionOrigin();  // "chrome-extension://<id>/"

    static const std::vector<BrowserFolders>& browsers();
    // $XDG_CONFIG_HOME, or $HOME/.config.
    static std::string userConfigRoot();
    // The folder a browser's manifest goes in, per user or system-wide.
    static std::string manifestFolder(const BrowserFolders& browser, bool system);
    static std::string manifestPath(const BrowserFolders& browser, bool system);
    // The manifest's JSON text for the host executable at hostPath.
    static std::string manifestText(const std::string& hostPath);
    // The absolute path of the running executable.
    static std::string selfPath();

    // "--install" / "--uninstall" with their options (args after the verb):
    // [--browser chromium|chrome|brave|edge|vivaldi|all] [--system].
    // Without --browser: every browser whose folder exists, else Chromium.
    // Returns the process exit status; says what it did on out, problems on err.
    static int install(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
    static int uninstall(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

    struct Choice {
        std::vector<const BrowserFolders*> browsers;
        bool system = false;
        bool explicitBrowser = false;
    };
    // false with a sentence on err for an unknown option or browser.
    static bool parse(const std::vector<std::string>& args, Choice& choice, std::ostream& err);
};

}  // namespace tessel
