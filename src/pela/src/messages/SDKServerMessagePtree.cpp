#include "messages/SDKServerMessagePtree.h"

namespace tessel {

Ptree SDKServerMessagePtree::toPtree(const std::shared_ptr<SDKServerMessage>& message) {
    Ptree tree;
    if (!message) {
        return tree;
    }
    forEachMember(
        *message,
        [&tree](const char* key, const std::string& value) { tree.push_back(Ptree::value_type(key, Ptree(value))); },
        [&tree](const char* key, const Ptree& content) { tree.push_back(Ptree::value_type(key, content)); });
    return tree;
}

}  // namespace tessel
