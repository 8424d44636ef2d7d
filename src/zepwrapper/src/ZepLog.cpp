#include "ZepLog.h"

#include <unistd.h>

namespace tessel {
namespace zep {

OZKLogger* zepLogger() {
    // The handle is valid for the life of the process, so caching it is safe.
    static OZKLogger* const logger = OZKLogger_getLogger("zep");
    return logger;
}

void zepLogWrite(int level, const char* source, int line, const char* function, const std::string& message) {
    std::ostringstream text;
    text << "[" << getpid() << "] " << message;
    OZKLog(zepLogger(), level, source, line, function, text.str().c_str());
}

}  // namespace zep
}  // namespace tessel
