#pragma once

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "platform/linux/NativeHostRegistration.h"

namespace tessel {

// "pelahost --doctor": why a browser cannot reach the host, one sentence a
// problem with its fix, and a real round trip through the registered host.
class HostDoctor {
public:
    // args: [--browser NAME|all]. Returns 0 when nothing is wrong, 1 otherwise.
    static int run(const std::vector<std::string>& args, std::ostream& out);

    // Problems of one manifest file, each a sentence with its fix; none when
    // it is right. fixCommand is what repairs it ("pelahost --install ...").
    static std::vector<std::string> checkManifest(const std::string& path, const std::string& fixCommand,
                                                  std::string* hostPath);
    // Starts the host as a browser would (our origin as its argument), sends
    // a framed "getVersion" and waits for the reply. "" when it answered, else why.
    static std::string roundTrip(const std::string& hostPath, std::chrono::milliseconds timeout);
};

}  // namespace tessel
