#include "messages/ChannelClientPtree.h"

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/PtreeUtil.h"
#include "messages/TaskParamUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ChannelClientPtree";

namespace {

// Takes one optional string member out of tree; true when it was there and
// was text.
bool takeString(const char* key, Ptree& tree, std::string& out, ILog* log) {
    if (tree.find(key) == tree.not_found()) {
        return false;
    }
    return TaskParamUtil::removeString(key, tree, false, out, log) == ApiReturnCodeEnum::eNoError;
}

}  // namespace

bool ChannelClientPtree::fromPtree(const Ptree& tree, ILog* log, const std::shared_ptr<ChannelClient>& client) {
    if (!client) {
        PELA_LOG4(log, kSrc, "UNEXPECTED ChannelClientPtree::fromPtree: empty client");
        return false;
    }
    Ptree members = tree;
    bool duplicate = PtreeUtil::containsDuplicateKey(members, log);
    std::string value;
    if (takeString("id", members, value, log)) {
        client->setId(value);
    }
    if (takeString("name", members, value, log)) {
        client->setName(value);
    }
    if (takeString("url", members, value, log)) {
        client->setUrl(value);
    }
    if (takeString("hostname", members, value, log)) {
        client->setHostname(value);
    }
    if (takeString("type", members, value, log)) {
        client->setType(value);
    }
    // Pages may send further members of their own; they are not an error here.
    return !duplicate;
}

Ptree ChannelClientPtree::toPtree(const std::shared_ptr<ChannelClient>& client) {
    Ptree tree;
    if (!client) {
        return tree;
    }
    forEachMember(*client, [&tree](const char* key, const std::string& value) {
        tree.push_back(Ptree::value_type(key, Ptree(value)));
    });
    return tree;
}

}  // namespace tessel
