#pragma once

#include <memory>
#include <vector>

#include "messages/Ptree.h"

class ZepMultimediaDevices;

namespace tessel {

// A sound device or camera as a page sees it: what it can do, whether it is
// selected for each role, its names and the identifiers a page sends back.
class ZepMultimediaDevicesPtree {
public:
    static Ptree toPtree(const ZepMultimediaDevices& device);
    // The array of device objects, in the framework's order ("[]" when none).
    static Ptree vectorToPtree(const std::vector<std::shared_ptr<ZepMultimediaDevices>>& devices);
};

}  // namespace tessel
