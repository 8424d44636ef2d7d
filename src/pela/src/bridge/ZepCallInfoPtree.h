#pragma once

#include <memory>
#include <string>

#include "messages/Ptree.h"

class ZepCallInfo;

namespace tessel {

// The call object the page sees, from the framework's call record.
class ZepCallInfoPtree {
public:
    // call may be empty: the call is gone, and the "exists": false form is written.
    static Ptree toPtree(std::shared_ptr<ZepCallInfo> call, int callId, const std::string& callEvent);
    // With the call event "evOther".
    static Ptree toPtree(std::shared_ptr<ZepCallInfo> call, int callId);
};

}  // namespace tessel
