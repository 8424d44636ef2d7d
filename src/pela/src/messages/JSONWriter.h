#pragma once

#include <memory>
#include <string>

#include "messages/Ptree.h"

namespace tessel {

class ChannelServerMessage;

// The outbound JSON writer. It writes, byte for byte, what
// boost::property_tree::write_json(out, tree, true) followed by
// JSONHack::postprocessJSON writes (indentation, key order, boost's escapes,
// the typed-value markers resolved), in one walk of the tree and without
// copying it. The reference path (write_json, then postprocessJSON) stays
// here for the tests and the benchmark.
class JSONWriter {
public:
    // The document for root. Throws boost::property_tree::json_parser_error
    // where write_json does (data and children on one node, data on the root).
    static std::string write(const Ptree& root);
    // {"norvaChannelMessage": ...} for message, as write() writes the tree
    // ChannelServerMessagePtree::toPtree builds, without building it.
    static std::string writeChannelServerMessage(const ChannelServerMessage& message);

    // The reference: write_json(pretty), then JSONHack::postprocessJSON.
    static std::string writeReference(const Ptree& root);
    static std::string writeChannelServerMessageReference(const std::shared_ptr<ChannelServerMessage>& message);
};

}  // namespace tessel
