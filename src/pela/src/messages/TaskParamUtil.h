#pragma once

#include <cstdint>
#include <string>

#include "messages/Ptree.h"

class ILog;

namespace tessel {

// Each removes key from tree (whatever the outcome) and returns a result code:
// 0 on success, 15 on failure (1 from removeCallId). out is written only on success.
class TaskParamUtil {
public:
    static int removeString(const std::string& key, Ptree& tree, bool required, std::string& out, ILog* log);
    static int removeBool(const std::string& key, Ptree& tree, bool required, bool& out, ILog* log);
    static int removeInt(const std::string& key, Ptree& tree, bool required, int32_t& out, ILog* log);
    static int removeUInt(const std::string& key, Ptree& tree, bool required, uint32_t& out, ILog* log);
    static int removeLong(const std::string& key, Ptree& tree, bool required, int64_t& out, ILog* log);
    static int removeULong(const std::string& key, Ptree& tree, bool required, uint64_t& out, ILog* log);
    static int removeCallId(const std::string& key, Ptree& tree, bool required, int32_t& out, ILog* log);
    static int removeWindowhandle(const std::string& key, Ptree& tree, bool required, uint64_t& out, ILog* log);
};

}  // namespace tessel
