#pragma once

#include <sstream>
#include <string>

#include <ozklogger/OZKLogger.h>

namespace tessel {
namespace zep {

// The framework logs into the host's log file under its own module name.
OZKLogger* zepLogger();

// Writes "[" pid "] " + message through OZKLog.
void zepLogWrite(int level, const char* source, int line, const char* function, const std::string& message);

}  // namespace zep
}  // namespace tessel

// The message is a stream expression: ZEP_LOG(OZKLogLevelInfo, kSrc, "x=[" << x << "]").
#define ZEP_LOG(level, source, message)                                                   \
    do {                                                                                  \
        std::ostringstream zep_os_;                                                       \
        zep_os_ << message;                                                               \
        ::tessel::zep::zepLogWrite((level), (source), __LINE__, __func__, zep_os_.str()); \
    } while (0)
