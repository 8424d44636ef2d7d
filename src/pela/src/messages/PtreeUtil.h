#pragma once

#include <memory>
#include <string>
#include <vector>

#include "messages/Ptree.h"

class ILog;

namespace tessel {

class PtreeUtil {
public:
    static std::vector<std::string> getKeys(const Ptree& tree);
    static bool containsDuplicateKey(const Ptree& tree, ILog* log);
    static bool containsDuplicateKey(const std::shared_ptr<Ptree>& tree, ILog* log);
    static bool checkPtreeIsEmpty(const Ptree& tree, ILog* log);
    static bool checkPtreeIsEmpty(const std::shared_ptr<Ptree>& tree, ILog* log);
    static bool ptreeIsEmpty(const Ptree& tree);
    static bool ptreeIsEmpty(const std::shared_ptr<Ptree>& tree);
    static bool removeAtKey(const std::string& key, Ptree& tree, Ptree& out, ILog* log);
    static bool ptreeToString(const Ptree& tree, std::string& out, ILog* log);
    static bool ptreeToBool(const Ptree& tree, bool& out, ILog* log);
    static bool ptreeToInt(const Ptree& tree, int32_t& out, ILog* log);
    static bool ptreeToULong(const Ptree& tree, uint64_t& out, ILog* log);
    static bool ptreeToStringVector(const Ptree& tree, std::vector<std::string>& out, ILog* log);
};

}  // namespace tessel
