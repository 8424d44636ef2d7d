#include "zepwrapper/ResultCodes.h"

namespace tessel {

std::string ApiReturnCodeEnum::toString(int code) {
    // Indexed by value; the names go on the wire in "error".
    static const char* const kNames[] = {"eNoError",
                                         "eInvalidCallId",
                                         "eCallNotFound",
                                         "eCreateCallFailed",
                                         "eNoActiveDevice",
                                         "eTftpNotConfigured",
                                         "eCallOperationFailed",
                                         "eLoggedInLock",
                                         "eLogoutFailed",
                                         "eLoryNotConfigured",
                                         "eWindowAlreadyExists",
                                         "eInvalidState",
                                         "eCtiNotConfigured",
                                         "eNoPhoneMode",
                                         "eNoWindowExists",
                                         "eInvalidArgument",
                                         "eOperationNotSupported",
                                         "eCapabilityMissing",
                                         "eNotUserAuthorized",
                                         "eSyntaxError",
                                         "eOperationFailed"};
    const int count = static_cast<int>(sizeof kNames / sizeof kNames[0]);
    if (code < 0 || code >= count) {
        return std::string();
    }
    return kNames[code];
}

}  // namespace tessel
