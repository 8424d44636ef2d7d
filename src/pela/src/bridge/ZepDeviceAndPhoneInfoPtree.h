#pragma once

#include "messages/Ptree.h"

class ZepWrapperAPI;

namespace tessel {

// The current device and its active line, fetched from the framework.
class ZepDeviceAndPhoneInfoPtree {
public:
    // The device object; the "exists": false form when there is no device
    // (or no framework).
    static Ptree toPtree(ZepWrapperAPI* pZepW);
    // The active line alone; an empty tree when there is no device.
    static Ptree fromLineInfo(ZepWrapperAPI* pZepW);
};

}  // namespace tessel
