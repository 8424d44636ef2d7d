#pragma once

namespace tessel {
namespace zep {

// The result codes the framework hands back; the numbers are the host's
// result-code table, which the host turns into error names.
enum ResultCode {
    kResultOk = 0,
    kResultInvalidCallId = 1,
    kResultCallNotFound = 2,
    kResultCreateCallFailed = 3,
    kResultCallOperationFailed = 6,
    kResultInvalidState = 11,
    kResultInvalidArgument = 15,
    kResultOperationNotSupported = 16,
    kResultOperationFailed = 20
};

}  // namespace zep
}  // namespace tessel
