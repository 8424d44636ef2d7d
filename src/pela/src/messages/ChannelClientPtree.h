#pragma once

#include <memory>

#include "messages/ChannelClient.h"
#include "messages/Ptree.h"

class ILog;

namespace tessel {

// Maps the "client" object of an envelope. The reader tolerates unknown
// members; the writer never writes "type".
class ChannelClientPtree {
public:
    // False only for a repeated key; a member that is not a string is skipped.
    static bool fromPtree(const Ptree& tree, ILog* log, const std::shared_ptr<ChannelClient>& client);
    // "id", "url", "name", "hostname", each only when non-empty.
    static Ptree toPtree(const std::shared_ptr<ChannelClient>& client);
};

}  // namespace tessel
