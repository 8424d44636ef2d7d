#pragma once

#include <string>

namespace tessel {

// The result codes of every framework operation, passed to pages unchanged:
// an error reply carries the code's name.
struct ApiReturnCodeEnum {
    enum ApiReturnCode {
        eNoError = 0,
        eInvalidCallId = 1,
        eCallNotFound = 2,
        eCreateCallFailed = 3,
        eNoActiveDevice = 4,
        eTftpNotConfigured = 5,
        eCallOperationFailed = 6,
        eLoggedInLock = 7,
        eLogoutFailed = 8,
        eLoryNotConfigured = 9,
        eWindowAlreadyExists = 10,
        eInvalidState = 11,
        eCtiNotConfigured = 12,
        eNoPhoneMode = 13,
        eNoWindowExists = 14,
        eInvalidArgument = 15,
        eOperationNotSupported = 16,
        eCapabilityMissing = 17,
        eNotUserAuthorized = 18,
        eSyntaxError = 19,
        eOperationFailed = 20
    };
    // The wire name; "" for a value outside 0..20. Inline: the host needs it
    // before (and without) loading the framework's library.
    static std::string toString(int code) {
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
};

typedef ApiReturnCodeEnum::ApiReturnCode ApiReturnCode;

}  // namespace tessel
