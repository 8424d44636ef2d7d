#include "EngineLogBridge.h"

#include <mutex>
#include <string>

#include <linphone/factory.h>
#include <linphone/logging.h>

#include "ZepLog.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/EngineLogBridge";

namespace {

int toOzkLevel(LinphoneLogLevel level) {
    switch (level) {
        case LinphoneLogLevelFatal:
        case LinphoneLogLevelError:
            return OZKLogLevelError;
        case LinphoneLogLevelWarning:
            return OZKLogLevelWarning;
        case LinphoneLogLevelMessage:
            return OZKLogLevelInfo;
        default:
            return OZKLogLevelDebug;
    }
}

// Runs on whichever engine thread logged; OZKLog is thread-safe.
void onEngineMessage(LinphoneLoggingService*, const char* domain, LinphoneLogLevel level, const char* message) {
    ZEP_LOG(toOzkLevel(level), kSrc,
            "engine [" << (domain != nullptr ? domain : "") << "] " << (message != nullptr ? message : ""));
}

}  // namespace

void EngineLogBridge::install() {
    static std::once_flag once;
    std::call_once(once, [] {
        LinphoneLoggingService* service = linphone_logging_service_get();
        LinphoneLoggingServiceCbs* cbs = linphone_factory_create_logging_service_cbs(linphone_factory_get());
        linphone_logging_service_cbs_set_log_message_written(cbs, onEngineMessage);
        // With a listener added, the service stops writing to the console.
        linphone_logging_service_add_callbacks(service, cbs);
        linphone_logging_service_cbs_unref(cbs);
        linphone_logging_service_set_log_level_mask(
            service, LinphoneLogLevelWarning | LinphoneLogLevelError | LinphoneLogLevelFatal);
    });
}

}  // namespace zep
}  // namespace tessel
