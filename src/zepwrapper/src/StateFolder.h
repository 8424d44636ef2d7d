#pragma once

#include <string>

namespace tessel {
namespace zep {

// Where the engine keeps its configuration and databases:
// $XDG_STATE_HOME (default $HOME/.local/state) + "/Marlin Web SDK/zep".
class StateFolder {
public:
    // The folder's path without a trailing slash; empty (and error set) when
    // neither XDG_STATE_HOME nor a home folder is known.
    static std::string locate(std::string& error);

    // Creates the folder and any missing parents, keeps our two own levels
    // private (0700) and checks that we can write there. On success path
    // holds the folder without a trailing slash.
    static bool prepare(std::string& path, std::string& error);
};

}  // namespace zep
}  // namespace tessel
