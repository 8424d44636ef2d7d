#include "messages/PtreeUtil.h"

#include <exception>
#include <set>

#include "logging/LogMacros.h"
#include "messages/StringUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/PtreeUtil";

std::vector<std::string> PtreeUtil::getKeys(const Ptree& tree) {
    std::vector<std::string> keys;
    keys.reserve(tree.size());
    for (const Ptree::value_type& child : tree) {
        keys.push_back(child.first);
    }
    return keys;
}

bool PtreeUtil::containsDuplicateKey(const Ptree& tree, ILog* log) {
    std::set<std::string> seen;
    for (const Ptree::value_type& child : tree) {
        if (!seen.insert(child.first).second) {
            PELA_LOG4(log, kSrc, "Invalid argument: Duplicate key [" << child.first << "]");
            return true;
        }
    }
    return false;
}

bool PtreeUtil::containsDuplicateKey(const std::shared_ptr<Ptree>& tree, ILog* log) {
    return tree ? containsDuplicateKey(*tree, log) : false;
}

bool PtreeUtil::checkPtreeIsEmpty(const Ptree& tree, ILog* log) {
    for (const Ptree::value_type& child : tree) {
        PELA_LOG4(log, kSrc, "Invalid argument: unexpected key [" << child.first << "]");
    }
    if (!tree.data().empty()) {
        PELA_LOG4(log, kSrc, "Invalid argument: unexpected arguments");
    }
    return tree.empty() && tree.data().empty();
}

bool PtreeUtil::checkPtreeIsEmpty(const std::shared_ptr<Ptree>& tree, ILog* log) {
    return tree ? checkPtreeIsEmpty(*tree, log) : true;
}

bool PtreeUtil::ptreeIsEmpty(const Ptree& tree) {
    return checkPtreeIsEmpty(tree, nullptr);
}

bool PtreeUtil::ptreeIsEmpty(const std::shared_ptr<Ptree>& tree) {
    return tree ? ptreeIsEmpty(*tree) : true;
}

bool PtreeUtil::removeAtKey(const std::string& key, Ptree& tree, Ptree& out, ILog* log) {
    if (key.empty()) {
        PELA_LOG4(log, kSrc, "UNEXPECTED PtreeUtil::removePtreeAtKey Invalid parameter: empty key");
        return false;
    }
    // Walk in insertion order: the keyed index of the tree does not promise
    // to find the first of several equal keys.
    for (Ptree::iterator it = tree.begin(); it != tree.end(); ++it) {
        if (it->first == key) {
            out = it->second;
            tree.erase(it);
            return true;
        }
    }
    return false;
}

bool PtreeUtil::ptreeToString(const Ptree& tree, std::string& out, ILog* log) {
    if (!tree.empty()) {
        PELA_LOG4(log, kSrc, "Invalid argument: Expecting string, found object.");
        return false;
    }
    try {
        out = tree.get_value<std::string>();
        return true;
    } catch (const std::exception& e) {
        PELA_LOG4(log, kSrc, "Invalid argument: Unable to extract string. " << e.what());
        return false;
    }
}

bool PtreeUtil::ptreeToBool(const Ptree& tree, bool& out, ILog* log) {
    std::string text;
    return ptreeToString(tree, text, log) && StringUtil::stringToBool(text, out);
}

bool PtreeUtil::ptreeToInt(const Ptree& tree, int32_t& out, ILog* log) {
    std::string text;
    return ptreeToString(tree, text, log) && StringUtil::stringToInt(text, out);
}

bool PtreeUtil::ptreeToULong(const Ptree& tree, uint64_t& out, ILog* log) {
    std::string text;
    return ptreeToString(tree, text, log) && StringUtil::stringToUnsignedLong(text, out);
}

bool PtreeUtil::ptreeToStringVector(const Ptree& tree, std::vector<std::string>& out, ILog* log) {
    if (!tree.data().empty()) {
        PELA_LOG4(log, kSrc, "Invalid argument: not a vector.");
        return false;
    }
    std::vector<std::string> items;
    items.reserve(tree.size());
    for (const Ptree::value_type& child : tree) {
        if (!child.first.empty()) {
            PELA_LOG4(log, kSrc, "Invalid argument: not a vector.");
            return false;
        }
        if (!child.second.empty()) {
            PELA_LOG4(log, kSrc, "Invalid argument: not a vector of strings.");
            return false;
        }
        items.push_back(child.second.data());
    }
    out.insert(out.end(), items.begin(), items.end());
    return true;
}

}  // namespace tessel
