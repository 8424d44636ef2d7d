#pragma once

#include <string>

class FileUtil {
public:
    // $XDG_STATE_HOME (default $HOME/.local/state) + "/Marlin Web SDK/" +
    // fileName ("softphone.log" when empty); "" without a home folder.
    static std::string getLogFilePath(const std::string& fileName);
};
