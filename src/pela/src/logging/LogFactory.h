#pragma once

#include <memory>
#include <string>

#include "logging/ILog.h"
#include "threading/Mutex.h"

class LogFactory {
public:
    class LogShim : public ILog {
    public:
        OZKLogger* getOZKLogger() override;
        int getProcessID() override;
        void setOZKLogger(OZKLogger* logger);

    private:
        OZKLogger* m_logger = nullptr;
        ozk::Mutex m_mutex;
    };

    static void initLogging(const std::string& fileName);
    static ILog* getLogger();
    static void setOZKLogger(OZKLogger* logger);

private:
    static ozk::Mutex m_mtx;
    static std::shared_ptr<LogShim> m_spShim;
    static bool loggerInitialized;
};
