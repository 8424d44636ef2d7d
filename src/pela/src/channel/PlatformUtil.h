#pragma once

class ILog;

class PlatformUtil {
public:
    // Fixed answer for the little-endian targets we build for; logs it.
    static bool iAmBigEndian(ILog* log);
};
