#pragma once

#include <string>

namespace tessel {
namespace zep {

// The user's own files of the framework (the password key, the certificates
// the user accepted): $XDG_CONFIG_HOME (default $HOME/.config) +
// "/com.norva.Tollbridge".
class ConfigFolder {
public:
    // The folder's path without a trailing slash; empty (and error set) when
    // neither XDG_CONFIG_HOME nor a home folder is known.
    static std::string locate(std::string& error);

    // Creates the config home and the folder when missing and keeps the
    // folder private (0700). On success path holds the folder.
    static bool prepare(std::string& path, std::string& error);
};

}  // namespace zep
}  // namespace tessel
