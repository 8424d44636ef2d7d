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
    // Calls text(key, value) for each member toPtree writes, in its order;
    // the writer walks these instead of building the tree.
    template <class TextMember>
    static void forEachMember(const ChannelClient& client, TextMember&& text) {
        // "type" is deliberately not written back to the page.
        const char* const keys[] = {"id", "url", "name", "hostname"};
        const std::string* const values[] = {&client.getId(), &client.getUrl(), &client.getName(),
                                             &client.getHostname()};
        for (size_t i = 0; i < 4; ++i) {
            if (!values[i]->empty()) {
                text(keys[i], *values[i]);
            }
        }
    }
};

}  // namespace tessel
