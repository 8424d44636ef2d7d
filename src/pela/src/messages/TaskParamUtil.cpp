#include "messages/TaskParamUtil.h"

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/PtreeUtil.h"
#include "messages/StringUtil.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/TaskParamUtil";

namespace {

// The common core: takes the member out of the tree and reads its text.
// present tells an absent optional member from one that was read.
int _removeString(const std::string& key, Ptree& tree, bool required, bool& present, std::string& text, ILog* log) {
    present = false;
    Ptree member;
    if (PtreeUtil::removeAtKey(key, tree, member, log)) {
        if (!PtreeUtil::ptreeToString(member, text, log)) {
            PELA_LOG4(log, kSrc, "Invalid argument [" << key << "]");
            return ApiReturnCodeEnum::eInvalidArgument;
        }
        present = true;
        return ApiReturnCodeEnum::eNoError;
    }
    if (required) {
        PELA_LOG4(log, kSrc, "Required argument [" << key << "] not found");
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    return ApiReturnCodeEnum::eNoError;
}

template <class T>
int removeConverted(const std::string& key, Ptree& tree, bool required, T& out, ILog* log,
                    bool (*convert)(const std::string&, T&), const char* what) {
    bool present = false;
    std::string text;
    int rc = _removeString(key, tree, required, present, text, log);
    if (rc != ApiReturnCodeEnum::eNoError || !present) {
        return rc;
    }
    T value;
    if (!convert(text, value)) {
        PELA_LOG4(log, kSrc, "Invalid argument " << key << "=[" << text << "]: " << what);
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    out = value;
    return ApiReturnCodeEnum::eNoError;
}

}  // namespace

int TaskParamUtil::removeString(const std::string& key, Ptree& tree, bool required, std::string& out, ILog* log) {
    bool present = false;
    std::string text;
    int rc = _removeString(key, tree, required, present, text, log);
    if (rc == ApiReturnCodeEnum::eNoError && present) {
        out = text;
    }
    return rc;
}

int TaskParamUtil::removeBool(const std::string& key, Ptree& tree, bool required, bool& out, ILog* log) {
    return removeConverted(key, tree, required, out, log, &StringUtil::stringToBool, "boolean conversion");
}

int TaskParamUtil::removeInt(const std::string& key, Ptree& tree, bool required, int32_t& out, ILog* log) {
    return removeConverted(key, tree, required, out, log, &StringUtil::stringToInt, "numeric conversion");
}

int TaskParamUtil::removeUInt(const std::string& key, Ptree& tree, bool required, uint32_t& out, ILog* log) {
    return removeConverted(key, tree, required, out, log, &StringUtil::stringToUnsignedInt, "numeric conversion");
}

int TaskParamUtil::removeLong(const std::string& key, Ptree& tree, bool required, int64_t& out, ILog* log) {
    return removeConverted(key, tree, required, out, log, &StringUtil::stringToLong, "numeric conversion");
}

int TaskParamUtil::removeULong(const std::string& key, Ptree& tree, bool required, uint64_t& out, ILog* log) {
    return removeConverted(key, tree, required, out, log, &StringUtil::stringToUnsignedLong, "numeric conversion");
}

int TaskParamUtil::removeCallId(const std::string& key, Ptree& tree, bool required, int32_t& out, ILog* log) {
    int rc = removeInt(key, tree, required, out, log);
    return rc == ApiReturnCodeEnum::eInvalidArgument ? ApiReturnCodeEnum::eInvalidCallId : rc;
}

int TaskParamUtil::removeWindowhandle(const std::string& key, Ptree& tree, bool required, uint64_t& out, ILog* log) {
    uint64_t handle = out;
    int rc = removeULong(key, tree, required, handle, log);
    if (rc == ApiReturnCodeEnum::eNoError) {
        out = handle;
    }
    return rc;
}

}  // namespace tessel
