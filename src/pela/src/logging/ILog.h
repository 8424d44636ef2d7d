#pragma once

#include <ozklogger/OZKLogger.h>

class ILog {
public:
    virtual ~ILog() = default;
    virtual OZKLogger* getOZKLogger() = 0;
    virtual int getProcessID() = 0;
};
