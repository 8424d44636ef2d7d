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
    // The wire name; "" for a value outside 0..20.
    static std::string toString(int code);
};

typedef ApiReturnCodeEnum::ApiReturnCode ApiReturnCode;

}  // namespace tessel
