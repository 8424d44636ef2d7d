#pragma once

#include <sstream>

#include "logging/ILog.h"

// Every log line of the host: "[" pid "] " + message, through OZKLog, with the
// component's source path (a file-level constant) and the calling function.
// The message is a stream expression: PELA_LOG(log, 4, kSrc, "x=[" << x << "]").
#define PELA_LOG(log, level, source, message)                                                                 \
    do {                                                                                                      \
        ILog* pela_log_ = (log);                                                                              \
        if (pela_log_ != nullptr) {                                                                           \
            std::ostringstream pela_os_;                                                                      \
            pela_os_ << "[" << pela_log_->getProcessID() << "] " << message;                                  \
            OZKLog(pela_log_->getOZKLogger(), (level), (source), __LINE__, __func__, pela_os_.str().c_str()); \
        }                                                                                                     \
    } while (0)

#define PELA_LOG4(log, source, message) PELA_LOG(log, 4, source, message)
