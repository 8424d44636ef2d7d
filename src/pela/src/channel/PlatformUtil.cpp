#include "channel/PlatformUtil.h"

#include "logging/LogMacros.h"

static const char* const kSrc = "src/pela/src/PlatformUtil";

// The channel framing relies on this answer, so a big-endian build must fail.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the host is built for little-endian processors");

bool PlatformUtil::iAmBigEndian(ILog* log) {
    PELA_LOG4(log, kSrc, "Platform: little-endian");
    return false;
}
