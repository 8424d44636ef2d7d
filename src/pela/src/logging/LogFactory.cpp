#include "logging/LogFactory.h"

#include <unistd.h>

#include "logging/FileUtil.h"
#include "threading/ScopedLock.h"

ozk::Mutex LogFactory::m_mtx;
std::shared_ptr<LogFactory::LogShim> LogFactory::m_spShim;
bool LogFactory::loggerInitialized = false;

OZKLogger* LogFactory::LogShim::getOZKLogger() {
    ozk::ScopedLock lock(m_mutex);
    return m_logger;
}

int LogFactory::LogShim::getProcessID() {
    return static_cast<int>(getpid());
}

void LogFactory::LogShim::setOZKLogger(OZKLogger* logger) {
    ozk::ScopedLock lock(m_mutex);
    m_logger = logger;
}

// Called once from start-up before any other thread exists, hence no lock.
void LogFactory::initLogging(const std::string& fileName) {
    if (loggerInitialized) {
        return;
    }
    std::string path = FileUtil::getLogFilePath(fileName);
    OZKLogger_initialize(path.c_str());
    loggerInitialized = true;
}

ILog* LogFactory::getLogger() {
    ozk::ScopedLock lock(m_mtx);
    if (!m_spShim) {
        m_spShim = std::make_shared<LogShim>();
    }
    return m_spShim.get();
}

void LogFactory::setOZKLogger(OZKLogger* logger) {
    ozk::ScopedLock lock(m_mtx);
    if (!m_spShim) {
        m_spShim = std::make_shared<LogShim>();
    }
    m_spShim->setOZKLogger(logger);
}
