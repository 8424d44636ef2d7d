#pragma once

namespace tessel {
namespace zep {

// Routes everything the engine and the libraries beneath it log (liblinphone,
// belle-sip, mediastreamer, oRTP, bctoolbox) into our log, module "zep", and
// nowhere else: left alone they print to stdout and stderr, and the host's
// standard output is the browser channel.
class EngineLogBridge {
public:
    // Once per process, before the engine is first touched; later calls do
    // nothing. Only warnings and errors pass.
    static void install();
};

}  // namespace zep
}  // namespace tessel
